#include <VDIFrameworkCommon/StringConversion.h>
#include <VDIFrameworkCommon/StringUtils.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/GeneratedText.h"

/// Every function of text against the mechanism that defines its result, written out step by step, over generated
/// texts.

namespace {

using namespace VDIFrameworkCommon;
using namespace std::string_view_literals;

constexpr int inputs = 100000;

// Alphabets that make the rare cases frequent.
template <typename Char>
struct Alphabet;

template <>
struct Alphabet<char> {
    static constexpr std::string_view cases = "aAbB@`[{\xC4\xE4\0"sv;
    static constexpr std::string_view few = "ab"sv;
    static constexpr std::string_view blanks = " \t\n\v\f\r\xA0\x85x\0\x08\x0E\x1F!"sv;
    static constexpr std::string_view delimiters =
        ",;|\0\xFF"
        "ab"sv;
};

template <>
struct Alphabet<wchar_t> {
    static constexpr std::wstring_view cases = L"aAbB@`[{\u00C4\u00E4\u0141\u0130\0"sv;
    static constexpr std::wstring_view few = L"ab"sv;
    static constexpr std::wstring_view blanks = L" \t\n\v\f\r\u00A0\u0085x\0\u2003\u0120\u3000!"sv;
    static constexpr std::wstring_view delimiters =
        L",;|\0\u00FF\u012C\u20AC\U0010FFFF"
        L"ab"sv;
};

bool isByte(wchar_t c) {
    return static_cast<std::uint32_t>(c) <= 0xFF;
}

char mechanicalLower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

wchar_t mechanicalLower(wchar_t c) {
    return isByte(c) ? static_cast<wchar_t>(std::tolower(static_cast<int>(c))) : c;
}

bool isMechanicalBlank(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

bool isMechanicalBlank(wchar_t c) {
    return isByte(c) && std::isspace(static_cast<int>(c)) != 0;
}

template <typename Text>
Text lowered(Text text) {
    for (auto& c : text) {
        c = mechanicalLower(c);
    }
    return text;
}

int bytewise(const std::string& a, const std::string& b) {
    for (std::size_t i = 0; i != std::min(a.size(), b.size()); ++i) {
        if (a[i] != b[i]) {
            return static_cast<unsigned char>(a[i]) - static_cast<unsigned char>(b[i]);
        }
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

int bytewise(const std::wstring& a, const std::wstring& b) {
    const int order = a.compare(b);
    return order == 0 ? 0 : (order < 0 ? -1 : 1);
}

template <typename Text>
std::size_t mechanicalRFind(const Text& haystack, const Text& needle) {
    const Text lowHaystack = lowered(haystack);
    const Text lowNeedle = lowered(needle);
    const auto found = std::find_end(lowHaystack.begin(), lowHaystack.end(), lowNeedle.begin(), lowNeedle.end());
    if (found == lowHaystack.end() && !needle.empty()) {
        return Text::npos;
    }
    const auto at = static_cast<std::size_t>(found - lowHaystack.begin());
    return lowered(haystack.substr(at, needle.size())) == lowNeedle ? at : Text::npos;
}

template <typename Text>
Text mechanicalReplaceAll(Text s, const Text& from, const Text& to) {
    if (from.empty()) {
        return s;
    }
    for (std::size_t pos = 0; pos <= s.size();) {
        pos = s.find(from, pos);
        if (pos == Text::npos) {
            break;
        }
        s.erase(pos, from.size());
        s.insert(pos, to);
        pos += to.size();
    }
    return s;
}

template <typename Text>
void mechanicalSplit(const Text& s, std::vector<Text>& tokens, const Text& delimiters) {
    std::size_t start = s.find_first_not_of(delimiters, 0);
    std::size_t end = s.find_first_of(delimiters, start);
    while (start != Text::npos || end != Text::npos) {
        tokens.push_back(s.substr(start, end - start));
        if (end == Text::npos || end >= s.size()) {
            break;
        }
        start = s.find_first_not_of(delimiters, end);
        if (start == Text::npos) {
            break;
        }
        end = s.find_first_of(delimiters, start);
    }
}

template <typename Text>
struct WhiteSpace;

template <>
struct WhiteSpace<std::string> {
    static constexpr const char* of = "\t\n\v\f\r ";
};

template <>
struct WhiteSpace<std::wstring> {
    static constexpr const wchar_t* of = L"\t\n\v\f\r \u00A0";
};

template <typename Text>
void mechanicalTrimleft(Text& s) {
    s.erase(0, s.find_first_not_of(WhiteSpace<Text>::of));
}

template <typename Text>
void mechanicalTrimright(Text& s) {
    s.erase(s.find_last_not_of(WhiteSpace<Text>::of) + 1, s.size() - 1);
}

template <typename Char>
class Mechanism : public testing::Test {
protected:
    using Text = std::basic_string<Char>;
    using Letters = Alphabet<Char>;

    generated::Source source{20261121};

    // Two texts that have much in common.
    std::pair<Text, Text> similar() {
        const Text a = source.text(Letters::cases, 40);
        return {a, source.disturbed(source.below(2) == 0 ? a : lowered(a), Letters::cases)};
    }

    // A text and a part that it may hold, over letters that repeat or not.
    std::pair<Text, Text> textAndPart() {
        const auto letters = source.below(3) == 0 ? Letters::cases : Letters::few;
        const Text text = source.text(letters, source.below(20) == 0 ? 2000 : 40);
        if (source.below(3) == 0 && !text.empty()) {
            const std::size_t at = source.below(text.size());
            return {text, source.disturbed(text.substr(at, source.below(text.size() - at + 1)), letters)};
        }
        return {text, source.text(letters, 8)};
    }
};

using Characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Mechanism, Characters, );

TYPED_TEST(Mechanism, CaseInsensitiveStringCompare) {
    for (int i = 0; i != inputs; ++i) {
        const auto [a, b] = this->similar();
        ASSERT_EQ(caseInsensitiveStringCompare(a, b), bytewise(lowered(a), lowered(b))) << i;
        ASSERT_EQ(caseInsensitiveStringEquals(a, b), lowered(a) == lowered(b)) << i;
    }
}

TYPED_TEST(Mechanism, CaseInsensitiveFind) {
    for (int i = 0; i != inputs; ++i) {
        const auto [haystack, needle] = this->textAndPart();
        ASSERT_EQ(caseInsensitiveFind(haystack, needle), lowered(haystack).find(lowered(needle))) << i;
    }
}

TYPED_TEST(Mechanism, CaseInsensitiveRFind) {
    for (int i = 0; i != inputs; ++i) {
        const auto [haystack, needle] = this->textAndPart();
        ASSERT_EQ(caseInsensitiveRFind(haystack, needle), mechanicalRFind(haystack, needle)) << i;
    }
}

TYPED_TEST(Mechanism, EndsWith) {
    using String = typename TestFixture::Text;
    for (int i = 0; i != inputs; ++i) {
        const auto [text, part] = this->textAndPart();
        const bool fits = part.size() <= text.size();
        ASSERT_EQ(endsWith(text, part), fits && text.compare(text.size() - part.size(), String::npos, part) == 0) << i;
    }
}

TEST(NarrowMechanism, StartsWith) {
    generated::Source source(1);
    for (int i = 0; i != inputs; ++i) {
        const std::string text = source.text(Alphabet<char>::few, 12);
        const std::string part = source.text(Alphabet<char>::few, 4);
        ASSERT_EQ(startsWith(text, part), text.compare(0, part.size(), part) == 0) << i;
    }
}

TYPED_TEST(Mechanism, ReplaceAll) {
    for (int i = 0; i != inputs; ++i) {
        const auto [text, from] = this->textAndPart();
        const auto to = this->source.text(TestFixture::Letters::few, 8);
        auto replaced = text;
        replaceAll(replaced, from, to);
        ASSERT_EQ(replaced, mechanicalReplaceAll(text, from, to)) << i;
    }
}

TYPED_TEST(Mechanism, ReplaceAllOfACharacter) {
    for (int i = 0; i != inputs; ++i) {
        const auto letters = TestFixture::Letters::delimiters;
        const auto text = this->source.text(letters, 40);
        const auto from = letters[this->source.below(letters.size())];
        const auto to = letters[this->source.below(letters.size())];
        auto expected = text;
        if (from != to) {
            for (std::size_t pos = expected.find(from); pos != expected.npos; pos = expected.find(from)) {
                expected[pos] = to;
            }
        }
        auto replaced = text;
        replaceAll(replaced, from, to);
        ASSERT_EQ(replaced, expected) << i;
    }
}

TYPED_TEST(Mechanism, ClearBlanks) {
    for (int i = 0; i != inputs; ++i) {
        auto cleared = this->source.text(TestFixture::Letters::blanks, 40);
        auto expected = cleared;
        for (auto at = expected.begin(); at != expected.end();) {
            at = isMechanicalBlank(*at) ? expected.erase(at) : at + 1;
        }
        clearBlanks(cleared);
        ASSERT_EQ(cleared, expected) << i;
    }
}

TYPED_TEST(Mechanism, Trimming) {
    using String = typename TestFixture::Text;
    const String spaces = WhiteSpace<String>::of;
    for (int i = 0; i != inputs; ++i) {
        const String text = this->source.text(TestFixture::Letters::blanks, 12);
        const std::size_t first = text.find_first_not_of(spaces);
        ASSERT_EQ(trimleft(text), first == String::npos ? String() : text.substr(first)) << i;
        ASSERT_EQ(trimright(text), text.substr(0, text.find_last_not_of(spaces) + 1)) << i;
        ASSERT_EQ(trim(text), trimleft(trimright(text))) << i;
        String left = text;
        String mechanicalLeft = text;
        trimleft_safe(left);
        mechanicalTrimleft(mechanicalLeft);
        ASSERT_EQ(left, mechanicalLeft) << i;
        String right = text;
        String mechanicalRight = text;
        trimright_safe(right);
        mechanicalTrimright(mechanicalRight);
        ASSERT_EQ(right, mechanicalRight) << i;
        String both = text;
        trim_safe(both);
        mechanicalTrimright(mechanicalLeft);
        ASSERT_EQ(both, mechanicalLeft) << i;
    }
}

TYPED_TEST(Mechanism, Split) {
    using String = typename TestFixture::Text;
    std::vector<String> tokens;
    std::vector<String> expected;
    for (int i = 0; i != inputs; ++i) {
        const String text = this->source.text(TestFixture::Letters::delimiters, this->source.below(50) == 0 ? 500 : 30);
        const String delimiters = this->source.text(TestFixture::Letters::delimiters, 4);
        split(text, tokens, delimiters);
        mechanicalSplit(text, expected, delimiters);
        ASSERT_EQ(tokens, expected) << i;
        if (this->source.below(4) != 0) {
            tokens.clear();
            expected.clear();
        }
    }
}

}  // namespace
