// vdi-agent: an agent that takes part in deciding which agent of a user and a client product is the active one.

#include <VDIFrameworkCommon/ActiveVirtualChannelAgentRecorder.h>
#include <VDIFrameworkCommon/FileUtils.h>
#include <VDIFrameworkCommon/ProcessUtils.h>
#include <VDIFrameworkCommon/StringConversion.h>
#include <VDIFrameworkCommon/SystemUtils.h>
#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>
#include <VDIFrameworkCommon/VirtualChannelLogger.h>
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <string>

#include "Agent.h"
#include "Input.h"
#include "Options.h"
#include "Output.h"
#include "StopSignals.h"

namespace {

using namespace VDIFrameworkCommon;

constexpr int exitFailure = 1;

void setIdentity(const agent::Options& options) {
    VDIClientInfo& info = *VDIClientInfo::getInstance();
    info.setClientType(options.client);
    info.setClientVersion(options.versionText);
    SystemUtils::setParletVersion(options.version);
}

void startLogging(const agent::Options& options) {
    const std::string directory = options.traceDirectory.empty() ? FileUtils::getTraceDir() : options.traceDirectory;
    VDIClientInfo::getInstance()->setLogDirectory(directory);
    VirtualChannelLogger_setLogLevel(options.logLevel);
    VirtualChannelLogger_setAppenderType(DPL::dpllogger::LogAppenderType::File);
    VirtualChannelLogger_init(directory + FileUtils::FileSeparator() + LogFileName);
    VirtualChannelLogger_setFileWritingAllowed(true);
}

std::string describe(unsigned int pid) {
    return toString(pid) + (ProcessUtils::isProcessRunning(pid) ? "" : " (not running)");
}

bool show() {
    const unsigned int active = ActiveVirtualChannelAgentRecorder().getActiveVirtualChannelAgentPid();
    std::string line = VDIClientInfo::getInstance()->getClientName() + ": active " +
                       (active == 0 ? std::string("none") : describe(active)) + "; runners";
    const auto runners = VDIRunnerCounter::getInstance()->getAllRunners();
    for (const unsigned int pid : runners) {
        line += ' ';
        line += describe(pid);
    }
    return agent::printLine(line + (runners.empty() ? " none" : ""));
}

// What the agent opens must not become a standard descriptor. An end of its output must not end it, nor a terminal that
// is another program's stop it.
void settleStandardDescriptors() {
    int fd = 0;
    while ((fd = open("/dev/null", O_RDWR)) >= 0 && fd <= STDERR_FILENO) {
    }
    if (fd >= 0) {
        close(fd);
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGTTIN, SIG_IGN);
}

int run(int argc, char** argv) {
    settleStandardDescriptors();
    int exitCode = 0;
    const auto options = agent::parseOptions(argc, argv, exitCode);
    if (!options) {
        return exitCode;
    }
    setIdentity(*options);
    if (options->show) {
        return show() ? 0 : exitFailure;
    }
    // Before the logging library and this one start threads, which inherit what is blocked.
    const agent::StopSignals stopSignals;
    agent::leaveReadersBehindAt(stopSignals.descriptor());
    startLogging(*options);
    agent::Agent self;
    if (!self.start()) {
        return exitFailure;
    }
    agent::answerInput(stopSignals.descriptor());
    self.leave();
    VirtualChannelLogger_flush();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        agent::printError(error.what());
        return exitFailure;
    }
}
