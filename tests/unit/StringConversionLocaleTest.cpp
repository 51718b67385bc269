// Numbers are printed and parsed alike in every process, whatever its locale; case mapping, and what is defined as
// `strtod` and `strtoul`, follow the C locale.

#include <VDIFrameworkCommon/StringConversion.h>
#include <gtest/gtest.h>
#include <locale.h>

#include <cctype>
#include <clocale>
#include <sstream>
#include <string>
#include <thread>

#include "support/TestLocale.h"

// The C library keeps the parsed LOCPATH for good and loses its only pointer to it.
extern "C" const char* __lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions() {
    return "leak:argz_add_sep";
}

namespace {

using namespace VDIFrameworkCommon;

void expectClassicNumbers() {
    EXPECT_EQ(toString(1234567.0), "1.23457e+06");
    EXPECT_EQ(toString(1234.5), "1234.5");
    EXPECT_EQ(toString(0.1F), "0.100000001");
    EXPECT_EQ(toString(1234567), "1234567");
    EXPECT_EQ(toString(-1234567890123456789LL), "-1234567890123456789");
    EXPECT_EQ(toString(true), "true");
    EXPECT_EQ(toWideString(1234.5), L"1234.5");
    EXPECT_EQ(toWideString(1.5F), L"1.5");
    EXPECT_EQ(toWideString(1234567UL), L"1234567");
    EXPECT_EQ(toWideString(false), L"false");
    EXPECT_EQ(toFloat("1.5"), 1.5F);
    EXPECT_EQ(toFloat("1,5"), 1.0F);
    EXPECT_EQ(toInt("1.234"), 1);
    EXPECT_EQ(toInt("1,234"), 1);
    EXPECT_EQ(toLong("1.234"), 1);
    EXPECT_EQ(toInt("1.234", -1), -1);
    EXPECT_EQ(toInt(L"1.234", -1), -1);
    EXPECT_EQ(toUnsignedInt("1234", 1), 1234U);
    EXPECT_TRUE(toBool("true"));
    EXPECT_TRUE(toBool(L"True"));
    EXPECT_FALSE(toBool("ja"));
    EXPECT_FALSE(toBool(L"ja"));
}

TEST(ConversionLocale, TheGlobalCxxLocaleChangesNothing) {
    const std::locale before = std::locale::global(testlocale::odd());
    std::ostringstream stream;
    stream << 1234567 << std::boolalpha << true;
    EXPECT_EQ(stream.str(), "1.234.567ja") << "a stream follows it";
    expectClassicNumbers();
    EXPECT_EQ(toDouble(L"1.5"), 1.5);
    std::locale::global(before);
}

TEST(ConversionLocale, TheCLocaleChangesNoNumberButThatOfStrtod) {
    const testlocale::Folder folder;
    if (!folder.add("de_DE", "UTF-8")) {
        GTEST_SKIP() << "localedef could not make a German locale; install the package \"locales\"";
    }
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    char printed[16];
    std::snprintf(printed, sizeof printed, "%g", 1.5);
    EXPECT_STREQ(printed, "1,5") << "printf follows it";
    expectClassicNumbers();
    EXPECT_EQ(toDouble(L"1,5"), 1.5);
    EXPECT_EQ(toDouble(L"1.5"), 1.0);
    EXPECT_EQ(toDouble(L"15"), 15.0);
    EXPECT_EQ(toUnsignedLong(L"1.234"), 1U);
    EXPECT_EQ(toLowercase("\xC3\x84X"), "\xC3\x84x") << "no byte of UTF-8 has a case by itself";
}

void expectLatinCase() {
    EXPECT_EQ(toLowercase("\xC4X"), "\xE4x");
    EXPECT_EQ(toUppercase("\xE4x"), "\xC4X");
    EXPECT_EQ(toLowercase(L"\u00C4X\u0416\u0141"), L"\u00E4x\u0416\u0141") << "elements above 0xFF have no other case";
    std::string all;
    std::string lower;
    std::string upper;
    for (int i = 0; i < 0x100; ++i) {
        all += static_cast<char>(i);
        lower += static_cast<char>(std::tolower(i));
        upper += static_cast<char>(std::toupper(i));
    }
    EXPECT_EQ(toLowercase(all), lower);
    EXPECT_EQ(toUppercase(all), upper);
    EXPECT_TRUE(toBool("TRUE"));
}

TEST(ConversionLocale, CaseMappingFollowsTheCLocaleOfTheProcess) {
    const testlocale::Folder folder;
    if (!folder.add("de_DE", "ISO-8859-1")) {
        GTEST_SKIP() << "localedef could not make a German locale; install the package \"locales\"";
    }
    EXPECT_EQ(toLowercase("\xC4X"), "\xC4x");
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.ISO-8859-1"), nullptr);
    expectLatinCase();
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(toLowercase("\xC4X"), "\xC4x");
    EXPECT_EQ(toUppercase("\xE4x"), "\xE4X");
}

TEST(ConversionLocale, CaseMappingFollowsTheCLocaleOfTheThread) {
    const testlocale::Folder folder;
    if (!folder.add("de_DE", "ISO-8859-1")) {
        GTEST_SKIP() << "localedef could not make a German locale; install the package \"locales\"";
    }
    const locale_t latin = newlocale(LC_ALL_MASK, "de_DE.ISO-8859-1", nullptr);
    ASSERT_NE(latin, locale_t{});
    std::thread([latin] {
        uselocale(latin);
        expectLatinCase();
        expectClassicNumbers();
        EXPECT_EQ(toDouble(L"1,5"), 1.5);
        uselocale(LC_GLOBAL_LOCALE);
        EXPECT_EQ(toLowercase("\xC4X"), "\xC4x");
    }).join();
    EXPECT_EQ(toLowercase("\xC4X"), "\xC4x");
    freelocale(latin);
}

// In a Turkish locale the lower case of "I" is no ASCII letter.
TEST(ConversionLocale, AsciiLettersAreMappedAsTheLocaleSays) {
    const testlocale::Folder folder;
    if (!folder.add("tr_TR", "ISO-8859-9")) {
        GTEST_SKIP() << "localedef could not make a Turkish locale; install the package \"locales\"";
    }
    ASSERT_NE(std::setlocale(LC_ALL, "tr_TR.ISO-8859-9"), nullptr);
    EXPECT_EQ(toLowercase("IX"), std::string() + static_cast<char>(std::tolower('I')) + "x");
    EXPECT_EQ(toUppercase("ix"), std::string() + static_cast<char>(std::toupper('i')) + "X");
    EXPECT_TRUE(toBool("TRUE"));
    expectClassicNumbers();
}

}  // namespace
