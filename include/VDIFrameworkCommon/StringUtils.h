#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "VDIFrameworkCommon/Export.h"

/// \file
/// Comparing, searching, editing, trimming and splitting of narrow (UTF-8) and wide (one code point an element) text.
///
/// All functions are thread-safe: they keep no state. They never throw, but for a failed allocation, and take a zero
/// byte for an ordinary character. Case is that of the C library's `tolower` in the current C locale, one element at a
/// time; wide elements above 0xFF have no case. A position that was not found is `npos`. `toLowercase` and
/// `toUppercase` are in StringConversion.h.

namespace VDIFrameworkCommon {

/// Whether the element is white space: tab, line feed, vertical tab, form feed, carriage return or space.
VDIFRAMEWORKCOMMON_EXPORT bool isWhiteSpace(char c);

/// Whether the element is white space: the six of the narrow function, and the no-break space U+00A0.
VDIFRAMEWORKCOMMON_EXPORT bool isWhiteSpace(wchar_t c);

/// Compares the lower-cased texts.
///
/// \return the difference of the first two bytes that differ, as unsigned numbers; when one text begins with the
/// other, -1 if `a` is the shorter one, 1 if it is the longer one, and 0 if they are equal
VDIFRAMEWORKCOMMON_EXPORT int caseInsensitiveStringCompare(std::string a, std::string b);

/// Compares the lower-cased texts in the order of `wchar_t`.
///
/// \return -1, 0 or 1, as `a` comes before `b`, is equal to it or comes after it
VDIFRAMEWORKCOMMON_EXPORT int caseInsensitiveStringCompare(std::wstring a, std::wstring b);

/// \{

/// Whether the texts are equal once they are lower-cased.
VDIFRAMEWORKCOMMON_EXPORT bool caseInsensitiveStringEquals(std::string a, std::string b);
VDIFRAMEWORKCOMMON_EXPORT bool caseInsensitiveStringEquals(std::wstring a, std::wstring b);
/// \}

/// \{

/// Where the needle first occurs in the haystack, whatever the case; 0 for an empty needle.
VDIFRAMEWORKCOMMON_EXPORT std::size_t caseInsensitiveFind(const std::string& haystack, const std::string& needle);
VDIFRAMEWORKCOMMON_EXPORT std::size_t caseInsensitiveFind(const std::wstring& haystack, const std::wstring& needle);
/// \}

/// \{

/// Where the needle last occurs in the haystack, whatever the case; the haystack's length for an empty needle.
VDIFRAMEWORKCOMMON_EXPORT std::size_t caseInsensitiveRFind(const std::string& haystack, const std::string& needle);
VDIFRAMEWORKCOMMON_EXPORT std::size_t caseInsensitiveRFind(const std::wstring& haystack, const std::wstring& needle);
/// \}

/// Whether the text begins with the prefix, as every text does with an empty one.
VDIFRAMEWORKCOMMON_EXPORT bool startsWith(const std::string& s, const std::string& prefix);

/// \{

/// Whether the text ends with the suffix, as every text does with an empty one.
VDIFRAMEWORKCOMMON_EXPORT bool endsWith(const std::string& s, const std::string& suffix);
VDIFRAMEWORKCOMMON_EXPORT bool endsWith(const std::wstring& s, const std::wstring& suffix);
/// \}

/// \{

/// Replaces every occurrence of `from`, found from left to right, by `to`. What was put in is not searched again. An
/// empty `from` changes nothing. `from` and `to` may be `s` itself: their values at the call count.
VDIFRAMEWORKCOMMON_EXPORT void replaceAll(std::string& s, std::string from, std::string to);
VDIFRAMEWORKCOMMON_EXPORT void replaceAll(std::wstring& s, const std::wstring& from, const std::wstring& to);
/// \}

/// \{

/// Turns every `fromChar` into `toChar`.
VDIFRAMEWORKCOMMON_EXPORT void replaceAll(std::string& s, char fromChar, char toChar);
VDIFRAMEWORKCOMMON_EXPORT void replaceAll(std::wstring& s, wchar_t fromChar, wchar_t toChar);
/// \}

/// \{

/// Removes white space everywhere: what `isspace` says of the element in the current C locale. Elements above 0xFF
/// stay, and so does U+00A0 in the "C" locale.
VDIFRAMEWORKCOMMON_EXPORT void clearBlanks(std::string& s);
VDIFRAMEWORKCOMMON_EXPORT void clearBlanks(std::wstring& s);
/// \}

/// \{

/// Removes the white space (`isWhiteSpace`) at the front.
VDIFRAMEWORKCOMMON_EXPORT void trimleft_safe(std::string& s);
VDIFRAMEWORKCOMMON_EXPORT void trimleft_safe(std::wstring& s);
/// \}

/// \{

/// Removes the white space (`isWhiteSpace`) at the end; but of a text that is nothing else, the last element stays.
VDIFRAMEWORKCOMMON_EXPORT void trimright_safe(std::string& s);
VDIFRAMEWORKCOMMON_EXPORT void trimright_safe(std::wstring& s);
/// \}

/// \{

/// Removes the white space (`isWhiteSpace`) at both ends; nothing stays of a text that is nothing else.
VDIFRAMEWORKCOMMON_EXPORT void trim_safe(std::string& s);
VDIFRAMEWORKCOMMON_EXPORT void trim_safe(std::wstring& s);
/// \}

/// \{

/// A copy without the white space (`isWhiteSpace`) at the front.
VDIFRAMEWORKCOMMON_EXPORT std::string trimleft(const std::string& s);
VDIFRAMEWORKCOMMON_EXPORT std::wstring trimleft(const std::wstring& s);
/// \}

/// \{

/// A copy without the white space (`isWhiteSpace`) at the end; empty, unlike that of `trimright_safe`, for a text that
/// is nothing else.
VDIFRAMEWORKCOMMON_EXPORT std::string trimright(const std::string& s);
VDIFRAMEWORKCOMMON_EXPORT std::wstring trimright(const std::wstring& s);
/// \}

/// \{

/// A copy without the white space (`isWhiteSpace`) at both ends.
VDIFRAMEWORKCOMMON_EXPORT std::string trim(const std::string& s);
VDIFRAMEWORKCOMMON_EXPORT std::wstring trim(const std::wstring& s);
/// \}

/// \{

/// Appends the parts of the text between delimiters to the tokens, which are not cleared. Empty parts are left out.
///
/// \param s           may be one of the tokens
/// \param tokens      gets the parts, behind what it holds
/// \param delimiters  a set of characters, each of which separates; without any, the whole text is one part
VDIFRAMEWORKCOMMON_EXPORT void split(const std::string& s, std::vector<std::string>& tokens,
                                     const std::string& delimiters);
VDIFRAMEWORKCOMMON_EXPORT void split(const std::wstring& s, std::vector<std::wstring>& tokens,
                                     const std::wstring& delimiters);
/// \}

}  // namespace VDIFrameworkCommon
