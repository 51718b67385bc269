#include <VDIFrameworkCommon/ProcessUtils.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "Command.h"
#include "Report.h"

namespace vdictl {

namespace {

using VDIFrameworkCommon::ProcessUtils;

using namespace std::chrono_literals;

constexpr auto pause = 20ms;

struct TerminateOptions {
    std::string id;
    unsigned int timeout = 5000;  // milliseconds
};

bool endsWithin(const std::string& id, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (ProcessUtils::isProcessRunning(id)) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(pause);
    }
    return true;
}

void terminate(const TerminateOptions& options, Context& context) {
    const std::string object = "application '" + visible(options.id) + "'";
    if (!ProcessUtils::isProcessRunning(options.id)) {
        complain(object +
                 ": not running, or unknown: an application is called by its desktop entry, as org.example.App");
        context.exitCode = exitNo;
        return;
    }
    ProcessUtils::terminateProcess(options.id);
    if (!endsWithin(options.id, std::chrono::milliseconds(options.timeout))) {
        throw Failure(object, "terminate", "still running after " + std::to_string(options.timeout) + " ms",
                      "it may have been started again, or be held up in the system");
    }
}

}  // namespace

void addTerminate(CommandLine line, Context& context) {
    auto options = std::make_shared<TerminateOptions>();
    CommandLine command = line.add("terminate", "Force every process of an application to end, without any clean-up");
    command.option("-t,--timeout", options->timeout, "How many milliseconds to wait for the end; by default 5000")
        .type("MS");
    command.option("ID", options->id, "Identifier of an application as org.example.App").required().note(" ");
    command.action([options, &context] { terminate(*options, context); });
}

}  // namespace vdictl
