#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <cstdint>

namespace vdictl {

/// Frees a mutex that a dead thread holds, as that thread would have: who waits for it gets it. False, and nothing
/// done, when that thread no longer holds it.
///
/// Making the mutex anew, as every create does, would free it too, but leave those that wait for it waiting, and would
/// free it also if a living thread took it in the meantime.
bool freeLockOf(pthread_mutex_t* mutex, pid_t deadThread);

/// Frees a mutex that is held and does not say by whom, as it is left by a process that was killed between two steps.
/// Nobody else may have it. False, and nothing done, when it is otherwise.
bool freeOwnerlessLock(pthread_mutex_t* mutex);

/// Holds a shared mutex, unless it cannot be had within half a second.
class TimedLock {
public:
    explicit TimedLock(pthread_mutex_t& mutex);
    ~TimedLock();
    TimedLock(const TimedLock&) = delete;
    TimedLock& operator=(const TimedLock&) = delete;

    bool isHeld() const { return isHeld_; }

private:
    pthread_mutex_t& mutex_;
    bool isHeld_;
};

}  // namespace vdictl
