#pragma once

#include <string>

#include "VDIFrameworkCommon/Export.h"

/// \file
/// Numbers and booleans to text and back, the two encodings into each other, and case mapping.
///
/// Narrow text is UTF-8, wide text has one code point an element. The sets of overloads are uneven on purpose: callers
/// rely on what is absent being refused, or converted, at compile time.
///
/// Thread-safe: no function keeps state. None blocks or logs. Numbers are formatted and parsed as a stream of the
/// classic locale does it, whatever `setlocale` and `std::locale::global` were given; `toLowercase`, `toUppercase`,
/// `toBool`, `toDouble`, `toUnsignedLong` and `toUnsignedShort` follow the current C locale. A zero byte or element is
/// an ordinary character, except where `strtod` and `strtoul` end at it.

/// The UTF-8 encoding of every code point. No byte-order mark is added or removed.
///
/// \throw std::range_error "wstring_convert: to_bytes error" on a surrogate or an element above 0x10FFFF
VDIFRAMEWORKCOMMON_EXPORT std::string TXFStdStringForStdWString(const std::wstring& text);

/// The code points that the UTF-8 bytes encode. No byte-order mark is added or removed.
///
/// \throw std::range_error "wstring_convert: from_bytes error" on a malformed or truncated sequence: overlong forms,
///     surrogates and code points above 0x10FFFF included
VDIFRAMEWORKCOMMON_EXPORT std::wstring TXFStdWStringForStdString(const std::string& text);

