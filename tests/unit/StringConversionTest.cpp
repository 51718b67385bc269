#include <VDIFrameworkCommon/StringConversion.h>
#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <cstdlib>
#include <cwchar>
#include <limits>
#include <stdexcept>
#include <string>

namespace {

using namespace std::string_literals;
using namespace VDIFrameworkCommon;

template <typename Convert>
std::string rangeError(Convert convert) {
    try {
        convert();
    } catch (const std::range_error& error) {
        return error.what();
    }
    return "no range error";
}

constexpr const char* toBytesError = "wstring_convert: to_bytes error";
constexpr const char* fromBytesError = "wstring_convert: from_bytes error";

TEST(Utf8Conversion, EncodesEveryLengthOfSequence) {
    EXPECT_EQ(TXFStdStringForStdWString(L"a\u00E4\u20AC\U0001F600"), "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(TXFStdStringForStdWString(L""), "");
    EXPECT_EQ(TXFStdStringForStdWString(L"\u007F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF"),
              "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(Utf8Conversion, DecodesEveryLengthOfSequence) {
    EXPECT_EQ(TXFStdWStringForStdString("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"), L"a\u00E4\u20AC\U0001F600");
    EXPECT_EQ(TXFStdWStringForStdString(""), L"");
    EXPECT_EQ(TXFStdWStringForStdString("\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"),
              L"\u007F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF");
}

TEST(Utf8Conversion, KeepsAByteOrderMarkAndAddsNone) {
    EXPECT_EQ(TXFStdWStringForStdString("\xEF\xBB\xBFz"), L"\uFEFFz");
    EXPECT_EQ(TXFStdStringForStdWString(L"\uFEFFz"), "\xEF\xBB\xBFz");
}

TEST(Utf8Conversion, AZeroElementIsAnOrdinaryCharacter) {
    const std::wstring wide(L"a\0b", 3);
    const std::string narrow("a\0b", 3);
    EXPECT_EQ(TXFStdStringForStdWString(wide), narrow);
    EXPECT_EQ(TXFStdWStringForStdString(narrow), wide);
    EXPECT_EQ(toString(wide), narrow);
    EXPECT_EQ(toWideString(narrow), wide);
}

TEST(Utf8Conversion, RefusesWideTextThatIsNoText) {
    for (const auto element : {0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0x110000, 0x7FFFFFFF, -1, -0x7FFFFFFF}) {
        const std::wstring text = L"ok" + std::wstring(1, static_cast<wchar_t>(element));
        EXPECT_EQ(rangeError([&] { TXFStdStringForStdWString(text); }), toBytesError) << element;
        EXPECT_EQ(rangeError([&] { TXFStdStringForStdWString(std::wstring(1000, L'x') + text); }), toBytesError);
        EXPECT_EQ(rangeError([&] { toString(text); }), toBytesError);
        EXPECT_EQ(rangeError([&] { toString(text.c_str()); }), toBytesError);
        EXPECT_EQ(rangeError([&] { toDouble(L"1" + text); }), toBytesError);
        EXPECT_EQ(rangeError([&] { toUnsignedLong(L"1" + text); }), toBytesError);
        EXPECT_EQ(rangeError([&] { toUnsignedShort(L"1" + text); }), toBytesError);
    }
    EXPECT_EQ(rangeError([] { TXFStdStringForStdWString(L"\xD83D\xDE00"); }), toBytesError) << "a surrogate pair";
}

TEST(Utf8Conversion, RefusesBytesThatAreNotUtf8) {
    const std::string malformed[] = {
        "\xFF",              // in no text
        "\x80",              // a continuation without a beginning
        "\xC3",              // cut off
        "\xE2\x82",          //
        "\xF0\x9F\x98",      //
        "\xC3(",             // a beginning without a continuation
        "\xE2(\xA1",         //
        "\xE2\x82(",         //
        "\xF0\x9F(\x80",     //
        "\xF0\x9F\x98(",     //
        "\xC0\x80",          // longer than needed
        "\xC1\xBF",          //
        "\xE0\x9F\xBF",      //
        "\xF0\x8F\xBF\xBF",  //
        "\xED\xA0\x80",      // surrogates
        "\xED\xBF\xBF",      //
        "\xF4\x90\x80\x80",  // above 0x10FFFF
        "\xF5\x80\x80\x80",  //
        "\xF8\x88\x80\x80\x80",
    };
    for (const std::string& bytes : malformed) {
        const std::string longer = std::string(1000, 'x') + bytes;
        EXPECT_EQ(rangeError([&] { TXFStdWStringForStdString(bytes); }), fromBytesError)
            << testing::PrintToString(bytes);
        EXPECT_EQ(rangeError([&] { TXFStdWStringForStdString("ok" + bytes + "ok"); }), fromBytesError);
        EXPECT_EQ(rangeError([&] { TXFStdWStringForStdString(longer); }), fromBytesError);
        EXPECT_EQ(rangeError([&] { toWideString(bytes); }), fromBytesError);
        EXPECT_EQ(rangeError([&] { toWideString(bytes.c_str()); }), fromBytesError);
    }
}

TEST(ToString, TextIsReencoded) {
    EXPECT_EQ(toString(L"\u00E4"s), "\xC3\xA4");
    EXPECT_EQ(toString(L"\u00E4\0b"), "\xC3\xA4") << "zero-terminated";
    EXPECT_EQ(toWideString("\xC3\xA4"s), L"\u00E4");
    EXPECT_EQ(toWideString("\xC3\xA4\0b"), L"\u00E4");
    EXPECT_EQ(toString(static_cast<const wchar_t*>(nullptr)), "");
    EXPECT_EQ(toWideString(static_cast<const char*>(nullptr)), L"");
}

// Neither is text of the width that the function takes, and a pointer is more of a boolean than of anything else.
TEST(ToString, TakesALiteralOfTheOtherWidthForABoolean) {
    const char* const literal = "literal";
    const wchar_t* const wideLiteral = L"literal";
    EXPECT_EQ(toString(literal), "true");
    EXPECT_EQ(toWideString(wideLiteral), L"true");
    EXPECT_EQ(toString(static_cast<const char*>(nullptr)), "false");
    EXPECT_EQ(toString(L"literal"), "literal");
    EXPECT_EQ(toWideString("literal"), L"literal");
}

TEST(ToString, TakesSmallIntegersForInts) {
    EXPECT_EQ(toString('a'), "97");
    EXPECT_EQ(toString(static_cast<short>(-7)), "-7");
    EXPECT_EQ(toWideString(static_cast<unsigned short>(65535)), L"65535");
}

TEST(ToString, Booleans) {
    EXPECT_EQ(toString(true), "true");
    EXPECT_EQ(toString(false), "false");
    EXPECT_EQ(toWideString(true), L"true");
    EXPECT_EQ(toWideString(false), L"false");
}

TEST(ToString, DoublesHaveSixDigits) {
    EXPECT_EQ(toString(1.5), "1.5");
    EXPECT_EQ(toString(1234567.0), "1.23457e+06");
    EXPECT_EQ(toString(0.1), "0.1");
    EXPECT_EQ(toString(0.0), "0");
    EXPECT_EQ(toString(-0.0), "-0");
    EXPECT_EQ(toString(100000.0), "100000");
    EXPECT_EQ(toString(999999.5), "1e+06");
    EXPECT_EQ(toString(1000005.0), "1e+06") << "a tie goes to the even digit";
    EXPECT_EQ(toString(1000015.0), "1.00002e+06");
    EXPECT_EQ(toString(0.0001), "0.0001");
    EXPECT_EQ(toString(0.00001), "1e-05");
    EXPECT_EQ(toString(-2.5e-7), "-2.5e-07");
    EXPECT_EQ(toString(std::numeric_limits<double>::max()), "1.79769e+308");
    EXPECT_EQ(toString(std::numeric_limits<double>::denorm_min()), "4.94066e-324");
    EXPECT_EQ(toString(std::numeric_limits<double>::infinity()), "inf");
    EXPECT_EQ(toString(-std::numeric_limits<double>::infinity()), "-inf");
    EXPECT_EQ(toString(std::copysign(std::numeric_limits<double>::quiet_NaN(), 1.0)), "nan");
    EXPECT_EQ(toString(std::copysign(std::numeric_limits<double>::quiet_NaN(), -1.0)), "-nan");
    EXPECT_EQ(toWideString(1234567.0), L"1.23457e+06");
    EXPECT_EQ(toWideString(-0.5), L"-0.5");
}

TEST(ToString, FloatsHaveNineDigitsNarrowAndSixWide) {
    EXPECT_EQ(toString(0.1F), "0.100000001");
    EXPECT_EQ(toWideString(0.1F), L"0.1");
    EXPECT_EQ(toString(1.5F), "1.5");
    EXPECT_EQ(toString(16777216.0F), "16777216");
    EXPECT_EQ(toWideString(16777216.0F), L"1.67772e+07");
    EXPECT_EQ(toString(-std::numeric_limits<float>::max()), "-3.40282347e+38");
    EXPECT_EQ(toString(std::numeric_limits<float>::denorm_min()), "1.40129846e-45");
    EXPECT_EQ(toString(-std::numeric_limits<float>::infinity()), "-inf");
}

template <typename Integer>
void expectLimits(const std::string& smallest, const std::string& largest) {
    EXPECT_EQ(toString(std::numeric_limits<Integer>::min()), smallest);
    EXPECT_EQ(toString(std::numeric_limits<Integer>::max()), largest);
    EXPECT_EQ(toWideString(std::numeric_limits<Integer>::min()), std::wstring(smallest.begin(), smallest.end()));
    EXPECT_EQ(toWideString(std::numeric_limits<Integer>::max()), std::wstring(largest.begin(), largest.end()));
    EXPECT_EQ(toString(Integer{0}), "0");
    EXPECT_EQ(toWideString(Integer{100}), L"100");
}

TEST(ToString, IntegersArePlainDecimal) {
    expectLimits<int>("-2147483648", "2147483647");
    expectLimits<unsigned int>("0", "4294967295");
    expectLimits<long>("-9223372036854775808", "9223372036854775807");
    expectLimits<unsigned long>("0", "18446744073709551615");
    expectLimits<long long>("-9223372036854775808", "9223372036854775807");
    EXPECT_EQ(toString(-7), "-7");
    EXPECT_EQ(toWideString(-7), L"-7");
}

TEST(CaseMappingFunctions, ChangeAsciiLettersOnlyInTheCLocale) {
    EXPECT_EQ(toLowercase("\xC3\x84"s + "B"),
              "\xC3\x84"
              "b");
    EXPECT_EQ(toUppercase("\xC3\xA4"s + "b"),
              "\xC3\xA4"
              "B");
    EXPECT_EQ(toLowercase("AZ[@`az{"s), "az[@`az{");
    EXPECT_EQ(toUppercase("az{`@AZ["s), "AZ{`@AZ[");
    EXPECT_EQ(toLowercase(L"A\u00C4\u0416\U00010400Z"s), L"a\u00C4\u0416\U00010400z");
    EXPECT_EQ(toLowercase("A\0B"s), "a\0b"s);
    EXPECT_EQ(toLowercase(L"A\0B"s), L"a\0b"s);
    EXPECT_EQ(toLowercase(""s), "");
    EXPECT_EQ(toUppercase(""s), "");
    EXPECT_EQ(toLowercase(L""s), L"");
    const std::wstring odd{static_cast<wchar_t>(-1), static_cast<wchar_t>(-65), static_cast<wchar_t>(0x141)};
    EXPECT_EQ(toLowercase(odd), odd);
}

TEST(ToBool, AcceptsTheWordTrueInAnyCase) {
    for (const char* const text : {"true", "TRUE", " True", "\t\n\v\f\r true", "trueish", "true false"}) {
        EXPECT_TRUE(toBool(std::string(text))) << text;
        EXPECT_TRUE(toBool(toWideString(text))) << text;
    }
    for (const char* const text : {"1", "yes", "", " ", "false", "FALSE", "tru", "t", "untrue", "\xC2\xA0true"}) {
        EXPECT_FALSE(toBool(std::string(text))) << text;
        EXPECT_FALSE(toBool(toWideString(text))) << text;
    }
    EXPECT_FALSE(toBool("\0true"s));
    EXPECT_FALSE(toBool(std::wstring{L't', L'r', L'u', 0x100 + L'e'}));
}

TEST(LenientParse, IgnoresWhatFollowsTheNumber) {
    EXPECT_EQ(toInt("12ab"), 12);
    EXPECT_EQ(toInt(" \t\n\v\f\r-12 "), -12);
    EXPECT_EQ(toInt("+5"), 5);
    EXPECT_EQ(toInt("0x10"), 0);
    EXPECT_EQ(toInt("1,000"), 1);
    EXPECT_EQ(toInt("1.9"), 1);
    EXPECT_EQ(toInt("12\0"s + "34"), 12);
    EXPECT_EQ(toUnsignedInt("12ab"), 12U);
    EXPECT_EQ(toLong("12ab"), 12L);
    EXPECT_EQ(toLongLong("12ab"), 12LL);
    EXPECT_EQ(toFloat("12ab"), 12.0F);
}

TEST(LenientParse, GivesZeroForTextWithoutANumber) {
    for (const char* const text : {"", " ", "\t\n ", "abc", "-", "+", "--1", "+-1", "- 1", ",1",
                                   "\xC2\xA0"
                                   "1"}) {
        EXPECT_EQ(toInt(text), 0) << text;
        EXPECT_EQ(toUnsignedInt(text), 0U) << text;
        EXPECT_EQ(toLong(text), 0L) << text;
        EXPECT_EQ(toLongLong(text), 0LL) << text;
        EXPECT_EQ(toFloat(text), 0.0F) << text;
        EXPECT_FALSE(std::signbit(toFloat(text))) << text;
    }
}

TEST(LenientParse, StopsAtTheLimitsOfTheType) {
    EXPECT_EQ(toInt("2147483647"), 2147483647);
    EXPECT_EQ(toInt("2147483648"), 2147483647);
    EXPECT_EQ(toInt("-2147483648"), std::numeric_limits<int>::min());
    EXPECT_EQ(toInt("-2147483649"), std::numeric_limits<int>::min());
    EXPECT_EQ(toInt(std::string(1000, '9')), 2147483647);
    EXPECT_EQ(toInt(std::string(1000, '0') + "7"), 7);
    EXPECT_EQ(toUnsignedInt("4294967295"), 4294967295U);
    EXPECT_EQ(toUnsignedInt("4294967296"), 4294967295U);
    EXPECT_EQ(toUnsignedInt("-1"), 4294967295U);
    EXPECT_EQ(toUnsignedInt("-4294967295"), 1U);
    EXPECT_EQ(toUnsignedInt("-4294967296"), 4294967295U);
    EXPECT_EQ(toUnsignedInt("-99999999999"), 4294967295U);
    EXPECT_EQ(toLong("9223372036854775808"), std::numeric_limits<long>::max());
    EXPECT_EQ(toLong("-9223372036854775809"), std::numeric_limits<long>::min());
    EXPECT_EQ(toLongLong("9223372036854775807"), std::numeric_limits<long long>::max());
    EXPECT_EQ(toLongLong("-9223372036854775808"), std::numeric_limits<long long>::min());
    EXPECT_EQ(toLongLong("-99999999999999999999"), std::numeric_limits<long long>::min());
}

TEST(LenientParse, FloatsTakeTheLongestDecimalPrefix) {
    EXPECT_EQ(toFloat("1.5"), 1.5F);
    EXPECT_EQ(toFloat(" -2.5e-1x"), -0.25F);
    EXPECT_EQ(toFloat("1e"), 1.0F);
    EXPECT_EQ(toFloat("1e+"), 1.0F);
    EXPECT_EQ(toFloat("1e5.5"), 100000.0F);
    EXPECT_EQ(toFloat("1.5.5"), 1.5F);
    EXPECT_EQ(toFloat(".5"), 0.5F);
    EXPECT_EQ(toFloat("5."), 5.0F);
    EXPECT_EQ(toFloat("."), 0.0F);
    EXPECT_EQ(toFloat(".e5"), 0.0F);
    EXPECT_EQ(toFloat("1,5"), 1.0F);
    EXPECT_EQ(toFloat("0x10"), 0.0F);
    EXPECT_EQ(toFloat("inf"), 0.0F);
    EXPECT_EQ(toFloat("-infinity"), 0.0F);
    EXPECT_EQ(toFloat("nan"), 0.0F);
    EXPECT_TRUE(std::signbit(toFloat("-0")));
    EXPECT_EQ(toFloat("1\0"
                      "2"s),
              1.0F);
}

TEST(LenientParse, FloatsStayFiniteAndAreCorrectlyRounded) {
    constexpr float largest = std::numeric_limits<float>::max();
    EXPECT_EQ(toFloat("1e39"), largest);
    EXPECT_EQ(toFloat("-1e39"), -largest);
    EXPECT_EQ(toFloat("3.4028235677973366e38"), largest) << "halfway to the next power of two";
    EXPECT_EQ(toFloat("-1e99999999999999999999"), -largest);
    EXPECT_EQ(toFloat("1e-99999999999999999999"), 0.0F);
    EXPECT_EQ(toFloat("0e99999999999999999999"), 0.0F);
    EXPECT_EQ(toFloat("1e-46"), 0.0F);
    EXPECT_EQ(toFloat("7.0064923216240853e-46"), 0.0F) << "just below half of the smallest";
    EXPECT_EQ(toFloat("7.0064923216240862e-46"), std::numeric_limits<float>::denorm_min());
    EXPECT_EQ(toFloat("16777217"), 16777216.0F) << "a tie goes to the even mantissa";
    EXPECT_EQ(toFloat("16777219"), 16777220.0F);
    EXPECT_EQ(toFloat("16777217." + std::string(500, '0') + "1"), 16777218.0F);
    EXPECT_EQ(toFloat("0." + std::string(1000, '0') + "15e1001"), 1.5F);
    EXPECT_EQ(toFloat("15" + std::string(1000, '0') + "e-1001"), 1.5F);
}

TEST(StrictParse, TakesTheNumberOnlyIfItIsAllOfTheText) {
    EXPECT_EQ(toInt("7", -1), 7);
    EXPECT_EQ(toInt(" 42", -1), 42);
    EXPECT_EQ(toInt("+42", -1), 42);
    EXPECT_EQ(toInt("-42", -1), -42);
    for (const char* const text :
         {"7 ", "", " ", "x", "99999999999", "-99999999999", "42abc", "1.0", "0x1", "7\n", "-", "+"}) {
        EXPECT_EQ(toInt(text, -1), -1) << text;
        EXPECT_EQ(toInt(toWideString(text), -1), -1) << text;
        EXPECT_EQ(toUnsignedInt(text, 5), 5U) << text;
        EXPECT_EQ(toUnsignedInt(toWideString(text), 5), 5U) << text;
    }
    EXPECT_EQ(toInt("7\0"s, -1), -1) << "a zero byte is a character too";
    EXPECT_EQ(toInt(L"7\0"s, -1), -1);
    EXPECT_EQ(toInt(L"7", -1), 7);
    EXPECT_EQ(toInt(L" -42", -1), -42);
    EXPECT_EQ(toInt(L"\u0667", -1), -1) << "a digit of another script";
    EXPECT_EQ(toInt(L"7\u00A0", -1), -1);
    EXPECT_EQ(toInt(L"\u00A0"
                    L"7",
                    -1),
              -1);
    EXPECT_EQ(toUnsignedInt("4294967295", 5), 4294967295U);
    EXPECT_EQ(toUnsignedInt("4294967296", 5), 5U);
    EXPECT_EQ(toUnsignedInt("-1", 5), 4294967295U);
    EXPECT_EQ(toUnsignedInt(L"-1", 5), 4294967295U);
    EXPECT_EQ(toUnsignedInt("-4294967296", 5), 5U);
    EXPECT_EQ(toUnsignedInt(L" 42", 5), 42U);
}

TEST(StrictParse, EndsAtTheElementThatStreamsTakeForTheEnd) {
    const std::wstring end(1, static_cast<wchar_t>(WEOF));
    EXPECT_EQ(toInt(L"7" + end, -1), 7);
    EXPECT_EQ(toInt(L"7" + end + L"8", -1), 7);
    EXPECT_EQ(toUnsignedInt(L" 42" + end + L"x", 5), 42U);
    EXPECT_EQ(toInt(end + L"7", -1), -1);
    EXPECT_EQ(toInt(L"-" + end, -1), -1);
    EXPECT_EQ(toInt("7\xFF", -1), -1) << "a byte is never the end";
}

/// Rounds in another way for as long as it lives.
class Rounding {
public:
    explicit Rounding(int mode) { std::fesetround(mode); }
    ~Rounding() { std::fesetround(FE_TONEAREST); }
    Rounding(const Rounding&) = delete;
    Rounding& operator=(const Rounding&) = delete;
};

TEST(RoundingMode, IsFollowedByWideDoublesAlone) {
    for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO, FE_TONEAREST}) {
        const Rounding rounding(mode);
        EXPECT_EQ(toString(1000005.0), "1e+06") << mode;
        EXPECT_EQ(toString(-1000015.0), "-1.00002e+06") << mode;
        EXPECT_EQ(toString(0.1F), "0.100000001") << mode;
        EXPECT_EQ(toFloat("16777217"), 16777216.0F) << mode;
        EXPECT_EQ(toFloat("-16777219"), -16777220.0F) << mode;
        for (const char* const text : {"0.1", "-0.1", "1e-7", "9007199254740993", "123456789.123456789"}) {
            const double expected = std::strtod(text, nullptr);
            EXPECT_EQ(toDouble(toWideString(text)), expected) << mode << ' ' << text;
        }
    }
}

TEST(WideNumbers, DoublesAreThoseOfStrtod) {
    EXPECT_EQ(toDouble(L"1.5"), 1.5);
    EXPECT_EQ(toDouble(L" -2.5e3 metres"), -2500.0);
    EXPECT_EQ(toDouble(L"0.1"), 0.1);
    EXPECT_EQ(toDouble(L"1e-7"), 1e-7);
    EXPECT_EQ(toDouble(L"12ab"), 12.0);
    EXPECT_EQ(toDouble(L""), 0.0);
    EXPECT_EQ(toDouble(L"abc"), 0.0);
    EXPECT_EQ(toDouble(L"0x1.8"), 1.5);
    EXPECT_EQ(toDouble(L"-0x10"), -16.0);
    EXPECT_EQ(toDouble(L"inf"), std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(toDouble(L"nan")));
    EXPECT_EQ(toDouble(L"1e999"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(toDouble(L"1\0"
                       L"2"s),
              1.0)
        << "ends at a zero element";
    EXPECT_TRUE(std::signbit(toDouble(L"-0")));
    EXPECT_EQ(toDouble(L"9007199254740993"), 9007199254740992.0);
    EXPECT_EQ(toDouble(L"5\u20AC"), 5.0);
}

TEST(WideNumbers, UnsignedIntegersAreThoseOfStrtoulWithAnyBase) {
    EXPECT_EQ(toUnsignedLong(L"10"), 10U);
    EXPECT_EQ(toUnsignedLong(L"0x10"), 16U);
    EXPECT_EQ(toUnsignedLong(L"0XfF"), 255U);
    EXPECT_EQ(toUnsignedLong(L"010"), 8U);
    EXPECT_EQ(toUnsignedLong(L"08"), 0U);
    EXPECT_EQ(toUnsignedLong(L"0x"), 0U);
    EXPECT_EQ(toUnsignedLong(L"0xg"), 0U);
    EXPECT_EQ(toUnsignedLong(L"0b11"), 0U);
    EXPECT_EQ(toUnsignedLong(L" \t+12ab"), 12U);
    EXPECT_EQ(toUnsignedLong(L""), 0U);
    EXPECT_EQ(toUnsignedLong(L"abc"), 0U);
    EXPECT_EQ(toUnsignedLong(L"-1"), std::numeric_limits<unsigned long>::max());
    EXPECT_EQ(toUnsignedLong(L"18446744073709551615"), std::numeric_limits<unsigned long>::max());
    EXPECT_EQ(toUnsignedLong(L"18446744073709551616"), std::numeric_limits<unsigned long>::max());
    EXPECT_EQ(toUnsignedLong(L"-18446744073709551616"), std::numeric_limits<unsigned long>::max());
    EXPECT_EQ(toUnsignedLong(L"1\0"
                             L"2"s),
              1U);
    EXPECT_EQ(toUnsignedShort(L"0x10"), 16U);
    EXPECT_EQ(toUnsignedShort(L"65537"), 1U);
    EXPECT_EQ(toUnsignedShort(L"70000"), 4464U);
    EXPECT_EQ(toUnsignedShort(L"-1"), 65535U);
    EXPECT_EQ(toUnsignedShort(L"nothing"), 0U);
}

}  // namespace
