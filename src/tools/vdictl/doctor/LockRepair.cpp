#include "doctor/LockRepair.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <ctime>

namespace vdictl {

namespace {

/// Who holds a mutex, as the C library keeps it: two words that change as one here.
struct Holder {
    std::int32_t thread;
    std::uint32_t users;
};
static_assert(sizeof(Holder) == sizeof(std::uint64_t));
static_assert(offsetof(pthread_mutex_t, __data.__owner) % sizeof(std::uint64_t) == 0 &&
                  offsetof(pthread_mutex_t, __data.__nusers) ==
                      offsetof(pthread_mutex_t, __data.__owner) + sizeof(std::int32_t),
              "the C library keeps the holder of a mutex otherwise");

std::uint64_t asWord(const Holder& holder) {
    std::uint64_t word = 0;
    std::memcpy(&word, &holder, sizeof word);
    return word;
}

// Takes the place of the dead holder. Fails when the mutex was freed or made anew, which writes the same word.
bool takeOver(pthread_mutex_t* mutex, pid_t deadThread) {
    auto* const word = reinterpret_cast<std::uint64_t*>(&mutex->__data.__owner);
    std::uint64_t before = __atomic_load_n(word, __ATOMIC_SEQ_CST);
    Holder holder{};
    std::memcpy(&holder, &before, sizeof holder);
    if (holder.thread != deadThread || __atomic_load_n(&mutex->__data.__lock, __ATOMIC_SEQ_CST) == 0) {
        return false;
    }
    const Holder self{static_cast<std::int32_t>(syscall(SYS_gettid)), holder.users};
    return __atomic_compare_exchange_n(word, &before, asWord(self), false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
}

std::timespec halfASecondFromNow() {
    constexpr long half = 500'000'000;
    std::timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    time.tv_sec += (time.tv_nsec + half) / (2 * half);
    time.tv_nsec = (time.tv_nsec + half) % (2 * half);
    return time;
}

}  // namespace

bool freeLockOf(pthread_mutex_t* mutex, pid_t deadThread) {
    if (!takeOver(mutex, deadThread)) {
        return false;
    }
    // The steps of an unlock, by hand: this thread has not locked the mutex, which checkers of such things object to.
    __atomic_store_n(&mutex->__data.__owner, 0, __ATOMIC_SEQ_CST);
    __atomic_fetch_sub(&mutex->__data.__nusers, 1U, __ATOMIC_SEQ_CST);
    constexpr int isWaitedFor = 2;
    if (__atomic_exchange_n(&mutex->__data.__lock, 0, __ATOMIC_SEQ_CST) == isWaitedFor) {
        syscall(SYS_futex, &mutex->__data.__lock, FUTEX_WAKE, 1, nullptr, nullptr, 0);
    }
    return true;
}

bool freeOwnerlessLock(pthread_mutex_t* mutex) {
    int held = __atomic_load_n(&mutex->__data.__lock, __ATOMIC_SEQ_CST);
    return held != 0 && __atomic_load_n(&mutex->__data.__owner, __ATOMIC_SEQ_CST) == 0 &&
           __atomic_compare_exchange_n(&mutex->__data.__lock, &held, 0, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
}

TimedLock::TimedLock(pthread_mutex_t& mutex) : mutex_(mutex) {
    const std::timespec limit = halfASecondFromNow();
    isHeld_ = pthread_mutex_timedlock(&mutex_, &limit) == 0;
}

TimedLock::~TimedLock() {
    if (isHeld_) {
        pthread_mutex_unlock(&mutex_);
    }
}

}  // namespace vdictl
