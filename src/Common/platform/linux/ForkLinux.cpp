#include <unistd.h>

#include "Fork.h"

// The thread sanitizer stands before the calls that the child makes, and takes locks there that other threads may hold
// at the fork unless it sees the fork as well.
#if defined(__SANITIZE_THREAD__)
#define VDI_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VDI_THREAD_SANITIZER 1
#endif
#endif

namespace VDIFrameworkCommon::platform {

pid_t forkWithoutHandlers() noexcept {
#ifdef VDI_THREAD_SANITIZER
    return ::fork();
#else
    return ::_Fork();
#endif
}

}  // namespace VDIFrameworkCommon::platform