namespace VDIFrameworkCommon {

/// \{

/// The UTF-8 encoding of wide text. A null pointer is an empty text.
///
/// \throw std::range_error as `TXFStdStringForStdWString`
VDIFRAMEWORKCOMMON_EXPORT std::string toString(const std::wstring& text);
VDIFRAMEWORKCOMMON_EXPORT std::string toString(const wchar_t* text);
/// \}

/// "true" or "false".
VDIFRAMEWORKCOMMON_EXPORT std::string toString(const bool& value);

/// At most 6 significant digits, as an output stream prints a double: 1.5 gives "1.5", 1234567.0 gives "1.23457e+06".
VDIFRAMEWORKCOMMON_EXPORT std::string toString(const double& value);

/// At most 9 significant digits, which identify every float: 0.1f gives "0.100000001".
VDIFRAMEWORKCOMMON_EXPORT std::string toString(const float& value);

/// \{

/// Plain decimal, with a leading "-" for negative values. Of an int, a single digit is converted in place.
VDIFRAMEWORKCOMMON_EXPORT inline std::string toString(const int& value);
VDIFRAMEWORKCOMMON_EXPORT std::string toString(const unsigned int& value);
VDIFRAMEWORKCOMMON_EXPORT std::string toString(const long& value);
VDIFRAMEWORKCOMMON_EXPORT std::string toString(const unsigned long& value);
VDIFRAMEWORKCOMMON_EXPORT std::string toString(const long long& value);
/// \}

/// \{

/// The code points of UTF-8 text. A null pointer is an empty text.
///
/// \throw std::range_error as `TXFStdWStringForStdString`
VDIFRAMEWORKCOMMON_EXPORT std::wstring toWideString(const std::string& text);
VDIFRAMEWORKCOMMON_EXPORT std::wstring toWideString(const char* text);
/// \}

/// L"true" or L"false".
VDIFRAMEWORKCOMMON_EXPORT std::wstring toWideString(const bool& value);

/// \{

/// At most 6 significant digits, also for a float, unlike `toString`: 0.1f gives L"0.1".
VDIFRAMEWORKCOMMON_EXPORT std::wstring toWideString(const double& value);
VDIFRAMEWORKCOMMON_EXPORT std::wstring toWideString(const float& value);
/// \}

/// \{

/// Plain decimal, with a leading L"-" for negative values.
VDIFRAMEWORKCOMMON_EXPORT std::wstring toWideString(const int& value);
VDIFRAMEWORKCOMMON_EXPORT std::wstring toWideString(const unsigned int& value);
VDIFRAMEWORKCOMMON_EXPORT std::wstring toWideString(const long& value);
VDIFRAMEWORKCOMMON_EXPORT std::wstring toWideString(const unsigned long& value);
VDIFRAMEWORKCOMMON_EXPORT std::wstring toWideString(const long long& value);
/// \}

/// \{

/// Each byte replaced by the C library's `tolower` or `toupper` of it.
VDIFRAMEWORKCOMMON_EXPORT std::string toLowercase(const std::string& text);
VDIFRAMEWORKCOMMON_EXPORT std::string toUppercase(const std::string& text);
/// \}

/// Each element up to 0xFF replaced by the C library's `tolower` of it; elements above have no other case.
VDIFRAMEWORKCOMMON_EXPORT std::wstring toLowercase(const std::wstring& text);

/// \{

/// True if the text, in any case and after any white space, begins with "true".
VDIFRAMEWORKCOMMON_EXPORT bool toBool(const std::string& text);
VDIFRAMEWORKCOMMON_EXPORT bool toBool(const std::wstring& text);
/// \}

/// \{

/// The number that the text begins with, after any white space; what follows the longest valid decimal prefix is
/// ignored ("12ab" gives 12). 0 when there is none. A number out of range gives the largest or smallest value of the
/// type (finite, for a float); an unsigned one takes a leading "-" and wraps, and is at its largest value beyond the
/// range on either side.
VDIFRAMEWORKCOMMON_EXPORT float toFloat(const std::string& text);
VDIFRAMEWORKCOMMON_EXPORT int toInt(const std::string& text);
VDIFRAMEWORKCOMMON_EXPORT unsigned int toUnsignedInt(const std::string& text);
VDIFRAMEWORKCOMMON_EXPORT long toLong(const std::string& text);
VDIFRAMEWORKCOMMON_EXPORT long long toLongLong(const std::string& text);
/// \}

/// \{

/// The decimal number that is the whole text; white space may precede it, nothing may follow it. `defaultValue` for any
/// other text and for a number out of range. The unsigned one takes a leading "-" and wraps: "-1" gives 4294967295.
VDIFRAMEWORKCOMMON_EXPORT int toInt(const std::string& text, int defaultValue);
VDIFRAMEWORKCOMMON_EXPORT int toInt(const std::wstring& text, int defaultValue);
VDIFRAMEWORKCOMMON_EXPORT unsigned int toUnsignedInt(const std::string& text, unsigned int defaultValue);
VDIFRAMEWORKCOMMON_EXPORT unsigned int toUnsignedInt(const std::wstring& text, unsigned int defaultValue);
/// \}

/// `strtod` of the text in UTF-8: the longest valid prefix, 0.0 when there is none.
///
/// \throw std::range_error as `TXFStdStringForStdWString`
VDIFRAMEWORKCOMMON_EXPORT double toDouble(const std::wstring& text);

/// `strtoul` of the text in UTF-8, hexadecimal after "0x" and octal after "0"; a binary "0b" prefix is not known.
/// 0 when no digits start the text, the largest value out of range; "-" wraps.
///
/// \throw std::range_error as `TXFStdStringForStdWString`
VDIFRAMEWORKCOMMON_EXPORT unsigned long toUnsignedLong(const std::wstring& text);

/// The low 16 bits of `toUnsignedLong`, with no check of the range: 70000 gives 4464.
///
/// \throw std::range_error as `TXFStdStringForStdWString`
VDIFRAMEWORKCOMMON_EXPORT unsigned short toUnsignedShort(const std::wstring& text);

std::string toString(const int& value) {
    const auto number = static_cast<unsigned>(value);
    return number < 10 ? std::string(1, static_cast<char>('0' + number)) : toString(static_cast<long>(value));
}

}  // namespace VDIFrameworkCommon
