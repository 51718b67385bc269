#include "Output.h"

#include <VDIFrameworkCommon/ProcessUtils.h>
#include <VDIFrameworkCommon/StringConversion.h>
#include <VDIFrameworkCommon/VDIClientInfo.h>

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <mutex>
#include <string_view>

namespace agent {

namespace {

// Waits while the reader is behind, also where the descriptor does not block: whoever shares a terminal may set it so.
void writeWhole(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            pollfd writable{descriptor, POLLOUT, 0};
            poll(&writable, 1, -1);
        } else if (errno != EINTR) {
            return;
        }
    }
}

// Lines of several threads do not mix.
void writeLine(int descriptor, const std::string& line) {
    static auto& mutex = *new std::mutex;
    const std::lock_guard lock(mutex);
    writeWhole(descriptor, line + '\n');
}

}  // namespace

using VDIFrameworkCommon::ProcessUtils;
using VDIFrameworkCommon::VDIClientInfo;

void printLine(const std::string& line) {
    writeLine(STDOUT_FILENO, line);
}

void printError(const std::string& line) {
    writeLine(STDERR_FILENO, about() + line);
}

std::string about() {
    return "vdi-agent " + VDIFrameworkCommon::toString(ProcessUtils::getCurrentProcessId()) + " (" +
           VDIClientInfo::getInstance()->getClientName() + "): ";
}

}  // namespace agent
