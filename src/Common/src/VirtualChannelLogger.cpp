#include "VDIFrameworkCommon/VirtualChannelLogger.h"

#include <cstdio>
#include <utility>

#include "ControllerLease.h"

using VDIFrameworkCommon::log::ControllerLease;

namespace {

void printLine(const char* line) {
    std::puts(line);
    std::fflush(stdout);
}

}  // namespace

std::shared_ptr<DPL::dpllogger::LogController> VirtualChannelLogger_getInstance() {
    return ControllerLease().share();
}

void VirtualChannelLogger_init(std::string location) {
    if (location.empty()) {
        return;
    }
    if (const auto instance = VirtualChannelLogger_getInstance()) {
        printLine("VirtualChannelLogger_init begin");
        instance->init(std::move(location));
        printLine("VirtualChannelLogger_init end");
    }
}

void VirtualChannelLogger_setLogLevel(DPLLogLevel level) {
    if (const auto instance = VirtualChannelLogger_getInstance()) {
        instance->setLogLevel(level);
    }
}

void VirtualChannelLogger_setAppenderType(DPL::dpllogger::LogAppenderType type) {
    if (const auto instance = VirtualChannelLogger_getInstance()) {
        instance->setAppenderType(type);
    }
}

void VirtualChannelLogger_setFileWritingAllowed(bool allowed) {
    if (const auto instance = VirtualChannelLogger_getInstance()) {
        instance->setFileWritingAllowed(allowed);
    }
}

void VirtualChannelLogger_flushBufferIfAllowed() {
    if (const auto instance = VirtualChannelLogger_getInstance()) {
        if (instance->isFileWritingAllowed()) {
            instance->flush();
        }
    }
}

void VirtualChannelLogger_flush() {
    if (const auto instance = VirtualChannelLogger_getInstance()) {
        instance->flush();
    }
}

std::string VirtualChannelLogger_filterStrings(std::string text) {
    return text;
}
