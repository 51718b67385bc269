// Every conversion of text gives what the converters and the character functions of the standard library give, over
// generated inputs. Where the two standard libraries differ, libc++ is what counts; the comparison is then made only in
// the builds that use it.

#include <VDIFrameworkCommon/StringConversion.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <string>

#include "support/ConverterOutcome.h"
#include "support/Random.h"

namespace {

using namespace VDIFrameworkCommon;
using streams::onLibcxx;
using streams::outcome;

constexpr int inputs = 150'000;

class Generator : public generated::Random {
public:
    std::string bytes() {
        static const std::string pieces[] = {"a",
                                             "plain text",
                                             "\xC3\xA4",
                                             "\xE2\x82\xAC",
                                             "\xF0\x9F\x98\x80",
                                             "\x7F",
                                             "\xC2\x80",
                                             "\xDF\xBF",
                                             "\xE0\xA0\x80",
                                             "\xEF\xBF\xBF",
                                             "\xED\x9F\xBF",
                                             "\xEE\x80\x80",
                                             "\xF0\x90\x80\x80",
                                             "\xF4\x8F\xBF\xBF",
                                             "\xEF\xBB\xBF",
                                             std::string(1, '\0')};
        static const std::string faults[] = {"\x80",
                                             "\xBF",
                                             "\xC0\x80",
                                             "\xC1\xBF",
                                             "\xC2",
                                             "\xE0\x80\x80",
                                             "\xE0\x9F\xBF",
                                             "\xE2\x82",
                                             "\xED\xA0\x80",
                                             "\xED\xBF\xBF",
                                             "\xF0\x80\x80\x80",
                                             "\xF0\x8F\xBF\xBF",
                                             "\xF4\x90\x80\x80",
                                             "\xF0\x9F\x98",
                                             "\xF5\x80\x80\x80",
                                             "\xFE",
                                             "\xFF",
                                             "\xF8\x88\x80\x80\x80"};
        std::string result;
        for (std::size_t count = below(below(8) == 0 ? 120 : 8); count != 0; --count) {
            result += oneOf(pieces);
        }
        switch (below(6)) {
            case 0:
                result.insert(below(result.size() + 1), oneOf(faults));
                break;
            case 1:
                result.resize(below(result.size() + 1));
                break;
            case 2:
                if (!result.empty()) {
                    result[below(result.size())] = static_cast<char>(bits());
                }
                break;
            default:
                break;
        }
        return result;
    }

