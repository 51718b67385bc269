#pragma once

#include <string>
#include <string_view>

/// The one codec between UTF-8 and wide text. Strict: nothing is replaced or skipped.
///
/// Thread-safe: stateless.
namespace VDIFrameworkCommon::utf8 {

/// Whether each element of the text is its only byte.
bool isAscii(std::wstring_view text) noexcept;

/// \throw std::range_error "wstring_convert: to_bytes error" on a surrogate or an element above 0x10FFFF
std::string encode(std::wstring_view text);

/// \throw std::range_error "wstring_convert: from_bytes error" on anything but shortest-form UTF-8 of code points up to
///     0x10FFFF that are no surrogates
std::wstring decode(std::string_view bytes);

}  // namespace VDIFrameworkCommon::utf8
