#include "platform/FileCopy.h"

namespace VDIFrameworkCommon::platform {

// The system sends files to sockets only.
std::int64_t copyInSystem(int /*from*/, int /*to*/, std::int64_t /*length*/) noexcept {
    return 0;
}

}  // namespace VDIFrameworkCommon::platform
