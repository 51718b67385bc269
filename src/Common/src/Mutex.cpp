#include "VDIFrameworkCommon/Mutex.h"

#include "MutexHandle.h"

namespace VDIFrameworkCommon {

namespace {

constexpr int noHandle = 1;

}  // namespace

Mutex::Mutex() : handle_(new Handle) {
    pthread_mutexattr_init(&handle_->attributes);
    pthread_mutexattr_settype(&handle_->attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&handle_->mutex, &handle_->attributes);
}

Mutex::~Mutex() {
    pthread_mutex_destroy(&handle_->mutex);
    pthread_mutexattr_destroy(&handle_->attributes);
    delete handle_;
    // Callers still lock mutexes whose owner is gone and rely on being told. A plain store to an object whose lifetime
    // ends would be dropped by the optimiser. Test: Mutex.LockingADestroyedOneReturnsOne.
    *const_cast<Handle* volatile*>(&handle_) = nullptr;
}

int Mutex::lock() {
    return handle_ == nullptr ? noHandle : pthread_mutex_lock(&handle_->mutex);
}

int Mutex::unlock() {
    return handle_ == nullptr ? noHandle : pthread_mutex_unlock(&handle_->mutex);
}

ScopedLock::ScopedLock(Mutex& mutex) : mutex_(&mutex) {
    mutex_->lock();
}

ScopedLock::~ScopedLock() {
    unlock();
}

int ScopedLock::unlock() {
    if (mutex_ == nullptr) {
        return 0;
    }
    const int result = mutex_->unlock();
    mutex_ = nullptr;
    return result;
}

}  // namespace VDIFrameworkCommon
