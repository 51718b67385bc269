#include <VDIFrameworkCommon/StringUtils.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using VDIFrameworkCommon::split;
using namespace std::string_literals;

using Tokens = std::vector<std::string>;
using WideTokens = std::vector<std::wstring>;

Tokens parts(const std::string& s, const std::string& delimiters) {
    Tokens tokens;
    split(s, tokens, delimiters);
    return tokens;
}

WideTokens parts(const std::wstring& s, const std::wstring& delimiters) {
    WideTokens tokens;
    split(s, tokens, delimiters);
    return tokens;
}

TEST(Split, LeavesEmptyPartsOut) {
    EXPECT_EQ(parts("a,,b,"s, ","s), (Tokens{"a", "b"}));
    EXPECT_EQ(parts(",,a"s, ","s), (Tokens{"a"}));
    EXPECT_EQ(parts(L"a,,b,"s, L","s), (WideTokens{L"a", L"b"}));
}

TEST(Split, AddsNothingForATextOfDelimiters) {
    EXPECT_EQ(parts(",,"s, ","s), Tokens{});
    EXPECT_EQ(parts(""s, ","s), Tokens{});
    EXPECT_EQ(parts(""s, ""s), Tokens{});
    EXPECT_EQ(parts(L",,"s, L","s), WideTokens{});
}

TEST(Split, TakesTheWholeTextWithoutDelimiters) {
    EXPECT_EQ(parts("a b"s, ""s), (Tokens{"a b"}));
    EXPECT_EQ(parts(L"a b"s, L""s), (WideTokens{L"a b"}));
    EXPECT_EQ(parts("a b"s, ";"s), (Tokens{"a b"}));
}

TEST(Split, TakesEachDelimiterForItself) {
    EXPECT_EQ(parts("k=v;x"s, "=;"s), (Tokens{"k", "v", "x"}));
    EXPECT_EQ(parts("a=;=b"s, "=;"s), (Tokens{"a", "b"})) << "the delimiters are no separator string";
    EXPECT_EQ(parts(L"k=v;x"s, L"=;"s), (WideTokens{L"k", L"v", L"x"}));
    EXPECT_EQ(parts("aXbxc"s, "x"s), (Tokens{"aXb", "c"}));
}

TEST(Split, KeepsTheTokensThatAreThere) {
    Tokens tokens{"first"};
    split("a,b"s, tokens, ","s);
    split("c"s, tokens, ","s);
    split(","s, tokens, ","s);
    EXPECT_EQ(tokens, (Tokens{"first", "a", "b", "c"}));
    WideTokens wide{L"first"};
    split(L"a,b"s, wide, L","s);
    EXPECT_EQ(wide, (WideTokens{L"first", L"a", L"b"}));
}

TEST(Split, TakesZeroAndHighBytesForCharacters) {
    EXPECT_EQ(parts("a\0b"s, "\0"s), (Tokens{"a", "b"}));
    EXPECT_EQ(parts("a\0b,c"s, ","s), (Tokens{"a\0b"s, "c"}));
    EXPECT_EQ(parts("a\xFF"
                    "b\x80"
                    "c"s,
                    "\xFF\x80"s),
              (Tokens{"a", "b", "c"}));
    EXPECT_EQ(parts(L"a\0b"s, L"\0"s), (WideTokens{L"a", L"b"}));
}

TEST(Split, TakesWideDelimitersWhole) {
    EXPECT_EQ(parts(L"a\u20ACb\u212Cc\u00ACd"s, L"\u20AC\u00AC"s), (WideTokens{L"a", L"b\u212Cc", L"d"}));
    EXPECT_EQ(parts(L"a\u012Cb"s, L","s), (WideTokens{L"a\u012Cb"})) << "U+012C ends like a comma";
    const std::wstring negative(1, static_cast<wchar_t>(-1));
    EXPECT_EQ(parts(L"a" + negative + L"b\u00FFc", negative), (WideTokens{L"a", L"b\u00FFc"}));
}

TEST(Split, MakesMoreTokensThanAreKeptBack) {
    for (const std::size_t count : {31U, 32U, 33U, 64U, 1000U}) {
        std::string s;
        Tokens expected;
        for (std::size_t i = 0; i != count; ++i) {
            expected.push_back(std::to_string(i));
            s += expected.back() + "|";
        }
        EXPECT_EQ(parts(s, "|"s), expected);
    }
}

TEST(Split, TakesATokenForTheText) {
    Tokens tokens{"a long text with blanks, and more than fits in place"};
    tokens.shrink_to_fit();
    split(tokens[0], tokens, " "s);
    EXPECT_EQ(tokens.size(), 12U);
    EXPECT_EQ(tokens[1], "a");
    EXPECT_EQ(tokens.back(), "place");
    // Short texts are in the vector's own memory.
    tokens = {"a b c"};
    tokens.shrink_to_fit();
    split(tokens[0], tokens, " "s);
    EXPECT_EQ(tokens, (Tokens{"a b c", "a", "b", "c"}));
    WideTokens wide{L"x;y"};
    wide.shrink_to_fit();
    split(wide[0], wide, L";"s);
    EXPECT_EQ(wide, (WideTokens{L"x;y", L"x", L"y"}));
}

TEST(Split, TakesATokenForTheDelimiters) {
    Tokens tokens{","};
    tokens.shrink_to_fit();
    split("a,b,c"s, tokens, tokens[0]);
    EXPECT_EQ(tokens, (Tokens{",", "a", "b", "c"}));
}

}  // namespace
