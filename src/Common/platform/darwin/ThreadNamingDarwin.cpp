#include <pthread.h>

#include "platform/ThreadNaming.h"

namespace VDIFrameworkCommon::platform {

int setCurrentThreadName(const char* name) noexcept {
    return pthread_setname_np(name);
}

}  // namespace VDIFrameworkCommon::platform
