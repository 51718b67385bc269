#include <VDIFrameworkCommon/IdentifierUtils.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

using namespace VDIFrameworkCommon;
using namespace std::string_literals;

std::string sanitized(std::string number) {
    sanitizePhoneNumber(number);
    return number;
}

TEST(IsValidDigit, IsWhatCanBeDialled) {
    for (int c = -256; c != 0x110000; ++c) {
        const bool expected = (c >= '0' && c <= '9') || c == '#' || c == '*' || c == '+';
        ASSERT_EQ(isValidDigit(static_cast<wchar_t>(c)), expected) << c;
    }
    EXPECT_FALSE(isValidDigit(L'\uFF11')) << "a full-width digit";
}

TEST(ConvertToNumericValue, IsTheTelephoneKeypad) {
    const std::map<char, std::string> keys = {{'2', "abcABC"}, {'3', "defDEF"},   {'4', "ghiGHI"}, {'5', "jklJKL"},
                                              {'6', "mnoMNO"}, {'7', "pqrsPQRS"}, {'8', "tuvTUV"}, {'9', "wxyzWXYZ"}};
    std::map<char, char> digits;
    for (const auto& [digit, letters] : keys) {
        for (const char letter : letters) {
            digits[letter] = digit;
        }
    }
    ASSERT_EQ(digits.size(), 52U);
    for (int c = 0; c != 256; ++c) {
        const auto digit = digits.find(static_cast<char>(c));
        EXPECT_EQ(convertToNumericValue(static_cast<char>(c)), digit == digits.end() ? '\0' : digit->second) << c;
    }
}

TEST(SanitizePhoneNumber, TurnsLettersIntoDigitsAndDropsTheRest) {
    EXPECT_EQ(sanitized("+1 (555) TESTING"), "+15558378464");
    EXPECT_EQ(sanitized("#31#*0800-flowers"), "#31#*08003569377");
    EXPECT_EQ(sanitized(""), "");
    EXPECT_EQ(sanitized(" -()./,;\t\n"), "");
    EXPECT_EQ(sanitized("0123456789#*+"), "0123456789#*+");
}

TEST(SanitizePhoneNumber, DropsZeroAndHighBytes) {
    EXPECT_EQ(sanitized("1\0002\xFF\x80\xA0"s + "3"), "123");
    EXPECT_EQ(sanitized("\xC2\xA0"
                        "1"),
              "1");
}

}  // namespace
