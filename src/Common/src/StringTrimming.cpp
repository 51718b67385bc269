#include <array>
#include <string_view>

#include "VDIFrameworkCommon/StringUtils.h"

namespace VDIFrameworkCommon {

namespace {

template <typename Char>
using View = std::basic_string_view<Char>;

// Whether a byte is white space: looked up, since every call asks for a few.
constexpr auto spaces = [] {
    std::array<bool, 256> table{};
    for (const char space : std::string_view("\t\n\v\f\r ")) {
        table[static_cast<unsigned char>(space)] = true;
    }
    return table;
}();

constexpr bool isSpace(char c) {
    return spaces[static_cast<unsigned char>(c)];
}

constexpr bool isSpace(wchar_t c) {
    return c == L' ' || (c >= L'\t' && c <= L'\r') || c == L'\u00A0';
}

// How many elements at the front are white space.
template <typename Char>
std::size_t leading(View<Char> s) {
    std::size_t count = 0;
    while (count < s.size() && isSpace(s[count])) {
        ++count;
    }
    return count;
}

// The index after the last element that is not white space.
template <typename Char>
std::size_t keptSize(View<Char> s) {
    std::size_t size = s.size();
    while (size > 0 && isSpace(s[size - 1])) {
        --size;
    }
    return size;
}

template <typename Char>
void trimEnd(std::basic_string<Char>& s) {
    // One element fewer than the text has is erased at most. That looks like a slip, yet callers rely on a blank text
    // keeping its last element; erasing all would turn what they take for a filled field into an empty one.
    s.erase(keptSize<Char>(s), s.size() - 1);
}

// What is between the white space at both ends. The terminator ends the first search, and what that has found the
// second.
template <typename Char>
View<Char> inner(const std::basic_string<Char>& s) {
    const Char* begin = s.c_str();
    while (isSpace(*begin)) {
        ++begin;
    }
    const Char* end = s.c_str() + s.size();
    if (begin != end) {
        while (isSpace(end[-1])) {
            --end;
        }
    }
    return {begin, static_cast<std::size_t>(end - begin)};
}

// What trimming the front and then the end comes to: nothing is left of a blank text.
template <typename Char>
void trimBoth(std::basic_string<Char>& s) {
    const auto kept = inner(s);
    std::char_traits<Char>::move(s.data(), kept.data(), kept.size());
    s.erase(kept.size());
}

}  // namespace

bool isWhiteSpace(char c) {
    return isSpace(c);
}

bool isWhiteSpace(wchar_t c) {
    return isSpace(c);
}

void trimleft_safe(std::string& s) {
    s.erase(0, leading<char>(s));
}

void trimleft_safe(std::wstring& s) {
    s.erase(0, leading<wchar_t>(s));
}

void trimright_safe(std::string& s) {
    trimEnd(s);
}

void trimright_safe(std::wstring& s) {
    trimEnd(s);
}

void trim_safe(std::string& s) {
    trimBoth(s);
}

void trim_safe(std::wstring& s) {
    trimBoth(s);
}

std::string trimleft(const std::string& s) {
    return s.substr(leading<char>(s));
}

std::wstring trimleft(const std::wstring& s) {
    return s.substr(leading<wchar_t>(s));
}

std::string trimright(const std::string& s) {
    return s.substr(0, keptSize<char>(s));
}

std::wstring trimright(const std::wstring& s) {
    return s.substr(0, keptSize<wchar_t>(s));
}

std::string trim(const std::string& s) {
    return std::string(inner(s));
}

std::wstring trim(const std::wstring& s) {
    return std::wstring(inner(s));
}

}  // namespace VDIFrameworkCommon
