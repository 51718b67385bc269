#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

/// The one codec between UTF-8 and wide text. Strict: nothing is replaced or skipped.
///
/// Thread-safe: stateless.
namespace VDIFrameworkCommon::utf8 {

/// Whether each element of the text is its only byte.
bool isAscii(std::wstring_view text) noexcept;

/// \{

/// Makes an empty text hold the other encoding of a text. False if it has none, as `encode` and `decode` say; the
/// result then holds some of it.
bool encodeInto(std::string& bytes, std::wstring_view text);
bool decodeInto(std::wstring& text, std::string_view bytes);
/// \}

// Inline, so that an exception passes one frame less. It is thrown out of the result's scope: unwinding would stop for
// what is to be destroyed.

/// \throw std::range_error "wstring_convert: to_bytes error" on a surrogate or an element above 0x10FFFF
inline std::string encode(std::wstring_view text) {
    if (std::string bytes; encodeInto(bytes, text)) {
        return bytes;
    }
    throw std::range_error("wstring_convert: to_bytes error");
}

/// \throw std::range_error "wstring_convert: from_bytes error" on anything but shortest-form UTF-8 of code points up to
///     0x10FFFF that are no surrogates
inline std::wstring decode(std::string_view bytes) {
    if (std::wstring text; decodeInto(text, bytes)) {
        return text;
    }
    throw std::range_error("wstring_convert: from_bytes error");
}

}  // namespace VDIFrameworkCommon::utf8
