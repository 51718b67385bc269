#include "NamedLock.h"

#include <VDIFrameworkCommon/SharedMemory.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <thread>
#include <utility>

#include "LibraryRecords.h"
#include "Report.h"
#include "SharedRecords.h"
#include "Terminal.h"
#include "survey/Descriptor.h"
#include "survey/Records.h"

namespace vdictl {

namespace {

using namespace std::chrono_literals;
using VDIFrameworkCommon::records::namedMutexSize;

// How long another process may take between making the object and initialising what is in it.
constexpr auto patience = 1s;
constexpr auto pause = 5ms;

constexpr const char* repair = "'vdictl doctor' tells more and can repair it";

// A copy of what other processes may be changing now.
MutexRecord recordOf(const pthread_mutex_t* mutex) {
    return *decodeMutex(std::string(reinterpret_cast<const char*>(mutex), sizeof(pthread_mutex_t)));
}

void* mapped(int fd) {
    void* const mapping = mmap(nullptr, namedMutexSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    return mapping == MAP_FAILED ? nullptr : mapping;
}

void initialise(pthread_mutex_t* mutex) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

/// Opening and making one lock's object.
class Opening {
public:
    Opening(const SharedObject& object, const std::string& description) : object_(object), description_(description) {}

    /// The mutex in this process's mapping, with the object's descriptor.
    pthread_mutex_t* open(Descriptor& descriptor) const {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        for (;;) {
            Descriptor object(shm_open_mac(object_.logicalName, O_RDWR, 0600));
            if (!object.isOpen() && errno == ENOENT) {
                make();
                continue;
            }
            if (!object.isOpen()) {
                fail("shm_open");
            }
            if (pthread_mutex_t* const mutex = readyMutex(object.get())) {
                descriptor = std::move(object);
                return mutex;
            }
            if (std::chrono::steady_clock::now() >= deadline) {
                throw Failure(description_, "", "this is no mutex, or one that was never initialised", repair);
            }
            std::this_thread::sleep_for(pause);
        }
    }

private:
    [[noreturn]] void fail(const char* call) const {
        const int error = errno;
        throw Failure(description_, call, error, adviceFor(error, object_.file));
    }

    // Null while its maker is not done.
    pthread_mutex_t* readyMutex(int fd) const {
        struct stat status {};
        if (fstat(fd, &status) != 0) {
            fail("fstat");
        }
        if (status.st_size < static_cast<off_t>(namedMutexSize)) {
            return nullptr;
        }
        auto* const mutex = static_cast<pthread_mutex_t*>(mapped(fd));
        if (mutex == nullptr) {
            fail("mmap");
        }
        const MutexRecord::State state = recordOf(mutex).state;
        if (state == MutexRecord::State::Free || state == MutexRecord::State::Held) {
            return mutex;
        }
        munmap(mutex, namedMutexSize);
        return nullptr;
    }

    // Others see the object only when it is complete; of several that make it at once one succeeds.
    void make() const {
        const Descriptor object(::open("/dev/shm", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
        if (!object.isOpen()) {
            fail("open");
        }
        if (const int error = posix_fallocate(object.get(), 0, namedMutexSize); error != 0) {
            throw Failure(description_, "posix_fallocate", error, adviceFor(error, object_.file));
        }
        void* const mapping = mapped(object.get());
        if (mapping == nullptr) {
            fail("mmap");
        }
        initialise(static_cast<pthread_mutex_t*>(mapping));
        munmap(mapping, namedMutexSize);
        const std::string source = "/proc/self/fd/" + std::to_string(object.get());
        if (linkat(AT_FDCWD, source.c_str(), AT_FDCWD, object_.file.c_str(), AT_SYMLINK_FOLLOW) != 0 &&
            errno != EEXIST) {
            fail("linkat");
        }
    }

    const SharedObject& object_;
    const std::string& description_;
};

std::timespec wallClockAfter(std::chrono::milliseconds time) {
    constexpr long nanosecondsPerSecond = 1'000'000'000;
    std::timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    const auto nanoseconds = deadline.tv_nsec + std::chrono::nanoseconds(time).count();
    deadline.tv_sec += nanoseconds / nanosecondsPerSecond;
    deadline.tv_nsec = nanoseconds % nanosecondsPerSecond;
    return deadline;
}

}  // namespace

NamedLock::NamedLock(const Owner& owner, const std::string& name)
    : object_(owner.prefix() + name + "_mutex"),
      description_("mutex '" + printable(name) + "' (" + object_.file + ")"),
      mutex_(Opening(object_, description_).open(descriptor_)) {
}

pid_t NamedLock::holder() const {
    const MutexRecord record = recordOf(mutex_);
    return record.state == MutexRecord::State::Held ? record.owner : 0;
}

bool NamedLock::mayCountOnItsOwn(pid_t thread) const {
    struct stat status {};
    return fstat(descriptor_.get(), &status) == 0 && vdictl::mayCountOnItsOwn(thread, status);
}

bool NamedLock::takeWithin(std::chrono::milliseconds limit) {
    const std::timespec deadline = wallClockAfter(limit);
    const int error = pthread_mutex_timedlock(mutex_, &deadline);
    if (error == 0) {
        return true;
    }
    if (error != ETIMEDOUT) {
        throw Failure(description_, "pthread_mutex_timedlock", error, repair);
    }
    // It is only dead if it still has the lock after it was found dead.
    const pid_t thread = holder();
    if (thread != 0 && !isThreadAlive(thread) && !mayCountOnItsOwn(thread) && holder() == thread) {
        throw Failure(description_, "", "held by " + describeThread(thread) + ": it would never come free", repair);
    }
    return false;
}

bool NamedLock::release() {
    return holder() == gettid() && pthread_mutex_unlock(mutex_) == 0;
}

std::string NamedLock::describeHolder() const {
    const pid_t thread = holder();
    if (thread == 0) {
        return "nobody";
    }
    return mayCountOnItsOwn(thread) ? describeThreadApart(thread) : describeThread(thread);
}

}  // namespace vdictl
