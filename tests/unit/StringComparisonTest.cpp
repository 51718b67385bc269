#include <VDIFrameworkCommon/StringUtils.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using namespace VDIFrameworkCommon;
using namespace std::string_literals;

constexpr std::size_t npos = std::string::npos;

TEST(CaseInsensitiveStringCompare, GivesTheDifferenceOfTheFirstDifferentBytes) {
    EXPECT_EQ(caseInsensitiveStringCompare("abc"s, "ABD"s), -1);
    EXPECT_EQ(caseInsensitiveStringCompare("A"s, "z"s), 'a' - 'z');
    EXPECT_EQ(caseInsensitiveStringCompare("Zz"s, "Aa"s), 'z' - 'a');
    EXPECT_EQ(caseInsensitiveStringCompare("a_c"s, "aBd"s), '_' - 'b') << "compared in lower case";
    EXPECT_EQ(caseInsensitiveStringCompare("12345678x"s, "12345678C"s), 'x' - 'c');
}

TEST(CaseInsensitiveStringCompare, TakesBytesForUnsignedNumbers) {
    EXPECT_EQ(caseInsensitiveStringCompare("\xFF"s, "a"s), 0xFF - 'a');
    EXPECT_EQ(caseInsensitiveStringCompare("\0"s, "\xFF"s), -255);
}

TEST(CaseInsensitiveStringCompare, GivesNoLengthDifferenceForACommonPrefix) {
    EXPECT_EQ(caseInsensitiveStringCompare("ab"s, "ABC"s), -1);
    EXPECT_EQ(caseInsensitiveStringCompare(""s, "a much longer one"s), -1);
    EXPECT_EQ(caseInsensitiveStringCompare("ABC with a tail"s, "abc"s), 1);
    EXPECT_EQ(caseInsensitiveStringCompare("Same"s, "sAME"s), 0);
    EXPECT_EQ(caseInsensitiveStringCompare(""s, ""s), 0);
}

TEST(CaseInsensitiveStringCompare, GoesOnBehindAZeroByte) {
    EXPECT_EQ(caseInsensitiveStringCompare("a\0c"s, "A\0B"s), 1);
    EXPECT_EQ(caseInsensitiveStringCompare("a"s, "A\0"s), -1);
}

TEST(CaseInsensitiveStringCompare, GivesTheSignForWideText) {
    EXPECT_EQ(caseInsensitiveStringCompare(L"abc"s, L"ABZ"s), -1);
    EXPECT_EQ(caseInsensitiveStringCompare(L"Z"s, L"a"s), 1);
    EXPECT_EQ(caseInsensitiveStringCompare(L"ab"s, L"ABCDEF"s), -1);
    EXPECT_EQ(caseInsensitiveStringCompare(L"ABCDEF"s, L"ab"s), 1);
    EXPECT_EQ(caseInsensitiveStringCompare(L"Same"s, L"sAME"s), 0);
    EXPECT_EQ(caseInsensitiveStringCompare(L"\U0010FFFF"s, L"\uFFFF"s), 1);
}

TEST(CaseInsensitiveStringCompare, OrdersElementsThatAreNoCodePointsAsWcharT) {
    constexpr auto last = static_cast<wchar_t>(-1);  // above all others where the type is unsigned
    EXPECT_EQ(caseInsensitiveStringCompare(std::wstring(1, last), L"a"s), last < L'a' ? -1 : 1);
    EXPECT_EQ(caseInsensitiveStringCompare(std::wstring(1, static_cast<wchar_t>(0x7FFFFFFF)), L"a"s), 1);
}

TEST(CaseInsensitiveStringEquals, LooksAtLengthAndLowerCase) {
    EXPECT_TRUE(caseInsensitiveStringEquals("Hello, World"s, "hELLO, wORLD"s));
    EXPECT_TRUE(caseInsensitiveStringEquals(L"Hello, World"s, L"hELLO, wORLD"s));
    EXPECT_TRUE(caseInsensitiveStringEquals(""s, ""s));
    EXPECT_FALSE(caseInsensitiveStringEquals("abc"s, "abcd"s));
    EXPECT_FALSE(caseInsensitiveStringEquals(L"abc"s, L"ab"s));
    EXPECT_FALSE(caseInsensitiveStringEquals("abcdefghi"s, "abcdefghj"s));
    EXPECT_FALSE(caseInsensitiveStringEquals("a"s, "a\0"s));
}

TEST(CaseInsensitiveStringEquals, FoldsOnlyTheLettersAToZ) {
    EXPECT_FALSE(caseInsensitiveStringEquals("@"s, "`"s));
    EXPECT_FALSE(caseInsensitiveStringEquals("["s, "{"s));
    EXPECT_FALSE(caseInsensitiveStringEquals("\xC3\x84"s, "\xC3\xA4"s));
    EXPECT_FALSE(caseInsensitiveStringEquals(L"\u00C4"s, L"\u00E4"s));
    EXPECT_FALSE(caseInsensitiveStringEquals(L"\u0391"s, L"\u03B1"s));
    EXPECT_FALSE(caseInsensitiveStringEquals(L"\u0141"s, L"a"s))
        << "only the whole element has a case, not its low byte";
}

