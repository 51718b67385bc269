#include "Output.h"

#include <VDIFrameworkCommon/ProcessUtils.h>
#include <VDIFrameworkCommon/StringConversion.h>
#include <VDIFrameworkCommon/VDIClientInfo.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <mutex>
#include <string_view>
#include <system_error>

namespace agent {

namespace {

// Readable when the agent is to leave.
int stopDescriptor = -1;

bool isAnyReady(pollfd* descriptors, nfds_t count, int timeoutMs) {
    int ready = 0;
    while ((ready = poll(descriptors, count, timeoutMs)) < 0 && errno == EINTR) {
    }
    return ready != 0;
}

// Waits while the reader is behind. False if nobody reads and the agent is to leave.
bool isAwaited(int descriptor) {
    // Once for all lines: there may be many.
    static int patienceMs = 1000;
    pollfd ends[] = {{descriptor, POLLOUT, 0}, {stopDescriptor, POLLIN, 0}};
    isAnyReady(ends, 2, -1);
    const bool isStopped = ends[0].revents == 0 && ends[1].revents != 0;
    if (isStopped && !isAnyReady(ends, 1, patienceMs)) {
        patienceMs = 0;
        return false;
    }
    return true;
}

// An error number of its own.
constexpr int nobodyReads = -1;

std::string nameOf(int error) {
    return error == nobodyReads ? "nobody reads them" : std::generic_category().message(error);
}

// Takes away what could be written. Returns the number of the error that kept the rest; 0 without one.
int writeWhole(int descriptor, std::string_view& text) {
    while (!text.empty()) {
        if (!isAwaited(descriptor)) {
            return nobodyReads;
        }
        // What has room for any has room for so much, and does not block.
        const ssize_t written = write(descriptor, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR && errno != EAGAIN) {
            return errno;
        }
    }
    return 0;
}

// Lines of several threads do not mix, nor with what is left of a line that could not be written whole.
int writeLine(int descriptor, const std::string& line) {
    static auto& mutex = *new std::mutex;
    static bool isCut[STDERR_FILENO + 1];
    const std::lock_guard lock(mutex);
    bool& isLastCut = isCut[descriptor];
    const std::string text = (isLastCut ? "\n" : "") + line + '\n';
    std::string_view rest = text;
    const int error = writeWhole(descriptor, rest);
    isLastCut = error != 0 && (isLastCut || rest.size() != text.size());
    return error;
}

}  // namespace

using VDIFrameworkCommon::ProcessUtils;
using VDIFrameworkCommon::VDIClientInfo;

bool printLine(const std::string& line) {
    static std::once_flag isTold;
    const int error = writeLine(STDOUT_FILENO, line);
    if (error != 0) {
        std::call_once(isTold, [error] { printError("lines to standard output are lost: " + nameOf(error)); });
    }
    return error == 0;
}

void printError(const std::string& line) {
    writeLine(STDERR_FILENO, about() + line);
}

void leaveReadersBehindAt(int stop) {
    stopDescriptor = stop;
}

std::string about() {
    return "vdi-agent " + VDIFrameworkCommon::toString(ProcessUtils::getCurrentProcessId()) + " (" +
           VDIClientInfo::getInstance()->getClientName() + "): ";
}

}  // namespace agent
