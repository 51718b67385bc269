#pragma once

#include <cstdint>

#include "platform/linux/TimerQueue.h"

namespace VDIFrameworkCommon::platform {

/// The descriptor that tells a host's loop that timers are due. It is never closed: the host may poll it to the end.
class HostDescriptor final : public LoopDriver {
public:
    /// False if the process has no descriptor left.
    bool open() noexcept;

    int descriptor() const noexcept { return descriptor_; }

    void wakeAt(std::int64_t due) noexcept override;

private:
    int descriptor_ = -1;
};

}  // namespace VDIFrameworkCommon::platform
