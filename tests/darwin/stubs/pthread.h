// The system's header, and the calls that the desktop has in addition.
#pragma once

#include_next <pthread.h>
#include <time.h>

/// Names the calling thread.
int pthread_setname_np(const char* name);

/// Waits for at most a time that is counted from now.
extern "C" int pthread_cond_timedwait_relative_np(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                                  const struct timespec* time);
