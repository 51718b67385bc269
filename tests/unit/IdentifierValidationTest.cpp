#include <VDIFrameworkCommon/IdentifierUtils.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using namespace VDIFrameworkCommon;
using namespace std::string_literals;

const std::string uuid = "123e4567-e89b-12d3-a456-426614174000";

std::string with(std::string text, std::size_t at, char c) {
    text.at(at) = c;
    return text;
}

TEST(IsValidUUid, TakesTheVersionsOneToFive) {
    for (char version = '0'; version <= '9'; ++version) {
        EXPECT_EQ(isValidUUid(with(uuid, 14, version)), version >= '1' && version <= '5') << version;
    }
    EXPECT_FALSE(isValidUUid(with(uuid, 14, 'a')));
}

TEST(IsValidUUid, TakesUpperCaseInTheVariantOnly) {
    EXPECT_TRUE(isValidUUid(uuid));
    EXPECT_TRUE(isValidUUid("123e4567-e89b-12d3-A456-426614174000"));
    EXPECT_FALSE(isValidUUid("123e4567-E89B-12d3-a456-426614174000"));
    EXPECT_FALSE(isValidUUid("123e4567-e89b-12d3-aA56-426614174000"));
}

TEST(IsValidUUid, TakesSixVariants) {
    for (int c = 0; c != 256; ++c) {
        const bool variant = c != 0 && std::string("89aAbB").find(static_cast<char>(c)) != std::string::npos;
        EXPECT_EQ(isValidUUid(with(uuid, 19, static_cast<char>(c))), variant) << c;
    }
}

TEST(IsValidUUid, MatchesTheWholeText) {
    EXPECT_FALSE(isValidUUid(" " + uuid));
    EXPECT_FALSE(isValidUUid(uuid + " "));
    EXPECT_FALSE(isValidUUid(uuid + "\n"));
    EXPECT_FALSE(isValidUUid(uuid + "\0"s));
    EXPECT_FALSE(isValidUUid("{" + uuid + "}"));
    EXPECT_FALSE(isValidUUid(uuid.substr(1)));
    EXPECT_FALSE(isValidUUid(""));
}

TEST(IsValidUUid, RefusesEveryOtherCharacterAtEveryPlace) {
    for (std::size_t at = 0; at != uuid.size(); ++at) {
        for (const char c : "gGxX/:@`\xE9\xFF\n"s + '\0') {
            EXPECT_FALSE(isValidUUid(with(uuid, at, c))) << at << c;
        }
        EXPECT_EQ(isValidUUid(with(uuid, at, '-')), uuid[at] == '-') << at;
    }
}

TEST(IsValidGlintMeetingNumber, IsNineAsciiDigits) {
    EXPECT_TRUE(isValidGlintMeetingNumber("123456789"));
    EXPECT_TRUE(isValidGlintMeetingNumber("000000000"));
    EXPECT_FALSE(isValidGlintMeetingNumber("12345678"));
    EXPECT_FALSE(isValidGlintMeetingNumber("1234567890"));
    EXPECT_FALSE(isValidGlintMeetingNumber(" 123456789"));
    EXPECT_FALSE(isValidGlintMeetingNumber("123456789\n"));
    EXPECT_FALSE(isValidGlintMeetingNumber("12345678\0"s));
    EXPECT_FALSE(isValidGlintMeetingNumber(""));
    for (std::size_t at = 0; at != 9; ++at) {
        for (const char c : "/:a\xB2\xFF"s) {
            EXPECT_FALSE(isValidGlintMeetingNumber(with("123456789", at, c))) << at << c;
        }
    }
}

TEST(IsValidSipUri, TakesAUserAndAHost) {
    EXPECT_TRUE(isValidSipUri("alice@ex"));
    EXPECT_TRUE(isValidSipUri("o'neil@ex.cqm.")) << "the host may end with a dot";
    EXPECT_TRUE(isValidSipUri("a@1-2.x-y"));
    EXPECT_TRUE(isValidSipUri("a@ex.-y"));
}

TEST(IsValidSipUri, WantsOneAtWithSomethingOnEitherSide) {
    for (const char* const uri :
         {"", "@", "@ex", "alice@", "a@b@c", "alice", "@@", "alice@@ex", "alice@ex@", "@alice@ex"}) {
        EXPECT_FALSE(isValidSipUri(uri)) << uri;
    }
}

TEST(IsValidSipUri, LimitsTheUserTo47Bytes) {
    EXPECT_TRUE(isValidSipUri(std::string(47, 'a') + "@ex"));
    EXPECT_FALSE(isValidSipUri(std::string(48, 'a') + "@ex"));
}

TEST(IsValidSipUri, TakesLettersDigitsAndSixteenMarksInTheUser) {
    const std::string marks = "!$%&*_+~-=?\\',./";
    ASSERT_EQ(marks.size(), 16U);
    for (int c = 0; c != 256; ++c) {
        const char character = static_cast<char>(c);
        const bool letterOrDigit = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        const bool expected = letterOrDigit || marks.find(character) != std::string::npos;
        EXPECT_EQ(isValidSipUri("x"s + character + "x@ex"), expected) << c;
    }
}

TEST(IsValidSipUri, WantsAHostOfTwoBytes) {
    EXPECT_FALSE(isValidSipUri("alice@e"));
    EXPECT_TRUE(isValidSipUri("alice@e."));
}

TEST(IsValidSipUri, ChecksTheEndsAndTheDotsOfTheHost) {
    for (const char* const uri :
         {"alice@-ex", "alice@ex-", "alice@.ex", "alice@ex..cqm", "alice@ex..", "alice@..", "alice@--"}) {
        EXPECT_FALSE(isValidSipUri(uri)) << uri;
    }
}

TEST(IsValidSipUri, TakesLettersDigitsHyphensAndDotsInTheHost) {
    for (int c = 0; c != 256; ++c) {
        const bool letterOrDigit = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        EXPECT_EQ(isValidSipUri("alice@x"s + static_cast<char>(c) + "x"), letterOrDigit || c == '-' || c == '.') << c;
    }
    EXPECT_FALSE(isValidSipUri("al ice@ex"));
}

TEST(ExtractUsernameFromUri, EndsAtTheLastAt) {
    EXPECT_EQ(extractUsernameFromUri("alice@ex.cqm"), "alice");
    EXPECT_EQ(extractUsernameFromUri("a@b@c"), "a@b");
    EXPECT_EQ(extractUsernameFromUri("alice"), "alice");
    EXPECT_EQ(extractUsernameFromUri("@ex"), "");
    EXPECT_EQ(extractUsernameFromUri(""), "");
    EXPECT_EQ(extractUsernameFromUri("a\0b@c"s), "a\0b"s);
}

}  // namespace
