// Functions of text and of identifiers: each that is listed has the exact signature, each that is left out on purpose
// stays out. The compiler checks it.

#include <VDIFrameworkCommon/IdentifierUtils.h>
#include <VDIFrameworkCommon/MessageUtils.h>
#include <VDIFrameworkCommon/StringUtils.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/Overloads.h"

namespace {

using namespace VDIFrameworkCommon;
using overloads::has;

using Narrow = const std::string&;
using Wide = const std::wstring&;

template <typename Text>
concept HasStartsWith = requires(const Text& text) {
    startsWith(text, text);
};
static_assert(HasStartsWith<std::string> && !HasStartsWith<std::wstring>);

template <typename Text, typename Other>
concept Mixes = requires(Text text, Other other) {
    caseInsensitiveStringCompare(text, other);
}
|| requires(Text text, Other other) {
    caseInsensitiveStringEquals(text, other);
}
|| requires(Text text, Other other) {
    caseInsensitiveFind(text, other);
}
|| requires(Text text, Other other) {
    caseInsensitiveRFind(text, other);
}
|| requires(Text text, Other other) {
    endsWith(text, other);
}
|| requires(Text text, Other other) {
    replaceAll(text, other, other);
}
|| requires(Text text, Other other, std::vector<Text> tokens) {
    split(text, tokens, other);
};
static_assert(Mixes<std::string, std::string> && Mixes<std::wstring, std::wstring>);
static_assert(!Mixes<std::string, std::wstring> && !Mixes<std::wstring, std::string>, "no text is converted unasked");

template <typename Text>
concept TrimsInPlaceWhatIsConstant = requires(const Text& text) {
    trim_safe(text);
}
|| requires(const Text& text) {
    trimleft_safe(text);
}
|| requires(const Text& text) {
    trimright_safe(text);
}
|| requires(const Text& text) {
    clearBlanks(text);
};
static_assert(!TrimsInPlaceWhatIsConstant<std::string> && !TrimsInPlaceWhatIsConstant<std::wstring>);

TEST(TextOverloads, AreThoseThatHostsCall) {
    EXPECT_TRUE((has<bool, char>(&isWhiteSpace)));
    EXPECT_TRUE((has<bool, wchar_t>(&isWhiteSpace)));
    EXPECT_TRUE((has<int, std::string, std::string>(&caseInsensitiveStringCompare)));
    EXPECT_TRUE((has<int, std::wstring, std::wstring>(&caseInsensitiveStringCompare)));
    EXPECT_TRUE((has<bool, std::string, std::string>(&caseInsensitiveStringEquals)));
    EXPECT_TRUE((has<bool, std::wstring, std::wstring>(&caseInsensitiveStringEquals)));
    EXPECT_TRUE((has<std::size_t, Narrow, Narrow>(&caseInsensitiveFind)));
    EXPECT_TRUE((has<std::size_t, Wide, Wide>(&caseInsensitiveFind)));
    EXPECT_TRUE((has<std::size_t, Narrow, Narrow>(&caseInsensitiveRFind)));
    EXPECT_TRUE((has<std::size_t, Wide, Wide>(&caseInsensitiveRFind)));
    EXPECT_TRUE((has<bool, Narrow, Narrow>(&startsWith)));
    EXPECT_TRUE((has<bool, Narrow, Narrow>(&endsWith)));
    EXPECT_TRUE((has<bool, Wide, Wide>(&endsWith)));
    EXPECT_TRUE((has<void, std::string&, std::string, std::string>(&replaceAll)));
    EXPECT_TRUE((has<void, std::wstring&, Wide, Wide>(&replaceAll)));
    EXPECT_TRUE((has<void, std::string&, char, char>(&replaceAll)));
    EXPECT_TRUE((has<void, std::wstring&, wchar_t, wchar_t>(&replaceAll)));
    EXPECT_TRUE((has<void, Narrow, std::vector<std::string>&, Narrow>(&split)));
    EXPECT_TRUE((has<void, Wide, std::vector<std::wstring>&, Wide>(&split)));
}

TEST(TrimmingOverloads, AreThoseThatHostsCall) {
    EXPECT_TRUE((has<void, std::string&>(&clearBlanks)));
    EXPECT_TRUE((has<void, std::wstring&>(&clearBlanks)));
    EXPECT_TRUE((has<void, std::string&>(&trimleft_safe)));
    EXPECT_TRUE((has<void, std::wstring&>(&trimleft_safe)));
    EXPECT_TRUE((has<void, std::string&>(&trimright_safe)));
    EXPECT_TRUE((has<void, std::wstring&>(&trimright_safe)));
    EXPECT_TRUE((has<void, std::string&>(&trim_safe)));
    EXPECT_TRUE((has<void, std::wstring&>(&trim_safe)));
    EXPECT_TRUE((has<std::string, Narrow>(&trimleft)));
    EXPECT_TRUE((has<std::wstring, Wide>(&trimleft)));
    EXPECT_TRUE((has<std::string, Narrow>(&trimright)));
    EXPECT_TRUE((has<std::wstring, Wide>(&trimright)));
    EXPECT_TRUE((has<std::string, Narrow>(&trim)));
    EXPECT_TRUE((has<std::wstring, Wide>(&trim)));
}

template <typename Text>
concept ValidatesSipUris = requires(Text text) {
    isValidSipUri(text);
};
static_assert(ValidatesSipUris<std::string> && !ValidatesSipUris<std::wstring>);

template <typename Text>
concept ValidatesUuids = requires(Text text) {
    isValidUUid(text);
};
static_assert(ValidatesUuids<std::string> && !ValidatesUuids<std::wstring>);

template <typename Text>
concept ValidatesMeetingNumbers = requires(Text text) {
    isValidGlintMeetingNumber(text);
};
static_assert(ValidatesMeetingNumbers<std::string> && !ValidatesMeetingNumbers<std::wstring>);

template <typename Text>
concept ExtractsUsernames = requires(Text text) {
    extractUsernameFromUri(text);
};
static_assert(ExtractsUsernames<std::string> && !ExtractsUsernames<std::wstring>);

template <typename Text>
concept SanitizesPhoneNumbers = requires(Text text) {
    sanitizePhoneNumber(text);
};
static_assert(SanitizesPhoneNumbers<std::string&> && !SanitizesPhoneNumbers<std::wstring&>);
static_assert(!SanitizesPhoneNumbers<const std::string&>);

template <typename Text>
concept TrimsHttpHeads = requires(Text text) {
    trimHttpHead(text);
};
static_assert(TrimsHttpHeads<std::string> && !TrimsHttpHeads<std::wstring>);

template <typename Text>
concept HasDigits = requires(Text text) {
    isValidDigit(text);
}
|| requires(Text text) {
    convertToNumericValue(text);
};
static_assert(!HasDigits<std::string> && !HasDigits<std::wstring>, "of a character, not of a text");

TEST(IdentifierOverloads, AreThoseThatHostsCall) {
    EXPECT_TRUE((has<bool, wchar_t>(&isValidDigit)));
    EXPECT_TRUE((has<bool, std::string>(&isValidSipUri)));
    EXPECT_TRUE((has<bool, Narrow>(&isValidUUid)));
    EXPECT_TRUE((has<bool, Narrow>(&isValidGlintMeetingNumber)));
    EXPECT_TRUE((has<std::string, Narrow>(&extractUsernameFromUri)));
    EXPECT_TRUE((has<void, std::string&>(&sanitizePhoneNumber)));
    EXPECT_TRUE((has<char, char>(&convertToNumericValue)));
    EXPECT_TRUE((has<bool, Narrow>(&isValidJid)));
    EXPECT_TRUE((has<bool, Wide>(&isValidJid)));
    EXPECT_TRUE((has<std::string, Narrow>(&escapeJid)));
    EXPECT_TRUE((has<std::wstring, Wide>(&escapeJid)));
    EXPECT_TRUE((has<std::string, Narrow>(&unescapeJid)));
    EXPECT_TRUE((has<std::wstring, Wide>(&unescapeJid)));
    EXPECT_TRUE((has<std::string, Narrow>(&trimHttpHead)));
    EXPECT_TRUE((has<std::string, Narrow>(&trimUrl)));
    EXPECT_TRUE((has<std::wstring, Wide>(&trimUrl)));
}

template <typename Text>
concept MakesMessages = requires(MessageBuilder builder, Text text) {
    builder.append(text);
}
|| requires(Text text) {
    MessageParser(text);
};
static_assert(MakesMessages<std::string> && !MakesMessages<std::wstring>, "messages are narrow");

TEST(MessageOverloads, AreThoseThatHostsCall) {
    EXPECT_NE(static_cast<void (MessageBuilder::*)(std::string const&)>(&MessageBuilder::append), nullptr);
    EXPECT_NE(static_cast<void (MessageBuilder::*)(unsigned int)>(&MessageBuilder::append), nullptr);
    EXPECT_NE(static_cast<void (MessageBuilder::*)(bool)>(&MessageBuilder::append), nullptr);
    EXPECT_NE(static_cast<void (MessageBuilder::*)(void*)>(&MessageBuilder::append), nullptr);
    EXPECT_NE(static_cast<void (MessageBuilder::*)(const char*)>(&MessageBuilder::append), nullptr);
    EXPECT_NE(static_cast<void (MessageBuilder::*)(std::nullptr_t)>(&MessageBuilder::append), nullptr);
    EXPECT_TRUE((std::is_same_v<decltype(std::declval<MessageBuilder>().msg()), std::string>));
    EXPECT_TRUE((std::is_same_v<decltype(std::declval<MessageParser>().parseMsg()), std::vector<std::string>>));
    EXPECT_TRUE((std::is_constructible_v<MessageParser, std::string const&>));
    EXPECT_FALSE((std::is_default_constructible_v<MessageParser>));
}

}  // namespace
