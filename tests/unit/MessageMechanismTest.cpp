#include <VDIFrameworkCommon/MessageUtils.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/GeneratedText.h"
#include "support/RecordingLogger.h"

/// Messages against the steps that define them, written out one by one, over generated fields and texts.

namespace {

using namespace VDIFrameworkCommon;
using namespace std::string_view_literals;

constexpr int inputs = 100000;

// The message with the field appended.
std::string mechanicalAppend(const std::string& message, const std::string& field) {
    if (field.empty() || field.find("|") != std::string::npos) {
        return message;
    }
    return message.empty() ? field : message + "|" + field;
}

template <typename Value>
std::string streamed(Value value) {
    std::ostringstream stream;
    stream << std::boolalpha << value;
    return stream.str();
}

// Appends a generated value in one of the ways that there are. Returns what the field should be.
std::string appendAny(MessageBuilder& builder, generated::Source& source) {
    const auto number = static_cast<unsigned int>(source.below(0x100000000) >> source.below(32));
    switch (source.below(7)) {
        case 0:
            builder.append(number);
            return streamed(number);
        case 1:
            builder.append(number % 2 == 0);
            return streamed(number % 2 == 0);
        case 2: {
            const auto address = static_cast<long long>((number * 0x100000001ULL) ^ (0 - source.below(2)));
            builder.append(reinterpret_cast<void*>(address));
            return streamed(address);
        }
        case 3:
            builder.append(nullptr);
            return "0";
        case 4: {
            const std::string text = source.text("ab |\0"sv, 20);
            builder.append(text.c_str());
            return text.c_str();
        }
        default: {
            std::string text = source.text("ab |\0\xFF"sv, source.below(100) == 0 ? 3000 : 20);
            builder.append(text);
            return text;
        }
    }
}

TEST(MessageMechanism, MessageBuilderAndParser) {
    generated::Source source(8);
    MessageBuilder builder;
    for (int i = 0; i != inputs; ++i) {
        builder.clear();
        std::string expected;
        std::vector<std::string> accepted;
        std::size_t refused = 0;
        for (std::size_t left = source.below(10); left != 0; --left) {
            const std::string field = appendAny(builder, source);
            const bool hasDelimiter = field.find('|') != std::string::npos;
            refused += hasDelimiter ? 1 : 0;
            if (!field.empty() && !hasDelimiter) {
                accepted.push_back(field);
            }
            expected = mechanicalAppend(expected, field);
        }
        ASSERT_EQ(builder.msg(), expected) << i;
        ASSERT_EQ(MessageParser(expected).parseMsg(), accepted) << i;
        ASSERT_EQ(recording::takeRecords().size(), refused) << i;
    }
}

TEST(MessageMechanism, MessageParserTakesAnyText) {
    generated::Source source(9);
    for (int i = 0; i != inputs; ++i) {
        const std::string message = source.text("a|\0\xFF"sv, 40);
        std::vector<std::string> expected;
        std::istringstream stream(message);
        for (std::string field; std::getline(stream, field, '|');) {
            if (!field.empty()) {
                expected.push_back(field);
            }
        }
        ASSERT_EQ(MessageParser(message).parseMsg(), expected) << i;
    }
}

}  // namespace
