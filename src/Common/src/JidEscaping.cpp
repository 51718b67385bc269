#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "VDIFrameworkCommon/IdentifierUtils.h"

namespace VDIFrameworkCommon {

namespace {

template <typename Char>
using View = std::basic_string_view<Char>;

constexpr std::size_t shortestJid = 5;

// The position of the last "@" of a valid JID, 0 for any other text.
template <typename Char>
std::size_t domainStart(View<Char> jid) {
    if (jid.size() < shortestJid) {
        return 0;
    }
    const std::size_t last = jid.size() - 1;
    std::size_t dot = 0;  // the last one, if it comes after the "@"
    std::size_t at = last;
    for (; jid[at] != '@'; --at) {
        if (at == 0 || jid[at] == ' ') {
            return 0;
        }
        if (jid[at] == '.' && dot == 0) {
            dot = at;
        }
    }
    const bool valid = at >= 1 && jid[at - 1] != '@' && dot >= at + 2 && dot != last;
    return valid ? at : 0;
}

// An escape is a backslash and the code of the character in two hexadecimal digits.
constexpr std::size_t escapeSize = 3;
constexpr char digits[] = "0123456789abcdef";

// One bit for each of the 64 characters from the space on.
constexpr std::uint64_t escapedSet = [] {
    std::uint64_t set = 0;
    for (const char c : std::string_view(R"( "&'/:<>@\)")) {
        set |= std::uint64_t{1} << static_cast<unsigned>(c - ' ');
    }
    return set;
}();

template <typename Char>
constexpr bool isEscaped(Char c) {
    const auto offset = static_cast<std::make_unsigned_t<Char>>(c) - std::size_t{' '};
    return offset < 64 && (escapedSet >> offset & 1U) != 0;
}

// The value of a digit as escapes are written; 16 for any other character.
template <typename Char>
constexpr unsigned digitValue(Char c) {
    if (c >= '0' && c <= '9') {
        return static_cast<unsigned>(c - '0');
    }
    return c >= 'a' && c <= 'f' ? static_cast<unsigned>(c - 'a') + 10 : 16;
}

template <typename Char>
std::basic_string<Char> escape(const std::basic_string<Char>& jid) {
    const View<Char> local = View<Char>(jid).substr(0, domainStart<Char>(jid));
    const auto count = static_cast<std::size_t>(std::count_if(local.begin(), local.end(), isEscaped<Char>));
    if (count == 0) {
        return jid;
    }
    // What an escape is made of is not escaped itself, so one pass does what ten replacements in a row would do, the
    // backslash first.
    std::basic_string<Char> escaped(jid.size() + count * (escapeSize - 1), Char());
    Char* out = escaped.data();
    for (const Char c : local) {
        if (isEscaped(c)) {
            *out++ = '\\';
            *out++ = digits[c >> 4];
            *out++ = digits[c & 0xF];
        } else {
            *out++ = c;
        }
    }
    std::copy(jid.begin() + static_cast<std::ptrdiff_t>(local.size()), jid.end(), out);
    return escaped;
}

// The character that the text begins with an escape of, 0 without one.
template <typename Char>
constexpr Char unescapedFront(const Char* text, const Char* end) {
    if (*text != '\\' || end - text < static_cast<std::ptrdiff_t>(escapeSize)) {
        return 0;
    }
    const unsigned high = digitValue(text[1]);
    const unsigned low = digitValue(text[2]);
    const auto c = static_cast<Char>(high << 4U | low);
    return low < 16 && high < 8 && isEscaped(c) ? c : 0;
}

template <typename Char>
std::basic_string<Char> unescape(const std::basic_string<Char>& jid) {
    // What comes out of an escape is never part of another one, but for the backslash; callers rely on that one being
    // put back last, so that "\5c20" becomes "\20". One pass that goes on behind what it put back does just that.
    std::basic_string<Char> unescaped = jid;
    Char* out = unescaped.data();
    const Char* const end = out + unescaped.size();
    for (const Char* in = out; in != end;) {
        if (const Char c = unescapedFront(in, end); c != 0) {
            *out++ = c;
            in += escapeSize;
        } else {
            *out++ = *in++;
        }
    }
    unescaped.resize(static_cast<std::size_t>(out - unescaped.data()));
    return unescaped;
}

}  // namespace

bool isValidJid(const std::string& jid) {
    return domainStart<char>(jid) != 0;
}

bool isValidJid(const std::wstring& jid) {
    return domainStart<wchar_t>(jid) != 0;
}

std::string escapeJid(const std::string& jid) {
    return escape(jid);
}

std::wstring escapeJid(const std::wstring& jid) {
    return escape(jid);
}

std::string unescapeJid(const std::string& jid) {
    return unescape(jid);
}

std::wstring unescapeJid(const std::wstring& jid) {
    return unescape(jid);
}

}  // namespace VDIFrameworkCommon
