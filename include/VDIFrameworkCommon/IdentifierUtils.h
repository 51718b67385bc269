#pragma once

#include <string>

#include "VDIFrameworkCommon/Export.h"

/// \file
/// Checking and cleaning of the identifiers that a unified-communications client meets: SIP URIs, chat addresses
/// (JIDs), meeting numbers, UUIDs, phone numbers and URLs.
///
/// All functions are thread-safe: they keep no state. They never throw, but for a failed allocation and where it is
/// said. Texts may hold anything, zero bytes and invalid UTF-8 too; positions and lengths count elements.
/// "Alphanumeric" is what `isalnum` says of the byte in the current C locale: in the "C" locale, the ASCII letters and
/// digits.

namespace VDIFrameworkCommon {

/// Whether the element can be dialled: "0" to "9", "#", "*" or "+".
VDIFRAMEWORKCOMMON_EXPORT bool isValidDigit(wchar_t c);

/// Whether the text is "user@host" with exactly one "@": a user of 1 to 47 bytes that are alphanumeric or one of
/// "!$%&*_+~-=?\',./", and a host of at least 2 bytes that are alphanumeric, "-" or ".", neither begins nor ends with
/// "-", does not begin with "." and has no two "." in a row.
VDIFRAMEWORKCOMMON_EXPORT bool isValidSipUri(std::string uri);

/// Whether the whole text is a UUID of the versions 1 to 5 in lower case; only the first digit of the fourth group, the
/// variant, may be an upper-case "A" or "B".
VDIFRAMEWORKCOMMON_EXPORT bool isValidUUid(const std::string& text);

/// Whether the whole text is nine ASCII digits.
VDIFRAMEWORKCOMMON_EXPORT bool isValidGlintMeetingNumber(const std::string& text);

/// What comes before the last "@"; the whole text without one.
VDIFRAMEWORKCOMMON_EXPORT std::string extractUsernameFromUri(const std::string& uri);

/// Leaves what can be dialled: letters become the digits of the telephone keypad; whatever else is neither a digit nor
/// "#", "*" or "+" is removed.
VDIFRAMEWORKCOMMON_EXPORT void sanitizePhoneNumber(std::string& number);

/// The digit of a letter on the telephone keypad ("2" for a, b and c …), 0 for every other character.
VDIFRAMEWORKCOMMON_EXPORT char convertToNumericValue(char c);

/// \{

/// Whether the text, of at least 5 elements, is an address: before the last "@" comes at least one element and not
/// another "@"; after it comes no space, and a last "." with at least one element on either side of it.
VDIFRAMEWORKCOMMON_EXPORT bool isValidJid(const std::string& jid);
VDIFRAMEWORKCOMMON_EXPORT bool isValidJid(const std::wstring& jid);
/// \}

/// \{

/// Writes each space and each of `"&'/:<>@\` that comes before the last "@" as a backslash and two hexadecimal digits
/// ("\20"). A text that is not a valid JID is returned as it is.
VDIFRAMEWORKCOMMON_EXPORT std::string escapeJid(const std::string& jid);
VDIFRAMEWORKCOMMON_EXPORT std::wstring escapeJid(const std::wstring& jid);
/// \}

/// \{

/// Turns what `escapeJid` writes back, anywhere in the text and without a check. The hexadecimal digits must be in
/// lower case. What an unescaped backslash forms with the characters after it is left as it is: "\5c20" becomes "\20".
VDIFRAMEWORKCOMMON_EXPORT std::string unescapeJid(const std::string& jid);
VDIFRAMEWORKCOMMON_EXPORT std::wstring unescapeJid(const std::wstring& jid);
/// \}

/// The URL without a leading "https://"; in this very case, and no other scheme.
VDIFRAMEWORKCOMMON_EXPORT std::string trimHttpHead(const std::string& url);

/// The URL up to its host: what comes before the first "/" that follows the first "://", or before the first "/"
/// without one. The whole URL when there is no such "/".
VDIFRAMEWORKCOMMON_EXPORT std::string trimUrl(const std::string& url);

/// As the narrow one, for wide text.
///
/// \throw std::range_error  when the URL holds a surrogate or an element above U+10FFFF, in its path too
VDIFRAMEWORKCOMMON_EXPORT std::wstring trimUrl(const std::wstring& url);

}  // namespace VDIFrameworkCommon
