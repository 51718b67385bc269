#pragma once

#include <cstddef>

namespace VDIFrameworkCommon {

/// The room that `formatGeneral` needs: the longest text, such as "-1.23457e-308", and what it writes beyond the end of
/// others.
template <int precision>
inline constexpr std::size_t formattedFloatRoom = 2 * precision + 1;

/// Prints a number with at most `precision` significant digits as printf's "%.<precision>g" does in the "C" locale:
/// rounded to nearest, ties to even, "inf" and "nan" with their signs. No zero byte is added.
///
/// \return the end of the text
template <int precision>
char* formatGeneral(char* out, double value) noexcept;

extern template char* formatGeneral<6>(char* out, double value) noexcept;
extern template char* formatGeneral<9>(char* out, double value) noexcept;

}  // namespace VDIFrameworkCommon