    std::wstring wide() {
        constexpr std::uint32_t edges[] = {0,      0x41,   0x7F,   0x80,   0x7FF,   0x800,
                                           0xD7FF, 0xE000, 0xFEFF, 0xFFFF, 0x10000, 0x10FFFF};
        constexpr std::uint32_t faults[] = {0xD800,   0xDBFF,     0xDC00,     0xDFFF,
                                            0x110000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
        std::wstring result;
        for (std::size_t count = below(below(8) == 0 ? 300 : 12); count != 0; --count) {
            result +=
                static_cast<wchar_t>(below(3) == 0 ? oneOf(edges) : static_cast<std::uint32_t>(0x20 + below(0x5F)));
        }
        if (below(6) == 0) {
            result.insert(below(result.size() + 1), 1, static_cast<wchar_t>(oneOf(faults)));
        }
        return result;
    }
};

TEST(TextConversionMechanism, CaseIsMappedAsTheCLibraryMapsIt) {
    Generator generator;
    for (int i = 0; i < inputs; ++i) {
        std::string text(generator.below(50), '\0');
        std::string lower;
        std::string upper;
        for (char& byte : text) {
            byte = static_cast<char>(generator.bits());
            lower += static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
            upper += static_cast<char>(std::toupper(static_cast<unsigned char>(byte)));
        }
        ASSERT_EQ(toLowercase(text), lower);
        ASSERT_EQ(toUppercase(text), upper);
        std::wstring wide;
        std::wstring wideLower;
        for (const char byte : text) {
            const auto element = static_cast<wchar_t>(
                static_cast<unsigned char>(byte) +
                (generator.below(4) == 0 ? static_cast<std::uint32_t>(generator.bits()) << 8U : 0U));
            wide += element;
            wideLower +=
                static_cast<std::uint32_t>(element) <= 0xFF ? static_cast<wchar_t>(std::tolower(element)) : element;
        }
        ASSERT_EQ(toLowercase(wide), wideLower);
    }
}

// libstdc++'s converter accepts surrogates, drops truncated tails and has other texts, so invalid text is compared on
// libc++.
TEST(TextConversionMechanism, Utf8IsDecodedAsTheConverterDecodesIt) {
    Generator generator;
    int refused = 0;
    for (int i = 0; i < inputs; ++i) {
        const std::string bytes = generator.bytes();
        const auto actual = outcome([&] { return TXFStdWStringForStdString(bytes); });
        refused += actual.second.empty() ? 0 : 1;
        if (onLibcxx || actual.second.empty()) {
            ASSERT_EQ(actual, outcome([&] { return streams::Utf8().from_bytes(bytes); }))
                << testing::PrintToString(bytes);
        }
    }
    EXPECT_GT(refused, inputs / 20);
}

TEST(TextConversionMechanism, Utf8IsEncodedAsTheConverterEncodesIt) {
    Generator generator;
    int refused = 0;
    for (int i = 0; i < inputs; ++i) {
        const std::wstring text = generator.wide();
        const auto actual = outcome([&] { return TXFStdStringForStdWString(text); });
        refused += actual.second.empty() ? 0 : 1;
        if (onLibcxx || actual.second.empty()) {
            ASSERT_EQ(actual, outcome([&] { return streams::Utf8().to_bytes(text); })) << testing::PrintToString(text);
        }
    }
    EXPECT_GT(refused, inputs / 20);
}

TEST(TextConversionMechanism, TextIsReencodedAsTheConverterDoes) {
    Generator generator;
    for (int i = 0; i < inputs; ++i) {
        const std::wstring wide = generator.wide();
        const auto narrowed = outcome([&] { return TXFStdStringForStdWString(wide); });
        ASSERT_EQ(outcome([&] { return toString(wide); }), narrowed);
        // What is zero-terminated is taken up to its end.
        const std::wstring wideStart(wide.c_str());
        const auto narrowedStart = outcome([&] { return toString(wide.c_str()); });
        if (onLibcxx || narrowedStart.second.empty()) {
            ASSERT_EQ(narrowedStart, outcome([&] { return streams::Utf8().to_bytes(wideStart); }));
        }
        const std::string bytes = generator.bytes();
        const auto widened = outcome([&] { return TXFStdWStringForStdString(bytes); });
        ASSERT_EQ(outcome([&] { return toWideString(bytes); }), widened);
        const std::string start(bytes.c_str());
        const auto widenedStart = outcome([&] { return toWideString(bytes.c_str()); });
        if (onLibcxx || widenedStart.second.empty()) {
            ASSERT_EQ(widenedStart, outcome([&] { return streams::Utf8().from_bytes(start); }));
        }
    }
}

// All texts of one and two bytes, and those of three and four that a lead byte announces and whose bytes are at an
// edge.
TEST(TextConversionMechanism, EveryShortSequenceIsDecodedOrRefusedAsTheConverterDoes) {
    constexpr int edges[] = {0x00, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC2, 0xFF};
    const auto check = [](const std::string& bytes) {
        const auto actual = outcome([&] { return TXFStdWStringForStdString(bytes); });
        if (onLibcxx || actual.second.empty()) {
            EXPECT_EQ(actual, outcome([&] { return streams::Utf8().from_bytes(bytes); }))
                << testing::PrintToString(bytes);
        }
    };
    for (int first = 0; first < 0x100; ++first) {
        const std::string one(1, static_cast<char>(first));
        check(one);
        for (int second = 0; second < 0x100; ++second) {
            check(one + static_cast<char>(second));
        }
        for (const int second : edges) {
            for (const int third : edges) {
                const std::string three = one + static_cast<char>(second) + static_cast<char>(third);
                if (first >= 0xE0) {
                    check(three);
                }
                for (const int fourth : edges) {
                    if (first >= 0xF0) {
                        check(three + static_cast<char>(fourth));
                    }
                }
            }
        }
    }
}

// Whatever is decoded is encoded to the same bytes again, and every code point survives.
TEST(TextConversionMechanism, EveryCodePointSurvivesBothWays) {
    for (std::uint32_t point = 0; point <= 0x10FFFF; ++point) {
        if (point >= 0xD800 && point <= 0xDFFF) {
            continue;
        }
        const std::wstring text(1, static_cast<wchar_t>(point));
        const std::string bytes = TXFStdStringForStdWString(text);
        if (TXFStdWStringForStdString(bytes) != text) {
            FAIL() << point;
        }
    }
}

}  // namespace
