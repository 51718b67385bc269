#include <VDIFrameworkCommon/MessageUtils.h>

#include <cstddef>
#include <iostream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Command.h"
#include "Json.h"
#include "Report.h"

namespace vdictl {

namespace {

using VDIFrameworkCommon::MessageBuilder;
using VDIFrameworkCommon::MessageParser;

std::string shown(const std::string& text, const Context& context) {
    return context.terminal.isTerminal() ? visible(text) : text;
}

const char* reasonToLeaveOut(const std::string& field) {
    return field.empty() ? "is empty" : "holds a '|'";
}

void build(const std::vector<std::string>& fields, Context& context) {
    MessageBuilder message;
    auto leftOut = nlohmann::ordered_json::array();
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const std::string before = message.msg();
        message.append(fields[i]);
        if (message.msg() == before) {
            leftOut.push_back({{"position", i + 1}, {"reason", reasonToLeaveOut(fields[i])}});
            complain("field " + std::to_string(i + 1) + " '" + visible(fields[i]) + "' " + reasonToLeaveOut(fields[i]) +
                     ": left out, so the fields after it move one place to the left");
            context.exitCode = exitNo;
        }
    }
    if (context.json) {
        printJson({{"message", message.msg()}, {"leftOut", leftOut}});
    } else {
        print(shown(message.msg(), context) + '\n');
    }
}

// "-" stands for standard input, of which a line end at the end is no part.
std::string messageFrom(const std::string& argument) {
    if (argument != "-") {
        return argument;
    }
    std::string text{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
    if (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

void parse(const std::string& argument, const Context& context) {
    const std::vector<std::string> fields = MessageParser(messageFrom(argument)).parseMsg();
    if (context.json) {
        printJson({{"fields", fields}});
        return;
    }
    for (const std::string& field : fields) {
        print(shown(field, context) + '\n');
    }
}

}  // namespace

void addMessage(CommandLine line, Context& context) {
    CommandLine command = line.add("message", "Build or take apart a message of fields joined by |");
    command.requireCommand();

    auto fields = std::make_shared<std::vector<std::string>>();
    CommandLine building = command.add("build", "Join fields");
    addJsonOption(building, context);
    building.option("FIELD", *fields, "Fields, in order; - stands for itself").required().note("...");
    building.action([fields, &context] { build(*fields, context); });

    auto message = std::make_shared<std::string>();
    CommandLine parsing = command.add("parse", "Show the fields, a line each");
    addJsonOption(parsing, context);
    parsing.option("MESSAGE", *message, "Message; - for standard input").required().note(" ");
    parsing.action([message, &context] { parse(*message, context); });
}

}  // namespace vdictl
