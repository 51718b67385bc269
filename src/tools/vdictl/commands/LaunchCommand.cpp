#include <VDIFrameworkCommon/ProcessUtils.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "LibraryRecords.h"
#include "Report.h"

namespace vdictl {

namespace {

using VDIFrameworkCommon::ProcessUtils;

// The library tells the outcome as soon as the system has it.
constexpr std::chrono::seconds patience{60};

struct LaunchOptions {
    std::string target;
    std::vector<std::string> arguments;

    bool isPath() const { return target.find('/') != std::string::npos; }
};

void requireSuccess(const std::string& object, const LaunchOptions& options) {
    const auto outcome = library::waitFor("createProcess: ", patience);
    if (outcome == "createProcess: succeed") {
        return;
    }
    if (!outcome) {
        throw Failure(object, "launch", "the system did not say whether it started",
                      "look for it with 'vdictl running'");
    }
    if (!options.isPath()) {
        throw Failure(object, "launch", "there is no such application, or it could not be started",
                      "see that its desktop entry exists and that its program runs");
    }
    if (access(options.target.c_str(), X_OK) != 0) {
        throw Failure(object, "launch", errno, "give the path of a program, or of a folder NAME.app");
    }
    throw Failure(object, "launch", "the system refused it", "the system's log says why");
}

void launch(const LaunchOptions& options) {
    library::clear();
    if (options.isPath()) {
        ProcessUtils::createProcessAtURL(options.target, options.arguments);
        requireSuccess("program '" + visible(options.target) + "'", options);
    } else {
        ProcessUtils::createProcess(options.target);
        requireSuccess("application '" + visible(options.target) + "'", options);
    }
}

}  // namespace

void addLaunch(CommandLine line, Context& /*context*/) {
    auto options = std::make_shared<LaunchOptions>();
    CommandLine command = line.add("launch", "Launch an application or a program");
    command
        .option("ID", options->target,
                "Identifier of an application as org.example.App, or a path, which has a / in it")
        .required()
        .note(" ");
    command.option("ARGUMENT", options->arguments, "Arguments of a program at a path; after --").note("...");
    command.action([options] {
        if (!options->isPath() && !options->arguments.empty()) {
            refuse("ARGUMENT", "only a program at a path takes arguments");
        }
        launch(*options);
    });
}

}  // namespace vdictl
