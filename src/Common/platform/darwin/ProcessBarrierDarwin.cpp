#include "platform/ProcessBarrier.h"

namespace VDIFrameworkCommon::platform {

// The system offers none.
bool hasProcessBarrier() noexcept {
    return false;
}

bool processBarrier() noexcept {
    return false;
}

}  // namespace VDIFrameworkCommon::platform
