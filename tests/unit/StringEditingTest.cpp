#include <VDIFrameworkCommon/StringUtils.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using namespace VDIFrameworkCommon;
using namespace std::string_literals;

std::string replaced(std::string s, const std::string& from, const std::string& to) {
    replaceAll(s, from, to);
    return s;
}

std::wstring replaced(std::wstring s, const std::wstring& from, const std::wstring& to) {
    replaceAll(s, from, to);
    return s;
}

template <typename Text>
Text edited(void (*edit)(Text&), Text text) {
    edit(text);
    return text;
}

TEST(ReplaceAll, NeverLooksAtWhatItPutIn) {
    EXPECT_EQ(replaced("aaa"s, "a", "aa"), "aaaaaa");
    EXPECT_EQ(replaced(L"aaa"s, L"a", L"aa"), L"aaaaaa");
    EXPECT_EQ(replaced("aab"s, "ab", "b"), "ab") << "what is put in makes no new occurrence with what is before it";
    EXPECT_EQ(replaced("abb"s, "ab", "a"), "ab");
}

TEST(ReplaceAll, LeavesTheTextAloneWithoutAFrom) {
    EXPECT_EQ(replaced("abc"s, "", "x"), "abc");
    EXPECT_EQ(replaced(L"abc"s, L"", L"x"), L"abc");
    EXPECT_EQ(replaced(""s, "", "x"), "");
}

TEST(ReplaceAll, TakesOccurrencesFromLeftToRight) {
    EXPECT_EQ(replaced("aaaaa"s, "aa", "b"), "bba");
    EXPECT_EQ(replaced("ababa"s, "aba", "x"), "xba");
}

TEST(ReplaceAll, ShrinksGrowsAndKeepsTheSize) {
    EXPECT_EQ(replaced("x--y--z"s, "--", "="), "x=y=z");
    EXPECT_EQ(replaced("x--y--z"s, "--", ""), "xyz");
    EXPECT_EQ(replaced("x--y--z"s, "--", "++"), "x++y++z");
    EXPECT_EQ(replaced("x--y--z"s, "--", "<->"), "x<->y<->z");
    EXPECT_EQ(replaced("--"s, "--", ""), "");
    EXPECT_EQ(replaced(L"x--y--z"s, L"--", L"="), L"x=y=z");
    EXPECT_EQ(replaced(L"x--y--z"s, L"--", L"<->"), L"x<->y<->z");
}

TEST(ReplaceAll, TakesAZeroByteForACharacter) {
    EXPECT_EQ(replaced("a\0b\0"s, "\0"s, "00"), "a00b00");
    EXPECT_EQ(replaced("abc"s, "b", "\0"s), "a\0c"s);
}

TEST(ReplaceAll, LeavesTheTextAloneWhenThereIsNoOccurrence) {
    EXPECT_EQ(replaced("abc"s, "abcd", "x"), "abc");
    EXPECT_EQ(replaced(""s, "a", "x"), "");
    EXPECT_EQ(replaced("ABC"s, "b", "x"), "ABC");
}

TEST(ReplaceAll, TakesTheTextItselfForFromAndTo) {
    std::string narrow = "aba";
    replaceAll(narrow, narrow, "x"s);
    EXPECT_EQ(narrow, "x");
    std::wstring whole = L"aba";
    replaceAll(whole, whole, L"a longer text than before");
    EXPECT_EQ(whole, L"a longer text than before");
    std::wstring shrunk = L"aba";
    replaceAll(shrunk, shrunk, L"");
    EXPECT_EQ(shrunk, L"");
    std::wstring into = L"aba";
    replaceAll(into, L"a", into);
    EXPECT_EQ(into, L"abababa");
    std::wstring both = L"aba";
    replaceAll(both, both, both);
    EXPECT_EQ(both, L"aba");
}

TEST(ReplaceAllOfACharacter, ReplacesEveryOne) {
    std::string narrow = "a.b.c";
    replaceAll(narrow, '.', '-');
    EXPECT_EQ(narrow, "a-b-c");
    replaceAll(narrow, '-', '\0');
    EXPECT_EQ(narrow, "a\0b\0c"s);
    replaceAll(narrow, '\0', '\xFF');
    EXPECT_EQ(narrow,
              "a\xFF"
              "b\xFF"
              "c");
    std::wstring wide = L"\u20ACx\u20AC";
    replaceAll(wide, L'\u20AC', L'$');
    EXPECT_EQ(wide, L"$x$");
}

TEST(ReplaceAllOfACharacter, EndsWhenBothAreTheSame) {
    std::string narrow = "aXa";
    replaceAll(narrow, 'a', 'a');
    EXPECT_EQ(narrow, "aXa");
    std::wstring wide = L"aXa";
    replaceAll(wide, L'a', L'a');
    EXPECT_EQ(wide, L"aXa");
}

