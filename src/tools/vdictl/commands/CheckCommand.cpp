#include <VDIFrameworkCommon/IdentifierUtils.h>

#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "Command.h"
#include "Json.h"

namespace vdictl {

namespace {

using Check = std::function<bool(const std::string& text)>;

const std::map<std::string, Check>& checks() {
    static const std::map<std::string, Check> known{
        {"jid", [](const std::string& text) { return VDIFrameworkCommon::isValidJid(text); }},
        {"meeting", [](const std::string& text) { return VDIFrameworkCommon::isValidGlintMeetingNumber(text); }},
        {"sip", [](const std::string& text) { return VDIFrameworkCommon::isValidSipUri(text); }},
        {"uuid", [](const std::string& text) { return VDIFrameworkCommon::isValidUUid(text); }}};
    return known;
}

struct CheckOptions {
    std::string kind;
    std::string text;
};

void check(const CheckOptions& options, Context& context) {
    const bool isValid = checks().at(options.kind)(options.text);
    if (context.json) {
        printJson({{"kind", options.kind}, {"text", options.text}, {"valid", isValid}});
    } else {
        print(context.terminal.paint(isValid ? Style::Good : Style::Bad, isValid ? "valid" : "not valid") + '\n');
    }
    context.exitCode = isValid ? exitYes : exitNo;
}

}  // namespace

void addCheck(CommandLine line, Context& context) {
    auto options = std::make_shared<CheckOptions>();
    CommandLine command = line.add("check", "Check an address, a SIP URI, a UUID or a meeting number");
    addJsonOption(command, context);
    command.option("KIND", options->kind, "jid, sip, uuid or meeting")
        .required()
        .oneOf({"jid", "sip", "uuid", "meeting"})
        .note(" ");
    command.option("TEXT", options->text, "What is checked, as it is").required().note(" ");
    command.action([options, &context] { check(*options, context); });
}

}  // namespace vdictl
