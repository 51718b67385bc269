#pragma once

#include <cstdint>
#include <string_view>

namespace VDIFrameworkCommon {

/// The 64-bit CityHash digest of a text, as libc++ computes it for its strings.
///
/// It names the shared objects, so every process of every build must compute the same one; it must never be exchanged
/// for a standard library's own string hash. It is not the published CityHash64 1.1: the two differ for 4 to 8 bytes.
std::uint64_t cityHash64(std::string_view text) noexcept;

}  // namespace VDIFrameworkCommon