TEST(ClearBlanks, RemovesThemEverywhere) {
    EXPECT_EQ(edited<std::string>(clearBlanks, "a b\tc\n"), "abc");
    EXPECT_EQ(edited<std::string>(clearBlanks, " \t\n\v\f\r"), "");
    EXPECT_EQ(edited<std::string>(clearBlanks, ""), "");
    EXPECT_EQ(edited<std::wstring>(clearBlanks, L"a b\tc\n"), L"abc");
}

TEST(ClearBlanks, KeepsEverythingElse) {
    std::string narrow;
    std::wstring wide;
    for (int c = 0; c != 256; ++c) {
        if (!((c >= 9 && c <= 13) || c == 32)) {
            narrow += static_cast<char>(c);
            wide += static_cast<wchar_t>(c);
        }
    }
    wide += L"\u1680\u2003\u2028\u3000\U0010FFFF";
    for (const int c : {-1, -224, -247, 0x7FFFFFFF}) {
        wide += static_cast<wchar_t>(c);
    }
    EXPECT_EQ(edited(clearBlanks, narrow), narrow);
    EXPECT_EQ(edited(clearBlanks, wide), wide) << "the no-break space too";
}

TEST(Trim, RemovesWhiteSpaceAtBothEnds) {
    EXPECT_EQ(trim(" \t x \r\n"s), "x");
    EXPECT_EQ(trim("\v\fa b\f\v"s), "a b");
    EXPECT_EQ(trim("   "s), "");
    EXPECT_EQ(trim(""s), "");
    EXPECT_EQ(trim(" \0 "s), "\0"s);
    EXPECT_EQ(trim(L" \t x \r\n"s), L"x");
    EXPECT_EQ(trim(L""s), L"");
}

TEST(Trim, RemovesTheNoBreakSpaceOfWideTextOnly) {
    EXPECT_EQ(trim(L"\u00A0 x\u00A0y \u00A0"s), L"x\u00A0y");
    EXPECT_EQ(trim("\xC2\xA0x\xC2\xA0"s), "\xC2\xA0x\xC2\xA0");
    EXPECT_EQ(trim("\xA0x\xA0"s), "\xA0x\xA0");
    EXPECT_EQ(trim(L"\u2003x\u3000"s), L"\u2003x\u3000");
}

TEST(Trimleft, RemovesTheLeadingRunOnly) {
    EXPECT_EQ(trimleft("   "s), "");
    EXPECT_EQ(trimleft(" \t a b "s), "a b ");
    EXPECT_EQ(trimleft(""s), "");
    EXPECT_EQ(trimleft(L"\u00A0 a "s), L"a ");
    EXPECT_EQ(trimleft(L"\u00A0"s), L"");
}

TEST(Trimright, RemovesTheTrailingRunOnly) {
    EXPECT_EQ(trimright(" a b \t"s), " a b");
    EXPECT_EQ(trimright("   "s), "") << "the copying one keeps nothing of a blank text";
    EXPECT_EQ(trimright(""s), "");
    EXPECT_EQ(trimright(L" a\u00A0 "s), L" a");
}

TEST(TrimleftSafe, ErasesTheLeadingRun) {
    EXPECT_EQ(edited<std::string>(trimleft_safe, " \t a "), "a ");
    EXPECT_EQ(edited<std::string>(trimleft_safe, "   "), "");
    EXPECT_EQ(edited<std::string>(trimleft_safe, ""), "");
    EXPECT_EQ(edited<std::wstring>(trimleft_safe, L"\u00A0 a "), L"a ");
}

TEST(TrimrightSafe, ErasesTheTrailingRun) {
    EXPECT_EQ(edited<std::string>(trimright_safe, " a \r\n"), " a");
    EXPECT_EQ(edited<std::string>(trimright_safe, "a     "), "a");
    EXPECT_EQ(edited<std::wstring>(trimright_safe, L" a\u00A0 "), L" a");
}

TEST(TrimrightSafe, KeepsTheLastElementOfABlankText) {
    EXPECT_EQ(edited<std::string>(trimright_safe, "   "), " ");
    EXPECT_EQ(edited<std::string>(trimright_safe, "  \t"), "\t");
    EXPECT_EQ(edited<std::string>(trimright_safe, "\n"), "\n");
    EXPECT_EQ(edited<std::string>(trimright_safe, ""), "");
    EXPECT_EQ(edited<std::wstring>(trimright_safe, L"  \u00A0"), L"\u00A0");
    EXPECT_EQ(edited<std::wstring>(trimright_safe, L""), L"");
}

TEST(TrimSafe, LeavesNothingOfABlankText) {
    EXPECT_EQ(edited<std::string>(trim_safe, "   "), "");
    EXPECT_EQ(edited<std::string>(trim_safe, " \t x \r\n"), "x");
    EXPECT_EQ(edited<std::string>(trim_safe, ""), "");
    EXPECT_EQ(edited<std::wstring>(trim_safe, L"\u00A0x\u00A0"), L"x");
    EXPECT_EQ(edited<std::wstring>(trim_safe, L"\u00A0"), L"");
}

}  // namespace
