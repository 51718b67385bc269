#pragma once

#include <dpllogger/DPLLogger.h>

#include <memory>

#include "UnloadGate.h"

namespace VDIFrameworkCommon::log {

/// Keeps the process-wide log controller alive while its holder uses it. Leases nest.
///
/// Thread-safe; one lease belongs to one thread.
class ControllerLease {
public:
    ControllerLease() noexcept;

    /// The controller; null once it was released.
    DPL::dpllogger::LogController* controller() const noexcept { return controller_; }

    /// A copy of the owning pointer; null once the controller was released.
    std::shared_ptr<DPL::dpllogger::LogController> share() const noexcept;

    /// A text buffer of this thread, so that a steady flow of records allocates nothing; null within another record.
    std::string* buffer() const noexcept { return use_.buffer(); }

private:
    const unload::Use use_;
    DPL::dpllogger::LogController* const controller_;
};

}  // namespace VDIFrameworkCommon::log
