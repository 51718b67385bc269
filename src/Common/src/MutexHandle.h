#pragma once

#include <pthread.h>

#include "VDIFrameworkCommon/Mutex.h"

namespace VDIFrameworkCommon {

/// What a `Mutex` owns. The attributes live as long as the mutex that was made with them.
struct Mutex::Handle {
    pthread_mutex_t mutex;
    pthread_mutexattr_t attributes;
};

}  // namespace VDIFrameworkCommon
