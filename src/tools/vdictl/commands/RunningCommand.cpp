#include <VDIFrameworkCommon/ProcessUtils.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "Command.h"
#include "Json.h"
#include "ProcessId.h"

namespace vdictl {

namespace {

using VDIFrameworkCommon::ProcessUtils;

void showRunning(const std::string& id, Context& context) {
    const auto pid = processIdFrom(id);
    const bool isRunning = pid ? ProcessUtils::isProcessRunning(*pid) : ProcessUtils::isProcessRunning(id);
    if (context.json) {
        nlohmann::ordered_json facts;
        if (pid) {
            facts["pid"] = *pid;
        } else {
            facts["id"] = id;
        }
        facts["running"] = isRunning;
        printJson(facts);
    } else {
        print(context.terminal.paint(isRunning ? Style::Good : Style::Bad, isRunning ? "running" : "not running") +
              '\n');
    }
    context.exitCode = isRunning ? exitYes : exitNo;
}

}  // namespace

void addRunning(CommandLine line, Context& context) {
    auto id = std::make_shared<std::string>();
    CommandLine command = line.add("running", "Tell whether a process or an application is running");
    addJsonOption(command, context);
    command.option("ID", *id, "Process id, or identifier of an application as org.example.App").required().note(" ");
    command.action([id, &context] { showRunning(*id, context); });
}

}  // namespace vdictl
