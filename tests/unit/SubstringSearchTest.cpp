#include "SubstringSearch.h"

#include <VDIFrameworkCommon/StringUtils.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "support/GeneratedText.h"

/// The search on texts that repeat themselves, on which the plain way is given up.

namespace {

using namespace std::string_view_literals;
using VDIFrameworkCommon::notFound;

constexpr std::string_view letters = "ab"sv;

// The word of `size` letters that the low bits of `number` spell.
std::string word(std::size_t size, unsigned number) {
    std::string result(size, 'a');
    for (char& letter : result) {
        letter = letters[number & 1U];
        number >>= 1U;
    }
    return result;
}

// As long as is wanted, perhaps with the last repetition cut.
std::string repeated(const std::string& part, std::size_t size) {
    std::string result;
    while (result.size() < size) {
        result += part;
    }
    result.resize(size);
    return result;
}

TEST(TwoWaySearch, FindsEveryShortPatternInEveryShortText) {
    constexpr std::size_t longestPattern = 6;
    constexpr std::size_t textSize = 12;
    for (std::size_t size = 1; size <= longestPattern; ++size) {
        for (unsigned i = 0; i != 1U << size; ++i) {
            const std::string pattern = word(size, i);
            for (unsigned j = 0; j != 1U << textSize; ++j) {
                const std::string text = word(textSize, j);
                ASSERT_EQ(VDIFrameworkCommon::search::twoWay(std::string_view(text), std::string_view(pattern), 0),
                          text.find(pattern))
                    << pattern << " in " << text;
            }
        }
    }
}

TEST(TwoWaySearch, FindsPatternsThatNearlyRepeatThemselves) {
    generated::Source source(1);
    for (int i = 0; i != 100000; ++i) {
        const std::string part = word(1 + source.below(5), static_cast<unsigned>(source.below(32)));
        const std::string pattern = source.disturbed(repeated(part, 2 + source.below(20)), letters);
        std::string text;
        for (std::size_t pieces = source.below(6); pieces != 0; --pieces) {
            text += source.disturbed(source.below(2) == 0 ? pattern : repeated(part, source.below(40)), letters);
        }
        const std::size_t from = source.below(text.size() + 1);
        ASSERT_EQ(VDIFrameworkCommon::search::twoWay(std::string_view(text), std::string_view(pattern), from),
                  pattern.empty() ? from : text.find(pattern, from))
            << pattern << " in " << text << " from " << from;
    }
}

TEST(SubstringSearch, FindsWhatFollowsTheLastPlaceThatThePlainWayLookedAt) {
    for (const std::size_t size : {64U, 255U, 256U, 257U, 1000U}) {
        const std::string needle = std::string(size, 'a') + 'b';
        for (std::size_t before = 0; before != 300; ++before) {
            const std::string haystack = std::string(before, 'a') + needle;
            EXPECT_EQ(VDIFrameworkCommon::caseInsensitiveFind(haystack, needle), before) << size;
        }
    }
}

TEST(SubstringSearch, FindsLongNeedlesInTextsThatNearlyRepeatThem) {
    generated::Source source(2);
    for (int i = 0; i != 20000; ++i) {
        const std::string part = word(1 + source.below(6), static_cast<unsigned>(source.below(64)));
        const std::string needle = source.disturbed(repeated(part, 40 + source.below(80)), letters);
        std::string haystack;
        for (std::size_t pieces = source.below(8); pieces != 0; --pieces) {
            haystack += source.disturbed(source.below(2) == 0 ? needle : repeated(part, source.below(200)), letters);
        }
        ASSERT_EQ(VDIFrameworkCommon::caseInsensitiveFind(haystack, needle), haystack.find(needle)) << i;
        ASSERT_EQ(VDIFrameworkCommon::caseInsensitiveRFind(haystack, needle), haystack.rfind(needle)) << i;
    }
}

}  // namespace
