#include <unistd.h>

#include "Fork.h"

// The thread sanitizer stands before the calls that the child makes, and takes locks there that other threads may hold
// at the fork: some it takes itself around a fork that it sees, the others it needs only for what it learns from a
// call.
#if defined(__SANITIZE_THREAD__)
#define VDI_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VDI_THREAD_SANITIZER 1
#endif
#endif

#ifdef VDI_THREAD_SANITIZER
extern "C" void AnnotateIgnoreSyncBegin(const char* file, int line);
#endif

namespace VDIFrameworkCommon::platform {

pid_t forkWithoutHandlers() noexcept {
#ifdef VDI_THREAD_SANITIZER
    const pid_t pid = ::fork();
    if (pid == 0) {
        AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
    }
    return pid;
#else
    return ::_Fork();
#endif
}

}  // namespace VDIFrameworkCommon::platform
