#include "VDIFrameworkCommon/MacosxEvent.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>

#include "Log.h"
#include "VDIFrameworkCommon/SharedMemory.h"

namespace VDIFrameworkCommon {

namespace {

const log::Source logSource("SharedMemory", __FILE__);

// What WaitForSingleObject returns.
constexpr int waitSignaled = 0;
constexpr int waitTimeout = 64;
constexpr int waitFailed = 96;

constexpr std::string_view openFailure = "Failure on shm_open for event, event name = ";
constexpr std::string_view mapFailure = "Error on mmap on event, event name = ";

/// What differs between the two kinds of shared object.
struct ObjectKind {
    std::size_t size;
    std::string_view sizeFailure;
    bool keepsDescriptorOnFailure;
};

// The descriptor of an event that could not be sized or mapped stays open, which looks like a leak: support finds the
// failing object among the descriptors of the process. Test:
// MacosxEventFailure.CreateTellsItAndLeavesTheDescriptorOpen.
constexpr ObjectKind eventObject{.size = sizeof(t_HANDLE),
                                 .sizeFailure = "Error on ftruncate to sizeof struct t_HANDLE, event name = ",
                                 .keepsDescriptorOnFailure = true};

// No comma before "event name": wording relied on by log readers.
constexpr ObjectKind waiterObject{.size = sizeof(t_list_element),
                                  .sizeFailure = "Error on ftruncate to sizeof struct t_list_element event name = ",
                                  .keepsDescriptorOnFailure = false};

/// Opens, sizes and maps a shared object. Null, with an error record in the name of `function`, if that fails.
void* mapObject(const std::string& name, const ObjectKind& kind, const std::string& function) {
    const auto fail = [&](int line, std::string_view text, int error) {
        logSource.write(DPL_ERROR, line, function, {text, name, " error code:", error});
        return nullptr;
    };
    const int fd = shm_open_mac(name, O_RDWR | O_CREAT, 0600);
    if (fd < 0) {
        return fail(__LINE__, openFailure, errno);
    }
    void* mapping = MAP_FAILED;
    std::string_view failure = kind.sizeFailure;
    if (ftruncate_mac(fd, static_cast<long long>(kind.size)) == 0) {
        failure = mapFailure;
        mapping = mmap(nullptr, kind.size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    }
    const int error = errno;
    if (mapping != MAP_FAILED || !kind.keepsDescriptorOnFailure) {
        close(fd);
    }
    return mapping != MAP_FAILED ? mapping : fail(__LINE__, failure, error);
}

void initialise(pthread_mutex_t* mutex) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

void initialise(pthread_cond_t* condition) {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_cond_init(condition, &attributes);
    pthread_condattr_destroy(&attributes);
}

/// Holds an event's mutex.
class EventLock {
public:
    explicit EventLock(t_HANDLE& event) : mutex_(&event.mutex) { pthread_mutex_lock(mutex_); }
    ~EventLock() { pthread_mutex_unlock(mutex_); }
    EventLock(const EventLock&) = delete;
    EventLock& operator=(const EventLock&) = delete;

private:
    pthread_mutex_t* mutex_;
};

bool isNamed(const t_HANDLE& event, const std::string& name) {
    return name.size() < sizeof event.name && std::memcmp(event.name, name.c_str(), name.size() + 1) == 0;
}

void setName(t_HANDLE& event, const std::string& name) {
    const std::size_t length = name.copy(event.name, sizeof event.name - 1);
    std::memset(event.name + length, 0, sizeof event.name - length);
}

// The record is all that processes share of an event, so waiters of one with a longer name go by what is kept of it.
std::string waiterName(const t_HANDLE& event, std::int32_t number) {
    return std::string(event.name, strnlen(event.name, sizeof event.name)) + std::to_string(number);
}

// Atomic because CloseHandle reads the number without the mutex; all other accesses are ordered by the mutex.
std::int32_t waiterCount(const t_HANDLE& event) {
    return __atomic_load_n(&event.waiterCount, __ATOMIC_RELAXED);
}

void setWaiterCount(t_HANDLE& event, std::int32_t count) {
    __atomic_store_n(&event.waiterCount, count, __ATOMIC_RELAXED);
}

// Unsigned, as another process may have left any number in the record.
void addToWaiterCount(t_HANDLE& event, std::uint32_t change) {
    setWaiterCount(event, static_cast<std::int32_t>(static_cast<std::uint32_t>(waiterCount(event)) + change));
}

/// The wall-clock time `milliseconds` from now. A negative time may give a negative nanosecond field.
std::timespec deadlineAfter(std::int64_t milliseconds) {
    constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
    timeval now{};
    gettimeofday(&now, nullptr);
    std::timespec deadline{};
    deadline.tv_sec = now.tv_sec;
    std::int64_t nanoseconds = std::int64_t{now.tv_usec} * 1000 + milliseconds * 1'000'000;
    if (nanoseconds >= nanosecondsPerSecond) {
        deadline.tv_sec += static_cast<std::time_t>(nanoseconds / nanosecondsPerSecond);
        nanoseconds %= nanosecondsPerSecond;
    }
    deadline.tv_nsec = static_cast<long>(nanoseconds);
    return deadline;
}

/// Waits for a signal on the waiter's condition. The caller holds the event's mutex.
int waitSignal(t_HANDLE& event, pthread_cond_t* condition, int milliseconds) {
    if (event.signaled == 1) {
        return waitSignaled;
    }
    // Waited for once only, though a condition may wake without a signal: callers rely on getting 96 then and retry
    // themselves. A loop here would keep the losers of a signal waiting. Test:
    // MacosxEvent.OneSetGivesOneWaiterTheSignal.
    int result = 0;
    if (milliseconds == INFINITE) {
        result = pthread_cond_wait(condition, &event.mutex);
    } else {
        const std::timespec deadline = deadlineAfter(milliseconds);
        result = pthread_cond_timedwait(condition, &event.mutex, &deadline);
    }
    if (event.signaled == 1) {
        return waitSignaled;
    }
    return result == ETIMEDOUT ? waitTimeout : waitFailed;
}

}  // namespace

t_HANDLE* CreateEventA(void* /*attributes*/, bool /*manualReset*/, bool initialState, const void* name) noexcept {
    static const std::string& function = log::neverDestroyed(__func__);
    if (name == nullptr) {
        return nullptr;
    }
    const std::string objectName = std::string(static_cast<const char*>(name)) + "_event";
    auto* const event = static_cast<t_HANDLE*>(mapObject(objectName, eventObject, function));
    if (event == nullptr) {
        return nullptr;
    }
    // Initialised by every opener, though others may use it: processes recover an event whose user died this way.
    // Making it conditional would leave every later user blocked. Test:
    // MacosxEventProcess.CreateHealsTheMutexOfADeadHolder.
    initialise(&event->mutex);
    const EventLock lock(*event);
    if (!isNamed(*event, objectName)) {
        setWaiterCount(*event, 0);
        event->signaled = initialState ? 1 : 0;
    }
    setName(*event, objectName);
    return event;
}

int SetEvent(t_HANDLE* event) noexcept {
    static const std::string& function = log::neverDestroyed(__func__);
    constexpr int always = 1;
    if (event == nullptr) {
        return always;
    }
    const EventLock lock(*event);
    event->signaled = 1;
    const std::int32_t count = waiterCount(*event);
    for (std::int32_t number = 0; number < count; ++number) {
        const std::string name = waiterName(*event, number);
        auto* const waiter = static_cast<t_list_element*>(mapObject(name, waiterObject, function));
        if (waiter != nullptr) {
            pthread_cond_signal(&waiter->cond);
            munmap(waiter, sizeof *waiter);
            shm_unlink_mac(name);
        }
    }
    return always;
}

int ResetEvent(t_HANDLE* event) noexcept {
    constexpr int always = 0;  // unlike SetEvent; callers compare
    if (event != nullptr) {
        const EventLock lock(*event);
        event->signaled = 0;
    }
    return always;
}

int WaitForSingleObject(t_HANDLE* event, int milliseconds) noexcept {
    static const std::string& function = log::neverDestroyed(__func__);
    if (event == nullptr) {
        return waitFailed;
    }
    const EventLock lock(*event);
    const std::string name = waiterName(*event, waiterCount(*event));
    addToWaiterCount(*event, 1);
    int result = waitFailed;
    auto* const waiter = static_cast<t_list_element*>(mapObject(name, waiterObject, function));
    if (waiter != nullptr) {
        // Initialised by every waiter, though the object may be another's: one that was killed in its wait leaves a
        // condition on which the next signal blocks for ever. Test:
        // MacosxEventProcess.WaiterMakesTheConditionOfADeadOneAnew.
        initialise(&waiter->cond);
        result = waitSignal(*event, &waiter->cond, milliseconds);
        event->signaled = 0;
    }
    addToWaiterCount(*event, static_cast<std::uint32_t>(-1));
    if (waiter != nullptr) {
        munmap(waiter, sizeof *waiter);
        shm_unlink_mac(name);
    }
    return result;
}

int CloseHandle(t_HANDLE* event) noexcept {
    if (event == nullptr || waiterCount(*event) != 0) {
        return 0;
    }
    munmap(event, sizeof *event);
    return 1;
}

}  // namespace VDIFrameworkCommon
