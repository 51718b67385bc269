// vdictl: shows what agents share, lets one wait for it and repairs it.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <iostream>
#include <string>

#include "Command.h"
#include "Report.h"

namespace {

using namespace vdictl;

const char* const about = "Shows what the agents of virtual-desktop clients share, waits for it and repairs it.";

const char* const exitCodes =
    "Exit codes: 0 healthy, yes or done; 1 findings, no or not in time; 2 usage; 3 failure. 'lock' passes on what its\n"
    "command ends with.";

void addCommands(CommandLine line, Context& context) {
    addEvent(line, context);
    addLock(line, context);
    addName(line, context);
    addRunning(line, context);
    addLaunch(line, context);
    addTerminate(line, context);
    addWaitExit(line, context);
    addMessage(line, context);
    addCheck(line, context);
    addJid(line, context);
    addPaths(line, context);
    addStatus(line, context);
    addWatch(line, context);
    addDoctor(line, context);
}

// What is opened later must not become a standard descriptor.
void settleStandardDescriptors() {
    int fd = 0;
    while ((fd = open("/dev/null", O_RDWR)) >= 0 && fd <= STDERR_FILENO) {
    }
    if (fd >= 0) {
        close(fd);
    }
}

int run(int argc, char** argv) {
    settleStandardDescriptors();
    Context context;
    context.terminal = Terminal::ofStandardOutput();
    CLI::App app(about, "vdictl");
    app.footer(exitCodes);
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string("vdictl " VDICTL_VERSION));
    addCommands(CommandLine(app), context);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error, std::cout, std::cerr) == 0 ? exitYes : exitUsage;
    }
    return context.exitCode;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        complain(error.what());
        return exitFailure;
    }
}
