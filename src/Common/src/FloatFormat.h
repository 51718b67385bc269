#pragma once

#include <cstddef>

namespace VDIFrameworkCommon {

/// The most digits that `formatGeneral` prints.
inline constexpr int maxPrecision = 9;

/// The room that `formatGeneral` needs: the longest text, "-1.23456789e-308", and what it writes beyond the end of
/// others.
inline constexpr std::size_t formattedFloatRoom = 24;

/// Prints a number with at most `precision` significant digits (1 to `maxPrecision`) as printf's "%.<precision>g" does
/// in the "C" locale: rounded to nearest, ties to even, "inf" and "nan" with their signs. No zero byte is added.
///
/// \return the end of the text
char* formatGeneral(char* out, double value, int precision) noexcept;

}  // namespace VDIFrameworkCommon
