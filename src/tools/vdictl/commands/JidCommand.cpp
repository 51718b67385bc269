#include <VDIFrameworkCommon/IdentifierUtils.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "Command.h"
#include "Json.h"
#include "Report.h"

namespace vdictl {

namespace {

void showResult(const std::string& text, const std::string& result, const Context& context) {
    if (context.json) {
        printJson({{"text", text}, {"result", result}});
    } else {
        print(context.terminal.isTerminal() ? visible(result) + '\n' : result + '\n');
    }
}

void escape(const std::string& text, Context& context) {
    showResult(text, VDIFrameworkCommon::escapeJid(text), context);
    if (!VDIFrameworkCommon::isValidJid(text)) {
        complain("'" + visible(text) + "' is no valid JID: left as it is");
        context.exitCode = exitNo;
    }
}

void unescape(const std::string& text, const Context& context) {
    showResult(text, VDIFrameworkCommon::unescapeJid(text), context);
}

}  // namespace

void addJid(CommandLine line, Context& context) {
    auto text = std::make_shared<std::string>();
    CommandLine command = line.add("jid", "Escape or unescape the local part of a JID");
    command.requireCommand();
    const auto add = [&](const char* name, const char* description) {
        CommandLine operation = command.add(name, description);
        addJsonOption(operation, context);
        operation.option("TEXT", *text, "JID").required().note(" ");
        return operation;
    };
    add("escape", "Write what may not stand before the last @ as a backslash and two digits").action([text, &context] {
        escape(*text, context);
    });
    add("unescape", "Turn it back").action([text, &context] { unescape(*text, context); });
}

}  // namespace vdictl
