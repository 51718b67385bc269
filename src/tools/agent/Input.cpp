#include "Input.h"

#include <VDIFrameworkCommon/TaskDispatcher.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <string>

#include "Commands.h"
#include "Job.h"
#include "Output.h"

namespace agent {

namespace {

using VDIFrameworkCommon::TaskDispatcher;

constexpr std::size_t longestLine = std::size_t{1} << 20U;

// The message is carried out as work and its answer printed as a callback. The next line waits, so answers keep the
// order.
Request dispatch(const std::string& line) {
    Answer result;
    const auto message = std::make_shared<Job>([&] { result = answer(line); });
    TaskDispatcher::getInstance()->enqueue([message] { message->run(); }, "message");
    message->finish();
    const auto print = std::make_shared<Job>([&] { printLine(result.message); });
    TaskDispatcher::getInstance()->enqueueCallbackTask([print] { print->run(); }, "answer");
    print->finish();
    return result.request;
}

// Whether a terminal may have left out the end of the line. It does so without a word when its user writes more than it
// has room for.
bool mayBeCut(const std::string& line) {
    constexpr std::size_t roomOfTerminals = 4095;
    termios settings{};
    return line.size() >= roomOfTerminals && tcgetattr(STDIN_FILENO, &settings) == 0 &&
           (settings.c_lflag & static_cast<tcflag_t>(ICANON)) != 0;
}

// Cuts the input into lines. One that is too long is answered with an error and left out.
class Lines {
public:
    Request add(const char* bytes, std::size_t size) {
        while (size != 0) {
            const char* const end = std::find(bytes, bytes + size, '\n');
            const auto part = static_cast<std::size_t>(end - bytes);
            if (line_.size() + part > longestLine) {
                tooLong_ = true;
                line_.clear();
            } else if (!tooLong_) {
                line_.append(bytes, part);
            }
            if (end == bytes + size) {
                break;
            }
            if (finish() == Request::Quit) {
                return Request::Quit;
            }
            bytes = end + 1;
            size -= part + 1;
        }
        return Request::GoOn;
    }

    // The input has ended, perhaps in the middle of a line.
    Request end() { return line_.empty() && !tooLong_ ? Request::GoOn : finish(); }

private:
    Request finish() {
        Request request = Request::GoOn;
        if (tooLong_ || mayBeCut(line_)) {
            printLine("error|malformed|line too long");
        } else {
            if (!line_.empty() && line_.back() == '\r') {
                line_.pop_back();
            }
            request = dispatch(line_);
        }
        line_.clear();
        tooLong_ = false;
        return request;
    }

    std::string line_;
    bool tooLong_ = false;
};

// Whether the terminal is another program's for now, which then is the one to get what its user writes.
bool isInBackground() {
    const pid_t foreground = tcgetpgrp(STDIN_FILENO);
    return foreground >= 0 && foreground != getpgrp();
}

// Reads what there is. False at the end of the input.
bool readInput(Lines& lines, Request& request) {
    char buffer[4096];
    const ssize_t size = read(STDIN_FILENO, buffer, sizeof buffer);
    if (size < 0 && (errno == EINTR || errno == EAGAIN || isInBackground())) {
        return true;
    }
    request = size > 0 ? lines.add(buffer, static_cast<std::size_t>(size)) : lines.end();
    return size > 0;
}

}  // namespace

void answerInput(int stop) {
    constexpr int backgroundPauseMs = 500;
    Lines lines;
    Request request = Request::GoOn;
    pollfd sources[] = {{stop, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    while (request != Request::Quit) {
        if (poll(sources, 2, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            return;
        }
        if (sources[0].revents != 0) {
            return;
        }
        if (sources[1].revents == 0) {
            continue;
        }
        if (isInBackground()) {
            poll(sources, 1, backgroundPauseMs);
        } else if (!readInput(lines, request)) {
            sources[1].fd = -1;
        }
    }
}

}  // namespace agent
