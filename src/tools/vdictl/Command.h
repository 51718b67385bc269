#pragma once

#include "Terminal.h"

namespace CLI {
class App;
}

namespace vdictl {

/// What the program ends with.
enum ExitCode : int {
    exitYes = 0,      ///< healthy, yes, done
    exitNo = 1,       ///< findings, no, not in time
    exitUsage = 2,    ///< the command line is wrong
    exitFailure = 3,  ///< it could not be done
};

/// What the commands of one run share. Commands keep a reference: it lives as long as the command line's parser.
struct Context {
    Terminal terminal;  ///< where facts are printed
    bool json = false;  ///< facts as JSON, in the documented form
    int exitCode = exitYes;
};

// Each declares a command with its options. When the command is on the command line, parsing it does the work and sets
// `exitCode`; a `Failure` thrown by it is reported and ends the program with `exitFailure`.
void addCheck(CLI::App& app, Context& context);
void addDoctor(CLI::App& app, Context& context);
void addEvent(CLI::App& app, Context& context);
void addJid(CLI::App& app, Context& context);
void addLaunch(CLI::App& app, Context& context);
void addLock(CLI::App& app, Context& context);
void addMessage(CLI::App& app, Context& context);
void addName(CLI::App& app, Context& context);
void addPaths(CLI::App& app, Context& context);
void addRunning(CLI::App& app, Context& context);
void addStatus(CLI::App& app, Context& context);
void addTerminate(CLI::App& app, Context& context);
void addWaitExit(CLI::App& app, Context& context);
void addWatch(CLI::App& app, Context& context);

/// Declares `--json`.
void addJsonOption(CLI::App& command, Context& context);

}  // namespace vdictl
