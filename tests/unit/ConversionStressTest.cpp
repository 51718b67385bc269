#include <VDIFrameworkCommon/StringConversion.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>

#include "support/WithinLimit.h"

/// Ten megabytes through every conversion, each call with a limit that a quadratic step would not keep.

namespace {

using namespace VDIFrameworkCommon;

constexpr std::size_t size = 10'000'000;

const std::string& blanks() {
    static const std::string text(size, ' ');
    return text;
}

const std::string& zeros() {
    static const std::string text(size, '0');
    return text;
}

std::wstring widened(const std::string& ascii) {
    return {ascii.begin(), ascii.end()};
}

template <typename Convert>
bool refuses(Convert convert) {
    return withinLimit([&] {
        try {
            convert();
        } catch (const std::range_error&) {
            return true;
        }
        return false;
    });
}

void expectBothWays(const std::string& bytes) {
    const auto wide = withinLimit([&] { return TXFStdWStringForStdString(bytes); });
    EXPECT_TRUE(withinLimit([&] { return TXFStdStringForStdWString(wide); }) == bytes);
    EXPECT_TRUE(withinLimit([&] { return toWideString(bytes); }) == wide);
    EXPECT_TRUE(withinLimit([&] { return toWideString(bytes.c_str()); }) == wide);
    EXPECT_TRUE(withinLimit([&] { return toString(wide); }) == bytes);
    EXPECT_TRUE(withinLimit([&] { return toString(wide.c_str()); }) == bytes);
}

TEST(HugeConversion, OfTheEncodings) {
    expectBothWays(std::string(size, 'a'));
    std::string mixed;
    while (mixed.size() < size) {
        mixed += "plain \xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
    }
    expectBothWays(mixed);
    mixed += '\xC3';
    EXPECT_TRUE(refuses([&] { return TXFStdWStringForStdString(mixed); })) << "only its last byte is wrong";
    const std::wstring wide = std::wstring(size, L'\u20AC') + static_cast<wchar_t>(0xD800);
    EXPECT_TRUE(refuses([&] { return TXFStdStringForStdWString(wide); }));
    EXPECT_TRUE(refuses([&] { return toDouble(L"1" + wide); }));
    EXPECT_TRUE(refuses([&] { return toUnsignedLong(L"1" + wide); }));
    EXPECT_TRUE(refuses([&] { return toUnsignedShort(L"1" + wide); }));
}

TEST(HugeConversion, OfCase) {
    const std::string text = std::string(size, 'A') + "\xC3\xA4";
    const std::string lower = withinLimit([&] { return toLowercase(text); });
    EXPECT_TRUE(lower == std::string(size, 'a') + "\xC3\xA4");
    EXPECT_TRUE(withinLimit([&] { return toUppercase(lower); }) == text);
    const std::wstring wide = std::wstring(size, L'A') + L'\u0416';
    EXPECT_TRUE(withinLimit([&] { return toLowercase(wide); }) == std::wstring(size, L'a') + L'\u0416');
}

TEST(HugeConversion, ToBooleans) {
    EXPECT_TRUE(withinLimit([] { return toBool(blanks() + "true"); }));
    EXPECT_TRUE(withinLimit([] { return toBool(widened(blanks()) + L"TRUE"); }));
    EXPECT_FALSE(withinLimit([] { return toBool(blanks()); }));
    EXPECT_TRUE(withinLimit([] { return toBool("true" + blanks()); }));
}

TEST(HugeConversion, ToIntegers) {
    const std::string seven = blanks() + zeros() + "7";
    const std::wstring wideSeven = widened(seven);
    const std::string nines(size, '9');
    EXPECT_EQ(withinLimit([&] { return toInt(seven); }), 7);
    EXPECT_EQ(withinLimit([&] { return toInt(seven, 0); }), 7);
    EXPECT_EQ(withinLimit([&] { return toInt(wideSeven, 0); }), 7);
    EXPECT_EQ(withinLimit([&] { return toUnsignedInt(seven); }), 7U);
    EXPECT_EQ(withinLimit([&] { return toUnsignedInt(seven, 0); }), 7U);
    EXPECT_EQ(withinLimit([&] { return toUnsignedInt(wideSeven, 0); }), 7U);
    EXPECT_EQ(withinLimit([&] { return toLong(zeros() + nines); }), std::numeric_limits<long>::max());
    EXPECT_EQ(withinLimit([&] { return toLongLong("-" + zeros() + nines); }), std::numeric_limits<long long>::min());
    EXPECT_EQ(withinLimit([&] { return toInt(nines, -1); }), -1);
    EXPECT_EQ(withinLimit([&] { return toInt(widened(nines), -1); }), -1);
    EXPECT_EQ(withinLimit([] { return toUnsignedLong(widened(zeros()) + L"17"); }), 15U);
    EXPECT_EQ(withinLimit([] { return toUnsignedLong(L"0x" + widened(zeros()) + L"17"); }), 23U);
    EXPECT_EQ(withinLimit([&] { return toUnsignedLong(widened(nines)); }), std::numeric_limits<unsigned long>::max());
    EXPECT_EQ(withinLimit([] { return toUnsignedShort(widened(blanks()) + L"70000"); }), 4464U);
}

TEST(HugeConversion, ToFloatingPointNumbers) {
    EXPECT_EQ(withinLimit([] { return toFloat(blanks() + "1." + zeros() + "1"); }), 1.0F);
    EXPECT_EQ(withinLimit([] { return toFloat("0." + zeros() + "1e" + zeros() + std::to_string(size + 1)); }), 1.0F);
    EXPECT_EQ(withinLimit([] { return toFloat("1" + zeros() + "e-" + std::to_string(size)); }), 1.0F);
    EXPECT_EQ(withinLimit([] { return toFloat("16777217." + zeros() + "1"); }), 16777218.0F);
    EXPECT_EQ(withinLimit([] { return toFloat("1e" + std::string(size, '9')); }), std::numeric_limits<float>::max());
    EXPECT_EQ(withinLimit([] { return toDouble(L"1." + widened(zeros())); }), 1.0);
    EXPECT_EQ(withinLimit([] { return toDouble(L"0." + widened(zeros()) + L"1e" + std::to_wstring(size + 1)); }), 1.0);
    EXPECT_EQ(withinLimit([] { return toDouble(widened(blanks()) + L"2.5"); }), 2.5);
}

}  // namespace
