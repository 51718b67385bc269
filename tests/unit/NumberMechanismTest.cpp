// Every conversion of numbers gives what the streams of the standard library give, over generated inputs.

#include <VDIFrameworkCommon/StringConversion.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <regex>
#include <string>

#include "support/Random.h"
#include "support/StreamConversions.h"

namespace {

using namespace VDIFrameworkCommon;

constexpr int inputs = 150'000;

class Generator : public generated::Random {
public:
    // Of every magnitude, and often at a limit of a type.
    std::uint64_t integer() {
        constexpr std::uint64_t limits[] = {0,
                                            std::numeric_limits<std::int32_t>::max(),
                                            std::numeric_limits<std::uint32_t>::max(),
                                            std::numeric_limits<std::int64_t>::max(),
                                            std::numeric_limits<std::uint64_t>::max(),
                                            10,
                                            100'000'000,
                                            10'000'000'000'000'000U};
        switch (below(3)) {
            case 0:
                return oneOf(limits) + below(5) - 2;
            default:
                return bits() >> below(64);
        }
    }

    std::string digits(std::size_t most) {
        std::string result(below(most + 1), '0');
        const bool zeros = below(4) == 0;
        for (char& digit : result) {
            digit = zeros && below(3) != 0 ? '0' : static_cast<char>('0' + below(10));
        }
        return result;
    }

    std::string integerText() {
        static const std::string blanks[] = {"", "", "", "", " ", "\t", "\n\v\f\r ", "  "};
        static const std::string signs[] = {"", "", "", "-", "-", "+", "--", "+-", "- "};
        static const std::string prefixes[] = {"", "", "", "", "0", "000", "0x", "0X", "0b", ","};
        static const std::string tails[] = {"",  "",     "",    "",   " ",  "x",    ".5",  ",000",
                                            "+", "e5",   "abc", "\n", "\v", "\xC3", "1 2", "0x1F",
                                            "_", "\x80", "-",   "'1", "٣",  "f",    "ull", std::string(1, '\0')};
        return oneOf(blanks) + oneOf(signs) + oneOf(prefixes) +
               (below(2) == 0 ? digits(below(40) == 0 ? 400 : 25) : std::to_string(integer())) + oneOf(tails);
    }

    std::wstring wideIntegerText() {
        std::wstring result;
        for (const char byte : integerText()) {
            result += static_cast<wchar_t>(static_cast<unsigned char>(byte));
        }
        static const std::wstring tails[] = {
            L"", L"", L"", L"\u00A0", L"\u2003", L"\u0663", L"\U0001D7D9", std::wstring(1, static_cast<wchar_t>(-1))};
        return below(8) == 0 ? oneOf(tails) + result : result + oneOf(tails);
    }

    std::string floatText() {
        static const std::string exponents[] = {"",
                                                "",
                                                "",
                                                "e5",
                                                "E-7",
                                                "e+38",
                                                "e-45",
                                                "e-46",
                                                "e39",
                                                "e",
                                                "e+",
                                                "e-",
                                                "e99999999999999999999",
                                                "E-99999999999999999999"};
        static const std::string signs[] = {"", "", "", "-", "+"};
        static const std::string points[] = {"", ".", "."};
        const std::size_t most = below(20) == 0 ? 200 : 22;
        std::string result = oneOf(signs) + digits(most) + oneOf(points) + digits(most) + oneOf(exponents);
        if (below(3) == 0) {
            result += "e" + std::to_string(static_cast<int>(below(100)) - 60);
        }
        return result;
    }

    // Any double; often one with few digits, one halfway between two shorter decimals, or next to a power of ten.
    double number() {
        switch (below(6)) {
            case 0:
                return static_cast<double>(static_cast<std::int64_t>(integer())) /
                       std::pow(10.0, static_cast<double>(below(20)));
            case 1:
                return (static_cast<double>(below(10'000'000)) + 0.5) * std::pow(10.0, static_cast<double>(below(12)));
            case 2:
                return static_cast<double>(below(100'000'000)) * std::ldexp(1.0, -static_cast<int>(below(40)));
            case 3: {
                const double power =
                    std::strtod(("1e" + std::to_string(static_cast<int>(below(634)) - 324)).c_str(), nullptr);
                const double ends[] = {0.0, power, std::numeric_limits<double>::infinity()};
                return std::nextafter(power, oneOf(ends));
            }
            case 4:
                return std::bit_cast<double>(bits() >> (12 + below(52)));  // subnormal
            default:
                return std::bit_cast<double>(bits());
        }
    }
};

template <typename Integer>
void compareIntegers(Generator& generator) {
    for (int i = 0; i < inputs; ++i) {
        const auto value = static_cast<Integer>(generator.integer());
        ASSERT_EQ(toString(value), streams::print(value));
        ASSERT_EQ(toWideString(value), streams::printWide(value));
    }
}

TEST(NumberMechanism, IntegersPrintAsStreamsPrintThem) {
    Generator generator;
    compareIntegers<int>(generator);
    compareIntegers<unsigned int>(generator);
    compareIntegers<long>(generator);
    compareIntegers<unsigned long>(generator);
    compareIntegers<long long>(generator);
}

TEST(NumberMechanism, DoublesPrintAsStreamsPrintThem) {
    Generator generator;
    for (int i = 0; i < 3 * inputs; ++i) {
        const double value = generator.number();
        ASSERT_EQ(toString(value), streams::print(value)) << std::hexfloat << value;
        if (i % 3 == 0) {
            ASSERT_EQ(toWideString(value), streams::printWide(value)) << std::hexfloat << value;
        }
    }
}

TEST(NumberMechanism, EveryPowerOfTwoPrintsAsStreamsPrintIt) {
    for (int exponent = -1074; exponent < 1024; ++exponent) {
        const double power = std::ldexp(1.0, exponent);
        for (const double value : {power, std::nextafter(power, 0.0), std::nextafter(power, 1e308), -power}) {
            ASSERT_EQ(toString(value), streams::print(value)) << exponent;
        }
    }
}

TEST(NumberMechanism, FloatsPrintAsStreamsPrintThem) {
    Generator generator;
    for (int i = 0; i < 3 * inputs; ++i) {
        const auto value = i % 2 == 0 ? std::bit_cast<float>(static_cast<std::uint32_t>(generator.bits()))
                                      : static_cast<float>(generator.below(1U << 26U)) *
                                            std::ldexp(1.0F, static_cast<int>(generator.below(80)) - 60);
        ASSERT_EQ(toString(value), streams::print(value, 9)) << std::hexfloat << value;
        if (i % 3 == 0) {
            ASSERT_EQ(toWideString(value), streams::printWide(value)) << std::hexfloat << value;
        }
    }
}

TEST(NumberMechanism, IntegersAreExtractedAsStreamsExtractThem) {
    Generator generator;
    for (int i = 0; i < inputs; ++i) {
        const std::string text = generator.integerText();
        ASSERT_EQ(toInt(text), streams::extract<int>(text)) << text;
        ASSERT_EQ(toUnsignedInt(text), streams::extract<unsigned int>(text)) << text;
        ASSERT_EQ(toLong(text), streams::extract<long>(text)) << text;
        ASSERT_EQ(toLongLong(text), streams::extract<long long>(text)) << text;
    }
}

TEST(NumberMechanism, StrictIntegersAreExtractedAsStreamsExtractThem) {
    Generator generator;
    for (int i = 0; i < inputs; ++i) {
        const std::string text = generator.integerText();
        ASSERT_EQ(toInt(text, -77), streams::extractAll(text, -77)) << text;
        ASSERT_EQ(toUnsignedInt(text, 77), streams::extractAll(text, 77U)) << text;
        const std::wstring wide = generator.wideIntegerText();
        ASSERT_EQ(toInt(wide, -77), streams::extractAll(wide, -77)) << wide.size();
        ASSERT_EQ(toUnsignedInt(wide, 77), streams::extractAll(wide, 77U)) << wide.size();
    }
}

// A stream takes all characters that might belong to a number and then finds none in "1e" or "12ab", and libc++'s takes
// "inf", "nan" and hexadecimal numbers and does not stop at the largest float. Ours take the longest decimal number and
// stay finite. Hence only that prefix is given to the stream.
float extractDecimalPrefix(const std::string& text) {
    static const std::regex number("^[\\t-\\r ]*[-+]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][-+]?[0-9]+)?");
    std::smatch match;
    if (!std::regex_search(text, match, number)) {
        return 0;
    }
    const auto value = streams::extract<float>(match.str());
    constexpr float largest = std::numeric_limits<float>::max();
    return std::isinf(value) ? std::copysign(largest, value) : value;
}

TEST(NumberMechanism, FloatsAreExtractedAsStreamsExtractThem) {
    static const std::string tails[] = {
        "", "", " ", ";5", "|", "ab", "x", "inf", ".", "..", "e", "e5", "-", ",5", std::string(1, '\0')};
    static const std::string heads[] = {"", "", "", "", " ", "\t\v", "-", ".", "0x", "inf", "nan", "e", "\xC2\xA0"};
    Generator generator;
    for (int i = 0; i < inputs; ++i) {
        const std::string text = generator.oneOf(heads) + generator.floatText() + generator.oneOf(tails);
        ASSERT_EQ(std::bit_cast<std::uint32_t>(toFloat(text)), std::bit_cast<std::uint32_t>(extractDecimalPrefix(text)))
            << text;
    }
}

// The exact decimal expansion of a point halfway between two floats, and what is just below and above it.
TEST(NumberMechanism, FloatsNextToAHalfwayPointAreRoundedAsStreamsRoundThem) {
    Generator generator;
    for (int i = 0; i < inputs / 20; ++i) {
        const auto lower =
            std::bit_cast<float>(static_cast<std::uint32_t>(generator.below(i % 4 == 0 ? 0x00800000 : 0x7F7FFFFF)));
        const double halfway = (static_cast<double>(lower) +
                                static_cast<double>(std::nextafter(lower, std::numeric_limits<float>::infinity()))) /
                               2;
        char text[512];
        const int size = std::snprintf(text, sizeof text, "%.*f", 160, halfway);
        const std::string exact(text, static_cast<std::size_t>(size));
        std::string below = exact;  // less one unit of its last place
        for (auto digit = below.rbegin(); digit != below.rend(); ++digit) {
            if (*digit > '0') {
                --*digit;
                break;
            }
            *digit = *digit == '0' ? '9' : *digit;
        }
        for (const std::string& number :
             {exact, exact + "1", exact + std::string(300, '0') + "1", below, below + std::string(300, '9')}) {
            ASSERT_EQ(std::bit_cast<std::uint32_t>(toFloat(number)),
                      std::bit_cast<std::uint32_t>(streams::extract<float>(number)))
                << number;
        }
    }
}

TEST(NumberMechanism, BooleansAreExtractedAsStreamsExtractThem) {
    static const std::string words[] = {"true", "false", "TRUE", "True", "tRuE", "FALSE", "tru",  "truefalse",
                                        "1",    "0",     "yes",  "t",    "",     "tr ue", "truE1"};
    static const std::string around[] = {"", "", "", " ", "\t\n\v\f\r", "x", "\xC2\xA0", ".", std::string(1, '\0')};
    Generator generator;
    for (int i = 0; i < inputs; ++i) {
        std::string text = generator.oneOf(around) + generator.oneOf(words) + generator.oneOf(around);
        if (generator.below(4) == 0 && !text.empty()) {
            text[generator.below(text.size())] = static_cast<char>(generator.bits());
        }
        ASSERT_EQ(toBool(text), streams::extract<bool>(toLowercase(text))) << text;
        std::wstring wide;
        for (const char byte : text) {
            wide += static_cast<wchar_t>(static_cast<unsigned char>(byte));
        }
        if (generator.below(4) == 0) {
            wide.insert(generator.below(wide.size() + 1), 1, static_cast<wchar_t>(generator.bits()));
        }
        ASSERT_EQ(toBool(wide), streams::extractBool(toLowercase(wide))) << text;
    }
}

TEST(NumberMechanism, WideDoublesAreThoseOfStrtod) {
    static const std::string special[] = {"inf", "-infinity", "nan",   "nan(12)",          "0x1.8p3",
                                          "0x",  "0xg",       "1e400", "-1e400",           "1e-400",
                                          ".",   "-",         "e5",    "9007199254740993", "1.7976931348623157e308"};
    Generator generator;
    for (int i = 0; i < inputs; ++i) {
        static const std::string tails[] = {"",
                                            "",
                                            " 1",
                                            "x",
                                            "ab",
                                            std::string("\0"
                                                        "5",
                                                        2)};
        static const std::string heads[] = {"", "", "", " ", "\t\v", "-", "0x"};
        const std::string text = generator.oneOf(heads) +
                                 (generator.below(8) == 0 ? generator.oneOf(special) : generator.floatText()) +
                                 generator.oneOf(tails);
        const double expected = std::strtod(text.c_str(), nullptr);
        const double actual = toDouble(std::wstring(text.begin(), text.end()));
        ASSERT_EQ(std::bit_cast<std::uint64_t>(actual), std::bit_cast<std::uint64_t>(expected)) << text;
    }
}

TEST(NumberMechanism, WideUnsignedIntegersAreThoseOfStrtoul) {
    Generator generator;
    for (int i = 0; i < inputs; ++i) {
        static const std::string heads[] = {"", "", "", " \t", "-", "+", "0x", "0X", "-0x", "0", "00", "abc"};
        static const std::string tails[] = {"",
                                            "",
                                            "fF",
                                            "8",
                                            "g",
                                            " 1",
                                            std::string("\0"
                                                        "5",
                                                        2)};
        char hexadecimal[20];
        std::snprintf(hexadecimal, sizeof hexadecimal, "%lx", static_cast<unsigned long>(generator.integer()));
        const std::string text = generator.oneOf(heads) +
                                 (generator.below(2) == 0 ? hexadecimal : generator.integerText()) +
                                 generator.oneOf(tails);
        bool binary = false;  // newer C libraries read it
        for (std::size_t at = text.find('0'); at != std::string::npos; at = text.find('0', at + 1)) {
            binary = binary || (at + 1 < text.size() && (text[at + 1] == 'b' || text[at + 1] == 'B'));
        }
        if (binary) {
            continue;
        }
        const unsigned long expected = std::strtoul(text.c_str(), nullptr, 0);
        std::wstring wide;
        for (const char byte : text) {
            wide += static_cast<wchar_t>(static_cast<unsigned char>(byte));
        }
        ASSERT_EQ(toUnsignedLong(wide), expected) << text;
        ASSERT_EQ(toUnsignedShort(wide), static_cast<unsigned short>(expected)) << text;
    }
}

}  // namespace