TEST(CaseInsensitiveFind, GivesTheFirstOccurrence) {
    EXPECT_EQ(caseInsensitiveFind("Hello"s, "LL"s), 2U);
    EXPECT_EQ(caseInsensitiveFind("abABab"s, "AB"s), 0U);
    EXPECT_EQ(caseInsensitiveFind(L"xxHeLLo"s, L"hello"s), 2U);
    EXPECT_EQ(caseInsensitiveFind("a\0B"s, "\0b"s), 1U);
    EXPECT_EQ(caseInsensitiveFind("same"s, "SAME"s), 0U);
}

TEST(CaseInsensitiveFind, FindsAnEmptyNeedleAtTheFront) {
    EXPECT_EQ(caseInsensitiveFind("abc"s, ""s), 0U);
    EXPECT_EQ(caseInsensitiveFind(""s, ""s), 0U);
    EXPECT_EQ(caseInsensitiveFind(L"abc"s, L""s), 0U);
}

TEST(CaseInsensitiveFind, GivesNposWhenThereIsNone) {
    EXPECT_EQ(caseInsensitiveFind("Hello"s, "lx"s), npos);
    EXPECT_EQ(caseInsensitiveFind("ab"s, "abc"s), npos);
    EXPECT_EQ(caseInsensitiveFind(""s, "a"s), npos);
    EXPECT_EQ(caseInsensitiveFind(L"Hello"s, L"x"s), npos);
}

TEST(CaseInsensitiveRFind, GivesTheLastOccurrence) {
    EXPECT_EQ(caseInsensitiveRFind("abAB"s, "ab"s), 2U);
    EXPECT_EQ(caseInsensitiveRFind("aaaa"s, "AA"s), 2U);
    EXPECT_EQ(caseInsensitiveRFind("ABx"s, "ab"s), 0U);
    EXPECT_EQ(caseInsensitiveRFind(L"abABx"s, L"Ab"s), 2U);
}

TEST(CaseInsensitiveRFind, FindsAnEmptyNeedleAtTheEnd) {
    EXPECT_EQ(caseInsensitiveRFind("abc"s, ""s), 3U);
    EXPECT_EQ(caseInsensitiveRFind(""s, ""s), 0U);
    EXPECT_EQ(caseInsensitiveRFind(L"abc"s, L""s), 3U);
}

TEST(CaseInsensitiveRFind, GivesNposWhenThereIsNone) {
    EXPECT_EQ(caseInsensitiveRFind("abc"s, "x"s), npos);
    EXPECT_EQ(caseInsensitiveRFind("b"s, "abc"s), npos);
    EXPECT_EQ(caseInsensitiveRFind(L"abc"s, L"cb"s), npos);
}

TEST(StartsWith, IsExact) {
    EXPECT_TRUE(startsWith("abc", ""));
    EXPECT_TRUE(startsWith("", ""));
    EXPECT_TRUE(startsWith("abc", "ab"));
    EXPECT_TRUE(startsWith("abc", "abc"));
    EXPECT_FALSE(startsWith("abc", "AB"));
    EXPECT_FALSE(startsWith("ab", "abc"));
    EXPECT_FALSE(startsWith("abc", "bc"));
    EXPECT_FALSE(startsWith("ab", "a\0"s));
}

TEST(EndsWith, IsExact) {
    EXPECT_TRUE(endsWith("abc"s, ""s));
    EXPECT_TRUE(endsWith("abc"s, "bc"s));
    EXPECT_TRUE(endsWith("abc"s, "abc"s));
    EXPECT_FALSE(endsWith("c"s, "abc"s));
    EXPECT_FALSE(endsWith("abc"s, "BC"s));
    EXPECT_FALSE(endsWith("abc"s, "ab"s));
    EXPECT_TRUE(endsWith(L"abc"s, L""s));
    EXPECT_TRUE(endsWith(L"a\u20AC"s, L"\u20AC"s));
    EXPECT_FALSE(endsWith(L"c"s, L"abc"s));
}

TEST(StartsWithAndEndsWith, SeeADifferenceAtEveryPlaceOfEveryLength) {
    const std::string text = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    for (std::size_t size = 0; size <= text.size(); ++size) {
        const std::string prefix = text.substr(0, size);
        const std::string suffix = text.substr(text.size() - size);
        EXPECT_TRUE(startsWith(text, prefix)) << size;
        EXPECT_TRUE(endsWith(text, suffix)) << size;
        for (std::size_t at = 0; at != size; ++at) {
            std::string other = prefix;
            other[at] = '\xFF';
            EXPECT_FALSE(startsWith(text, other)) << size << ", " << at;
            other = suffix;
            other[at] = '\0';
            EXPECT_FALSE(endsWith(text, other)) << size << ", " << at;
        }
    }
}

TEST(IsWhiteSpace, NarrowIsExactlySixCharacters) {
    for (int c = 0; c != 256; ++c) {
        EXPECT_EQ(isWhiteSpace(static_cast<char>(c)), (c >= 9 && c <= 13) || c == 32) << c;
    }
}

TEST(IsWhiteSpace, WideAddsTheNoBreakSpace) {
    for (int c = -256; c != 0x110000; ++c) {
        ASSERT_EQ(isWhiteSpace(static_cast<wchar_t>(c)), (c >= 9 && c <= 13) || c == 32 || c == 160) << c;
    }
    EXPECT_FALSE(isWhiteSpace(static_cast<wchar_t>(0x7FFFFFFF)));
}

}  // namespace
