#pragma once

#include "CommandLine.h"
#include "Terminal.h"

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
void addCheck(CommandLine line, Context& context);
void addDoctor(CommandLine line, Context& context);
void addEvent(CommandLine line, Context& context);
void addJid(CommandLine line, Context& context);
void addLaunch(CommandLine line, Context& context);
void addLock(CommandLine line, Context& context);
void addMessage(CommandLine line, Context& context);
void addName(CommandLine line, Context& context);
void addPaths(CommandLine line, Context& context);
void addRunning(CommandLine line, Context& context);
void addStatus(CommandLine line, Context& context);
void addTerminate(CommandLine line, Context& context);
void addWaitExit(CommandLine line, Context& context);
void addWatch(CommandLine line, Context& context);

/// Declares `--json`.
void addJsonOption(CommandLine command, Context& context);

}  // namespace vdictl
