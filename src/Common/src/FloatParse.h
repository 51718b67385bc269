#pragma once

#include <cstdint>

namespace VDIFrameworkCommon {

/// The decimal number that a text begins with: digits * 10^exponent.
struct DecimalPrefix {
    std::uint64_t digits = 0;  ///< the first 19 significant digits
    std::int64_t exponent = 0;
    bool negative = false;
    bool cut = false;             ///< there are more digits than `digits` holds, and not only zeros
    const char* first = nullptr;  ///< where the digits and the point begin
    const char* end = nullptr;    ///< the end of the longest valid prefix; null when no number starts the text
};

/// Reads an optional sign, digits with at most one "." among, before or after them, and an optional exponent. An "e"
/// that no digits follow is not part of the number. Time is linear in the length of the number.
DecimalPrefix scanDecimal(const char* begin, const char* end) noexcept;

/// The float nearest to the number, ties to even; the largest or smallest finite one when it is out of range.
float toNearestFloat(const DecimalPrefix& number) noexcept;

}  // namespace VDIFrameworkCommon
