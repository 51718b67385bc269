#include <VDIFrameworkCommon/IdentifierUtils.h>
#include <VDIFrameworkCommon/StringConversion.h>
#include <VDIFrameworkCommon/StringUtils.h>
#include <gtest/gtest.h>

#include <cctype>
#include <clocale>
#include <string>

#include "support/TestLocale.h"

namespace {

using namespace VDIFrameworkCommon;
using namespace std::string_literals;

// Sets the C locale of the process, whose end also ends its effect.
bool useLocale(const std::string& language, const std::string& charset) {
    static const testlocale::Folder folder;
    return folder.add(language, charset) && std::setlocale(LC_ALL, (language + "." + charset).c_str()) != nullptr;
}

// Every byte, in every function that asks the locale, against what the C library says.
void expectTheLocalesAnswers() {
    for (int c = 0; c != 256; ++c) {
        const std::string narrow = "123456789 123456789"s + static_cast<char>(c);
        const std::wstring wide = L"123456789 123456789"s + static_cast<wchar_t>(c);
        const std::string narrowLower = narrow.substr(0, 19) + static_cast<char>(std::tolower(c));
        const std::wstring wideLower = wide.substr(0, 19) + static_cast<wchar_t>(std::tolower(c));
        EXPECT_TRUE(caseInsensitiveStringEquals(narrow, narrowLower)) << c;
        EXPECT_TRUE(caseInsensitiveStringEquals(wide, wideLower)) << c;
        EXPECT_EQ(caseInsensitiveStringCompare(narrow, narrowLower), 0) << c;
        EXPECT_EQ(caseInsensitiveFind(narrow, narrowLower), 0U) << c;
        EXPECT_EQ(caseInsensitiveRFind(wide, wideLower), 0U) << c;
        std::string cleared = "x"s + static_cast<char>(c);
        clearBlanks(cleared);
        EXPECT_EQ(cleared.size(), std::isspace(c) != 0 ? 1U : 2U) << c;
        std::wstring wideCleared = L"x"s + static_cast<wchar_t>(c);
        clearBlanks(wideCleared);
        EXPECT_EQ(wideCleared.size(), std::isspace(c) != 0 ? 1U : 2U) << c;
        const bool host = std::isalnum(c) != 0 || c == '-' || c == '.';
        EXPECT_EQ(isValidSipUri("alice@x"s + static_cast<char>(c) + "x"), host) << c;
        EXPECT_EQ(isWhiteSpace(static_cast<char>(c)), (c >= 9 && c <= 13) || c == 32) << c << ": in every locale";
    }
}

TEST(TextInALatin1Locale, FollowsTheLocale) {
    if (!useLocale("de_DE", "ISO-8859-1")) {
        GTEST_SKIP() << "the sources of locales are not installed";
    }
    expectTheLocalesAnswers();
    EXPECT_TRUE(caseInsensitiveStringEquals("\xC4"s, "\xE4"s));
    EXPECT_TRUE(caseInsensitiveStringEquals(L"\u00C4"s, L"\u00E4"s));
    EXPECT_FALSE(caseInsensitiveStringEquals(L"\u0391"s, L"\u03B1"s)) << "no class has elements above 0xFF";
    EXPECT_EQ(caseInsensitiveFind("x\xC4y"s, "\xE4"s), 1U);
    EXPECT_TRUE(isValidSipUri("\xE4lice@ex"));
}

TEST(TextInATurkishLocale, FollowsTheLocale) {
    if (!useLocale("tr_TR", "ISO-8859-9")) {
        GTEST_SKIP() << "the sources of locales are not installed";
    }
    expectTheLocalesAnswers();
    EXPECT_FALSE(caseInsensitiveStringEquals("I"s, "i"s)) << "the dotless letter is the other case";
    EXPECT_FALSE(caseInsensitiveStringEquals("12345678I"s, "12345678i"s));
    EXPECT_FALSE(caseInsensitiveStringEquals("1234I678"s, "1234i678"s)) << "also where many bytes are taken at a time";
}

TEST(TextInALocaleWithClassesOfItsOwn, FollowsTheLocale) {
    const testlocale::Folder folder;
    const char* const classes =
        "upper <U0041>..<U005A>;<U00C4>\n"
        "lower <U0061>..<U007A>;<U00E4>\n"
        "alpha <U0041>..<U005A>;<U0061>..<U007A>;<U00C4>;<U00E4>\n"
        "space <U0009>..<U000D>;<U0020>;<U0085>;<U00A0>;<U00B7>\n"
        "toupper (<U0062>,<U0042>)\n"
        "tolower (<U0042>,<U0062>)";
    if (!folder.addOwn(classes) || std::setlocale(LC_CTYPE, "own") == nullptr) {
        GTEST_SKIP() << "locales cannot be made here";
    }
    ASSERT_NE(std::isspace(0xB7), 0) << "a blank of its own";
    ASSERT_EQ(std::tolower('A'), 'A') << "one letter has another case";
    expectTheLocalesAnswers();
    EXPECT_FALSE(caseInsensitiveStringEquals("123A5678"s, "123a5678"s));
    EXPECT_TRUE(caseInsensitiveStringEquals("123B5678"s, "123b5678"s));
    EXPECT_EQ(toUppercase("abc"), "aBc");
}

}  // namespace
