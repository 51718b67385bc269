#include "Output.h"

#include <VDIFrameworkCommon/ProcessUtils.h>
#include <VDIFrameworkCommon/StringConversion.h>
#include <VDIFrameworkCommon/VDIClientInfo.h>

#include <cstdio>

namespace agent {

using VDIFrameworkCommon::ProcessUtils;
using VDIFrameworkCommon::VDIClientInfo;

void printLine(const std::string& line) {
    // One call, so that lines of several threads do not mix. A zero byte is a character like any other.
    const std::string whole = line + '\n';
    std::fwrite(whole.data(), 1, whole.size(), stdout);
    std::fflush(stdout);
}

void printError(const std::string& line) {
    const std::string whole = about() + line + '\n';
    std::fwrite(whole.data(), 1, whole.size(), stderr);
}

std::string about() {
    return "vdi-agent " + VDIFrameworkCommon::toString(ProcessUtils::getCurrentProcessId()) + " (" +
           VDIClientInfo::getInstance()->getClientName() + "): ";
}

}  // namespace agent
