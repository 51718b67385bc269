#pragma once

namespace VDIFrameworkCommon::platform {

/// Tells whether `processBarrier` will work. Cheap; answers the same for the whole life of a process.
bool hasProcessBarrier() noexcept;

/// Makes every running thread of this process execute a full memory barrier. False if that could not be done.
bool processBarrier() noexcept;

}  // namespace VDIFrameworkCommon::platform
