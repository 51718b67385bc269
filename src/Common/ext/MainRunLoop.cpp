#include "VDIFrameworkCommon/ext/MainRunLoop.h"

#include "platform/RunLoop.h"

namespace VDIFrameworkCommon {

int MainRunLoop::useHostLoop() {
    return platform::driveFromHost();
}

void MainRunLoop::dispatch() {
    platform::dispatchDueTimers();
}

}  // namespace VDIFrameworkCommon
