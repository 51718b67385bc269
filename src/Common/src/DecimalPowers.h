#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// Powers of ten in binary, for conversions between decimal and binary floating point.
///
/// Thread-safe: immutable.
namespace VDIFrameworkCommon::decimal {

__extension__ typedef unsigned __int128 UInt128;  // NOLINT(modernize-use-using)

/// 10^n is `mantissa` times 2^`exponent`, and less than one unit of the mantissa more unless `isExactPower(n)`.
struct Power {
    std::uint64_t mantissa;  ///< its highest bit is set
    int exponent;
};

/// The powers that a conversion needs: of every double to 9 digits, and of every decimal that a float can hold.
inline constexpr int smallestPower = -324;
inline constexpr int largestPower = 332;

using Mantissas = std::array<std::uint64_t, largestPower - smallestPower + 1>;
extern const Mantissas mantissas;

/// The largest integer not above n times the binary logarithm of 10, for every power in the table.
constexpr int floorLog2OfPower(int n) noexcept {
    return (n * 217706) >> 16;
}

inline Power power(int n) noexcept {
    return {mantissas[static_cast<std::size_t>(n - smallestPower)], floorLog2OfPower(n) - 63};
}

constexpr bool isExactPower(int n) noexcept {
    return n >= 0 && n <= 27;
}

}  // namespace VDIFrameworkCommon::decimal
