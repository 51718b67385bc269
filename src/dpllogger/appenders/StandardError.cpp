#include "appenders/StandardError.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>

#include "appenders/WriteSignals.h"

namespace DPL::dpllogger {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto patience = 2000ms;

/// Standard error as something that can be written without blocking. Whether a write blocks is a property that all
/// processes with the same open file share, so a pipe or terminal is opened anew rather than changed. The new
/// descriptor is not kept: it would keep a pipe open that the host closes.
class Output {
public:
    Output() noexcept {
        struct stat status {};
        if (::fstat(STDERR_FILENO, &status) != 0) {
            return;
        }
        isSocket_ = S_ISSOCK(status.st_mode);
        if (S_ISFIFO(status.st_mode) || ::isatty(STDERR_FILENO) == 1) {
            own_ = ::open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        }
    }
    ~Output() {
        if (own_ >= 0) {
            ::close(own_);
        }
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    ssize_t write(std::string_view text) const noexcept {
        if (isSocket_) {
            return ::send(STDERR_FILENO, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        }
        if (own_ < 0 && !isWritable(std::chrono::milliseconds(0))) {
            errno = EAGAIN;
            return -1;
        }
        return ::write(own_ >= 0 ? own_ : STDERR_FILENO, text.data(), text.size());
    }

    bool isWritable(std::chrono::milliseconds limit) const noexcept {
        pollfd descriptor{STDERR_FILENO, POLLOUT, 0};
        return ::poll(&descriptor, 1, static_cast<int>(limit.count())) != 0;
    }

private:
    int own_ = -1;  // without one, it is asked before each write whether it would block
    bool isSocket_ = false;
};

/// As many whole lines as a pipe takes in one piece, or the beginning of a longer one.
std::string_view nextPiece(std::string_view lines) {
    constexpr std::size_t largest = PIPE_BUF;
    if (lines.size() <= largest) {
        return lines;
    }
    const std::size_t last = lines.rfind('\n', largest - 1);
    return lines.substr(0, last == std::string_view::npos ? largest : last + 1);
}

}  // namespace

Outcome StandardError::write(std::string_view lines) noexcept {
    const WriteSignals signals;
    const Output output;
    const auto deadline = Clock::now() + (isStuck_ ? std::chrono::milliseconds(0) : patience);
    std::size_t done = 0;
    int error = 0;
    while (done < lines.size() && error == 0) {
        const ssize_t written = output.write(withinALine_ ? "\n" : nextPiece(lines.substr(done)));
        if (written > 0) {
            done += withinALine_ ? 0 : static_cast<std::size_t>(written);
            withinALine_ = false;
        } else if (const int failure = written == 0 ? EIO : errno; failure != EINTR) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
            if (failure != EAGAIN || left <= std::chrono::milliseconds(0) || !output.isWritable(left)) {
                error = failure;
            }
        }
    }
    isStuck_ = error == EAGAIN;
    const std::size_t whole = lines.substr(0, done).rfind('\n') + 1;  // none: 0
    withinALine_ = withinALine_ || whole < done;
    return {whole, error};
}

}  // namespace DPL::dpllogger
