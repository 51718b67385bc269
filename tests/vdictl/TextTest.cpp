// vdictl check, jid and message: identifiers and messages as agents take them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "vdictl/ToolProgram.h"

namespace {

using tool::facts;
using tool::run;

TEST(VdictlCheck, SaysYesAndNo) {
    const struct {
        const char* kind;
        const char* text;
        bool valid;
    } cases[] = {{"jid", "a@b.c", true},
                 {"jid", "a@@b.c", false},
                 {"sip", "alice@ex", true},
                 {"sip", "alice@e", false},
                 {"uuid", "123e4567-e89b-12d3-a456-426614174000", true},
                 {"uuid", "123e4567-E89B-12d3-a456-426614174000", false},
                 {"meeting", "123456789", true},
                 {"meeting", " 123456789", false},
                 {"meeting", "", false}};
    for (const auto& [kind, text, valid] : cases) {
        const auto result = run({"check", kind, text});
        EXPECT_EQ(result.exitCode, valid ? 0 : 1) << kind << ' ' << text;
        EXPECT_EQ(result.output, valid ? "valid\n" : "not valid\n");
        EXPECT_EQ(result.errors, "");
    }
}

TEST(VdictlCheck, PrintsItsFacts) {
    const nlohmann::json expected{{"kind", "jid"}, {"text", "a b@c.d"}, {"valid", true}};
    EXPECT_EQ(facts({"check", "jid", "a b@c.d"}), expected);
    EXPECT_EQ(facts({"check", "sip", "x"}, 1)["valid"], false);
}

TEST(VdictlCheck, RefusesOtherKinds) {
    EXPECT_EQ(run({"check", "phone", "1"}).exitCode, 2);
    EXPECT_EQ(run({"check", "jid"}).exitCode, 2);
    EXPECT_EQ(run({"check"}).exitCode, 2);
}

TEST(VdictlCheck, TakesATextThatLooksLikeAnOptionAfterDashes) {
    EXPECT_EQ(run({"check", "sip", "--", "-a@ex"}).exitCode, 0);
}

TEST(VdictlJid, EscapesTheLocalPart) {
    const auto result = run({"jid", "escape", "o'b c@d.ef"});
    EXPECT_EQ(result.output, "o\\27b\\20c@d.ef\n");
    EXPECT_EQ(result.exitCode, 0);
    const nlohmann::json expected{{"text", "a@b@c.de"}, {"result", "a\\40b@c.de"}};
    EXPECT_EQ(facts({"jid", "escape", "a@b@c.de"}), expected);
}

TEST(VdictlJid, TellsThatATextIsNoJid) {
    const auto result = run({"jid", "escape", "not a jid"});
    EXPECT_EQ(result.output, "not a jid\n");
    EXPECT_EQ(result.errors, "vdictl: 'not a jid' is no valid JID: left as it is\n");
    EXPECT_EQ(result.exitCode, 1);
}

TEST(VdictlJid, UnescapesAnywhere) {
    EXPECT_EQ(run({"jid", "unescape", "o\\27b\\20c@d.ef"}).output, "o'b c@d.ef\n");
    EXPECT_EQ(run({"jid", "unescape", "a\\5c20b"}).output, "a\\20b\n");
    EXPECT_EQ(run({"jid", "unescape", "nothing"}).exitCode, 0);
}

TEST(VdictlJid, PrintsAnyBytes) {
    EXPECT_EQ(run({"jid", "unescape", "\xFF\x01"}).output, "\xFF\x01\n") << "into a pipe as they are";
    EXPECT_EQ(run({.arguments = {"jid", "unescape", "\xFF\x01\\"}, .input = {}, .environment = {}, .onTerminal = true})
                  .output,
              "\\xff\\x01\\\r\n")
        << "to a terminal so that they do nothing to it";
    EXPECT_EQ(facts({"jid", "unescape", "\xFF"})["result"], "\xEF\xBF\xBD");
}

TEST(VdictlMessage, JoinsFields) {
    const auto result = run({"message", "build", "ping", "two words", "-"});
    EXPECT_EQ(result.output, "ping|two words|-\n");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(facts({"message", "build", "a", "b"})["message"], "a|b");
}

TEST(VdictlMessage, TellsWhatItLeavesOut) {
    const auto result = run({"message", "build", "a", "x|y", "", "b"});
    EXPECT_EQ(result.output, "a|b\n");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.errors,
              "vdictl: field 2 'x|y' holds a '|': left out, so the fields after it move one place to the left\n"
              "vdictl: field 3 '' is empty: left out, so the fields after it move one place to the left\n");
    const auto asFacts = tool::parsed(run({"message", "build", "--json", "", "b"}).output);
    const nlohmann::json expected{{"message", "b"}, {"leftOut", {{{"position", 1}, {"reason", "is empty"}}}}};
    EXPECT_EQ(asFacts, expected);
}

TEST(VdictlMessage, TakesOneApart) {
    const auto result = run({"message", "parse", "|a||two words|"});
    EXPECT_EQ(result.output, "a\ntwo words\n");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(run({"message", "parse", ""}).output, "");
    EXPECT_EQ(facts({"message", "parse", "a|b"})["fields"], (std::vector<std::string>{"a", "b"}));
}

TEST(VdictlMessage, ReadsOneFromStandardInput) {
    EXPECT_EQ(run({{"message", "parse", "-"}, "ok|ping\n", {}}).output, "ok\nping\n");
    const std::string withZero("a\0b|c", 5);
    EXPECT_EQ(run({{"message", "parse", "-"}, withZero, {}}).output, std::string("a\0b\nc\n", 6));
}

}  // namespace
