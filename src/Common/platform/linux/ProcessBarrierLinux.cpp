#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/ProcessBarrier.h"

namespace VDIFrameworkCommon::platform {

namespace {

long membarrier(int command) noexcept {
    return ::syscall(SYS_membarrier, command, 0, 0);
}

}  // namespace

bool hasProcessBarrier() noexcept {
    const long commands = membarrier(MEMBARRIER_CMD_QUERY);
    return commands > 0 && (commands & MEMBARRIER_CMD_PRIVATE_EXPEDITED) != 0;
}

bool processBarrier() noexcept {
    // A process registers itself before its first use; registering again does nothing.
    return membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED) == 0 &&
           membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED) == 0;
}

}  // namespace VDIFrameworkCommon::platform
