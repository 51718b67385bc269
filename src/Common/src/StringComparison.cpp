#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "CaseMapping.h"
#include "SubstringSearch.h"
#include "VDIFrameworkCommon/StringUtils.h"

namespace VDIFrameworkCommon {

namespace {

template <typename Char>
using View = std::basic_string_view<Char>;

// A text as it is when lower-cased.
template <typename Char>
struct Lowered {
    View<Char> text;
    CaseMapping lower = CaseMapping::toLower();

    std::size_t size() const { return text.size(); }
    Char operator[](std::size_t at) const { return lower(text[at]); }
};

// A text from its end to its front.
template <typename Text>
struct Reversed {
    Text text;

    std::size_t size() const { return text.size(); }
    auto operator[](std::size_t at) const { return text[text.size() - 1 - at]; }
};

// Eight bytes, of which the ASCII letters are lower-cased.
std::uint64_t lowerAscii(const char* text) {
    constexpr std::uint64_t each = 0x0101010101010101;
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, text, sizeof bytes);
    // A sum of two numbers below 0x80 reaches its byte's top bit from a bound on, and never the next byte.
    const std::uint64_t low = bytes & each * 0x7F;
    const std::uint64_t fromA = low + each * (0x80 - 'A');
    const std::uint64_t beyondZ = low + each * (0x80 - 'Z' - 1);
    const std::uint64_t upperCase = fromA & ~beyondZ & ~bytes & each * 0x80;
    return bytes | upperCase >> 2U;
}

// How many elements at the front of both are equal when lower-cased.
template <typename Char>
std::size_t commonPrefix(View<Char> a, View<Char> b) {
    const CaseMapping lower = CaseMapping::toLower();
    const std::size_t size = std::min(a.size(), b.size());
    std::size_t at = 0;
    if constexpr (sizeof(Char) == 1) {
        constexpr std::size_t block = 8;
        while (lower.isAsciiOnly() && size - at >= block && lowerAscii(&a[at]) == lowerAscii(&b[at])) {
            at += block;
        }
    }
    while (at != size && lower(a[at]) == lower(b[at])) {
        ++at;
    }
    return at;
}

template <typename Char>
bool equals(View<Char> a, View<Char> b) {
    return a.size() == b.size() && commonPrefix(a, b) == a.size();
}

int difference(char a, char b) {
    return static_cast<unsigned char>(a) - static_cast<unsigned char>(b);
}

int difference(wchar_t a, wchar_t b) {
    return a < b ? -1 : 1;
}

template <typename Char>
int compare(View<Char> a, View<Char> b) {
    const std::size_t at = commonPrefix(a, b);
    if (at < a.size() && at < b.size()) {
        const CaseMapping lower = CaseMapping::toLower();
        return difference(lower(a[at]), lower(b[at]));
    }
    return static_cast<int>(a.size() > b.size()) - static_cast<int>(a.size() < b.size());
}

template <typename Char>
std::size_t find(View<Char> haystack, View<Char> needle) {
    return findFirst(Lowered<Char>{haystack}, Lowered<Char>{needle}, 0);
}

template <typename Char>
std::size_t findLast(View<Char> haystack, View<Char> needle) {
    const std::size_t fromEnd = findFirst(Reversed<Lowered<Char>>{{haystack}}, Reversed<Lowered<Char>>{{needle}}, 0);
    if (fromEnd == notFound) {
        return notFound;
    }
    const std::size_t at = haystack.size() - needle.size() - fromEnd;
    // Callers rely on what is found being equal to the needle, whatever a locale's case mapping does.
    return equals(haystack.substr(at, needle.size()), needle) ? at : notFound;
}

template <typename Word>
Word load(const char* from) {
    Word word = 0;
    std::memcpy(&word, from, sizeof word);
    return word;
}

// Whether two texts of one to two words begin and end with the same word.
template <typename Word>
bool haveSameEnds(const char* a, const char* b, std::size_t size) {
    const std::size_t last = size - sizeof(Word);
    return load<Word>(a) == load<Word>(b) && load<Word>(a + last) == load<Word>(b + last);
}

// What is looked for at either end of a text is mostly so short that a call of memcmp costs more than the comparison.
bool areSame(const char* a, const char* b, std::size_t size) {
    if (size > 16) {
        return std::memcmp(a, b, size) == 0;
    }
    if (size >= 8) {
        return haveSameEnds<std::uint64_t>(a, b, size);
    }
    if (size >= 4) {
        return haveSameEnds<std::uint32_t>(a, b, size);
    }
    if (size >= 2) {
        return haveSameEnds<std::uint16_t>(a, b, size);
    }
    return size == 0 || *a == *b;
}

}  // namespace

// NOLINTBEGIN(performance-unnecessary-value-param): the interface takes these by value
int caseInsensitiveStringCompare(std::string a, std::string b) {
    return compare<char>(a, b);
}

int caseInsensitiveStringCompare(std::wstring a, std::wstring b) {
    return compare<wchar_t>(a, b);
}

bool caseInsensitiveStringEquals(std::string a, std::string b) {
    return equals<char>(a, b);
}

bool caseInsensitiveStringEquals(std::wstring a, std::wstring b) {
    return equals<wchar_t>(a, b);
}
// NOLINTEND(performance-unnecessary-value-param)

std::size_t caseInsensitiveFind(const std::string& haystack, const std::string& needle) {
    return find<char>(haystack, needle);
}

std::size_t caseInsensitiveFind(const std::wstring& haystack, const std::wstring& needle) {
    return find<wchar_t>(haystack, needle);
}

std::size_t caseInsensitiveRFind(const std::string& haystack, const std::string& needle) {
    return findLast<char>(haystack, needle);
}

std::size_t caseInsensitiveRFind(const std::wstring& haystack, const std::wstring& needle) {
    return findLast<wchar_t>(haystack, needle);
}

bool startsWith(const std::string& s, const std::string& prefix) {
    return s.size() >= prefix.size() && areSame(s.data(), prefix.data(), prefix.size());
}

bool endsWith(const std::string& s, const std::string& suffix) {
    return s.size() >= suffix.size() && areSame(s.data() + s.size() - suffix.size(), suffix.data(), suffix.size());
}

bool endsWith(const std::wstring& s, const std::wstring& suffix) {
    return s.ends_with(suffix);
}

}  // namespace VDIFrameworkCommon
