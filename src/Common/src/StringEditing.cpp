#include <algorithm>
#include <string_view>
#include <utility>

#include "CharacterClass.h"
#include "SubstringSearch.h"
#include "VDIFrameworkCommon/StringUtils.h"

namespace VDIFrameworkCommon {

namespace {

template <typename Char>
using View = std::basic_string_view<Char>;

// In one pass, which moves what stays towards the front. `at` is the first occurrence; `to` is not longer than `from`.
template <typename Char>
void replaceInPlace(std::basic_string<Char>& s, View<Char> from, View<Char> to, std::size_t at) {
    const View<Char> text = s;
    Char* out = s.data() + at;
    while (at != notFound) {
        out = std::copy(to.begin(), to.end(), out);
        const std::size_t rest = at + from.size();
        at = findFirst(text, from, rest);
        const View<Char> kept = text.substr(rest, at == notFound ? notFound : at - rest);
        std::char_traits<Char>::move(out, kept.data(), kept.size());
        out += kept.size();
    }
    s.resize(static_cast<std::size_t>(out - s.data()));
}

// In one pass, into a new string. `at` is the first occurrence.
template <typename Char>
void replaceGrowing(std::basic_string<Char>& s, View<Char> from, View<Char> to, std::size_t at) {
    const View<Char> text = s;
    std::basic_string<Char> result;
    result.reserve(s.size() + s.size() / 2 + to.size());
    std::size_t rest = 0;
    while (at != notFound) {
        result.append(text, rest, at - rest);
        result.append(to);
        rest = at + from.size();
        at = findFirst(text, from, rest);
    }
    result.append(text, rest);
    s = std::move(result);
}

template <typename Char>
void replaceEvery(std::basic_string<Char>& s, View<Char> from, View<Char> to) {
    const std::size_t first = from.empty() ? notFound : findFirst(View<Char>(s), from, 0);
    if (first == notFound) {
        return;
    }
    if (to.size() <= from.size()) {
        replaceInPlace(s, from, to, first);
    } else {
        replaceGrowing(s, from, to, first);
    }
}

template <typename Char>
void replaceEach(std::basic_string<Char>& s, Char from, Char to) {
    for (Char& c : s) {
        // Written always, so that the compiler takes many elements at a time.
        c = c == from ? to : c;
    }
}

template <typename Char>
void removeBlanks(std::basic_string<Char>& s) {
    Char* out = s.data();
    for (const Char c : s) {
        // Written always, so that no branch depends on the text.
        *out = c;
        out += isBlank(c) ? 0 : 1;
    }
    s.resize(static_cast<std::size_t>(out - s.data()));
}

}  // namespace

void replaceAll(std::string& s, std::string from, std::string to) {
    replaceEvery<char>(s, from, to);
}

void replaceAll(std::wstring& s, const std::wstring& from, const std::wstring& to) {
    if (&from == &s || &to == &s) {
        replaceEvery<wchar_t>(s, std::wstring(from), std::wstring(to));
    } else {
        replaceEvery<wchar_t>(s, from, to);
    }
}

void replaceAll(std::string& s, char fromChar, char toChar) {
    replaceEach(s, fromChar, toChar);
}

void replaceAll(std::wstring& s, wchar_t fromChar, wchar_t toChar) {
    replaceEach(s, fromChar, toChar);
}

void clearBlanks(std::string& s) {
    removeBlanks(s);
}

void clearBlanks(std::wstring& s) {
    removeBlanks(s);
}

}  // namespace VDIFrameworkCommon
