#pragma once

#include "platform/linux/TimerQueue.h"

namespace fakes {

/// The timers of the loop whose clock is moved by hand; what takes a system's place puts them there.
VDIFrameworkCommon::platform::TimerQueue& handMovedQueue();

}  // namespace fakes
