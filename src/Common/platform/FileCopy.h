#pragma once

#include <cstdint>

namespace VDIFrameworkCommon::platform {

/// Appends the first `length` bytes of one open file to what another one has got, without taking them through the
/// process. Returns how many it was; fewer, also none, where the system does not do so, the source ends, or an error
/// keeps the rest.
std::int64_t copyInSystem(int from, int to, std::int64_t length) noexcept;

}  // namespace VDIFrameworkCommon::platform
