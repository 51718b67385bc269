#include <unistd.h>

#include "Fork.h"

// The thread sanitizer stands before the calls that a child makes, and takes locks there that other threads may hold at
// the fork. Some of them it takes itself around a fork that it sees.
#if defined(__SANITIZE_THREAD__)
#define VDI_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VDI_THREAD_SANITIZER 1
#endif
#endif

#ifdef VDI_THREAD_SANITIZER
extern "C" void AnnotateIgnoreSyncBegin(const char* file, int line);
extern "C" void AnnotateIgnoreSyncEnd(const char* file, int line);
#endif

namespace VDIFrameworkCommon::platform {

#ifdef VDI_THREAD_SANITIZER

pid_t forkWithoutHandlers() noexcept {
    return ::fork();
}

void beginUnwatched() noexcept {
    AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
}

void endUnwatched() noexcept {
    AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
}

#else

pid_t forkWithoutHandlers() noexcept {
    return ::_Fork();
}

void beginUnwatched() noexcept {
}

void endUnwatched() noexcept {
}

#endif

}  // namespace VDIFrameworkCommon::platform
