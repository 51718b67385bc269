#include <VDIFrameworkCommon/MessageUtils.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "support/RecordingLogger.h"

namespace {

using VDIFrameworkCommon::MessageBuilder;
using VDIFrameworkCommon::MessageParser;
using namespace std::string_literals;

using Fields = std::vector<std::string>;

template <typename... Values>
std::string built(const Values&... values) {
    MessageBuilder builder;
    (builder.append(values), ...);
    return builder.msg();
}

template <typename Value>
concept CanBeAppended = requires(MessageBuilder builder, Value value) {
    builder.append(value);
};
static_assert(CanBeAppended<unsigned int> && CanBeAppended<bool> && CanBeAppended<char*> &&
              CanBeAppended<std::nullptr_t>);
static_assert(!CanBeAppended<int> && !CanBeAppended<long> && !CanBeAppended<unsigned long> && !CanBeAppended<double>,
              "which number is meant must be said");

const recording::Record refusal{"MessageUtils",
                                DPL_ERROR,
                                "src/Common/src/MessageUtils.cpp",
                                0,
                                "append",
                                "The message to append contains the delims, it is invalid!"};

TEST(MessageBuilder, JoinsTheFields) {
    MessageBuilder builder;
    EXPECT_EQ(builder.msg(), "");
    builder.append("a");
    EXPECT_EQ(builder.msg(), "a");
    builder.append(7U);
    builder.append(true);
    EXPECT_EQ(builder.msg(), "a|7|true");
    EXPECT_EQ(MessageParser(builder.msg()).parseMsg(), (Fields{"a", "7", "true"}));
}

TEST(MessageBuilder, FormatsNumbersAndBooleans) {
    EXPECT_EQ(built(0U, 42U, 4294967295U), "0|42|4294967295");
    EXPECT_EQ(built(true, false), "true|false");
}

TEST(MessageBuilder, FormatsAnAddressAsASignedNumber) {
    EXPECT_EQ(built(reinterpret_cast<void*>(std::intptr_t{1234})), "1234");
    EXPECT_EQ(built(reinterpret_cast<void*>(std::intptr_t{-2})), "-2");
    EXPECT_EQ(built(reinterpret_cast<void*>(INTPTR_MIN)), "-9223372036854775808");
    int object = 0;
    EXPECT_EQ(built(&object), std::to_string(reinterpret_cast<std::intptr_t>(&object))) << "any object's address";
}

TEST(MessageBuilder, AppendsZeroForEveryNullPointer) {
    EXPECT_EQ(built(static_cast<void*>(nullptr)), "0");
    EXPECT_EQ(built(nullptr), "0");
    EXPECT_EQ(built(static_cast<const char*>(nullptr)), "0");
    EXPECT_EQ(built("a"s, nullptr, "b"s), "a|0|b");
}

TEST(MessageBuilder, TakesACharacterPointerForText) {
    char text[] = "text";
    char* const pointer = text;
    EXPECT_EQ(built("literal", text, pointer, "string"s), "literal|text|text|string");
}

TEST(MessageBuilder, TakesAPointerToAConstantForABoolean) {
    const int object = 0;
    EXPECT_EQ(built(&object), "true");
}

TEST(MessageBuilder, KeepsTextAsItIs) {
    EXPECT_EQ(built(" a\\ \n", "\xC3\xA4\xFF", "a\0b"s), " a\\ \n|\xC3\xA4\xFF|a\0b"s);
}

TEST(MessageBuilder, LeavesAnEmptyTextOut) {
    EXPECT_EQ(built("a", "", "b"), "a|b") << "the second field moves to the first place that is free";
    EXPECT_EQ(built(""s, ""), "");
    EXPECT_TRUE(recording::takeRecords().empty());
}

TEST(MessageBuilder, RefusesATextWithADelimiter) {
    MessageBuilder builder;
    builder.append("a");
    for (const std::string& field : {"x|y"s, "|"s, "|x"s, "x|"s, "x\0|"s}) {
        builder.append(field);
        EXPECT_EQ(recording::takeRecords(), std::vector{refusal});
        EXPECT_EQ(builder.msg(), "a");
    }
    builder.append("x|y");
    EXPECT_EQ(recording::takeRecords(), std::vector{refusal}) << "for a literal too";
    builder.append("b");
    EXPECT_EQ(builder.msg(), "a|b");
}

TEST(MessageBuilder, StartsAnewWhenCleared) {
    MessageBuilder builder;
    builder.append("a");
    builder.clear();
    EXPECT_EQ(builder.msg(), "");
    builder.append("z");
    EXPECT_EQ(builder.msg(), "z");
}

TEST(MessageParser, LeavesEmptyFieldsOut) {
    EXPECT_EQ(MessageParser("|a||b|").parseMsg(), (Fields{"a", "b"}));
    EXPECT_EQ(MessageParser("").parseMsg(), Fields{});
    EXPECT_EQ(MessageParser("|||").parseMsg(), Fields{});
    EXPECT_EQ(MessageParser("a").parseMsg(), (Fields{"a"}));
    EXPECT_EQ(MessageParser("a\0b|c"s).parseMsg(), (Fields{"a\0b"s, "c"}));
}

TEST(MessageParser, TakesEveryOtherCharacterForText) {
    for (int c = 1; c != 256; ++c) {
        const std::string field = "a"s + static_cast<char>(c) + "b";
        const Fields fields = c == '|' ? Fields{"a", "b", "c"} : Fields{field, "c"};
        EXPECT_EQ(MessageParser(field + "|c").parseMsg(), fields) << c;
    }
}

TEST(MessageParser, KeepsACopyOfTheMessage) {
    std::string message = "a|b";
    const MessageParser parser(message);
    message = "c";
    EXPECT_EQ(parser.parseMsg(), (Fields{"a", "b"}));
    EXPECT_EQ(parser.parseMsg(), (Fields{"a", "b"})) << "as often as it is asked";
}

}  // namespace
