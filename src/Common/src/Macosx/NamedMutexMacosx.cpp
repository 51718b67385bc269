#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "Log.h"
#include "ObjectNames.h"
#include "SharedRecords.h"
#include "VDIFrameworkCommon/NamedMutex.h"
#include "VDIFrameworkCommon/SharedMemory.h"

namespace VDIFrameworkCommon {

namespace {

const log::Source logSource("SharedMemory", __FILE__);

}  // namespace

NamedMutex::NamedMutex() = default;

NamedMutex::~NamedMutex() {
    release();
}

bool NamedMutex::create(const char* name) {
    handle_ = nullptr;
    if (name == nullptr) {
        return false;
    }
    const std::string logicalName = clientObjectName(name) + "_mutex";
    const int fd = shm_open_mac(logicalName, O_RDWR | O_CREAT, 0600);
    if (fd < 0) {
        VDI_LOG(DPL_ERROR, "Failure on shm_open for mutex, mutex name = ", logicalName);
        return false;
    }
    if (ftruncate_mac(fd, records::namedMutexSize) == -1) {
        VDI_LOG(DPL_ERROR, "Error on ftruncate to sizeof pthread_mutex_t, mutex name = ", logicalName);
        close(fd);
        return false;
    }
    void* const mapping = mmap(nullptr, records::namedMutexSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (mapping == MAP_FAILED) {
        VDI_LOG(DPL_ERROR, "Error on mmap on mutex, mutex name = ", logicalName);
        close(fd);
        return false;
    }
    // The descriptor stays open until the process ends: tools tell by it which processes use the lock.
    // Test: NamedMutex.KeepsItsDescriptorAndMapping.
    handle_ = static_cast<pthread_mutex_t*>(mapping);

    // Initialised by every creator, though others may hold the lock: agents recover a lock left by a dead owner this
    // way. Making it conditional would leave every later agent blocked. Test:
    // NamedMutex.SecondCreateReinitialisesAHeldLock.
    pthread_mutexattr_init(&attributes_);
    pthread_mutexattr_setpshared(&attributes_, PTHREAD_PROCESS_SHARED);
    pthread_mutex_init(handle_, &attributes_);
    return true;
}

bool NamedMutex::lock() {
    return handle_ != nullptr && pthread_mutex_lock(handle_) == 0;
}

void NamedMutex::unlock() {
    if (handle_ != nullptr) {
        pthread_mutex_unlock(handle_);
    }
}

pthread_mutex_t* NamedMutex::getHandler() {
    return handle_;
}

void NamedMutex::release() {
    pthread_mutexattr_destroy(&attributes_);
}

}  // namespace VDIFrameworkCommon
