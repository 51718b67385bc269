#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <memory>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "Fork.h"
#include "Signals.h"
#include "UniqueFd.h"
#include "Utf8Text.h"
#include "platform/AppServices.h"

namespace VDIFrameworkCommon::platform {

namespace {

constexpr int firstOtherFd = STDERR_FILENO + 1;

bool hasType(const std::string& path, mode_t type) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && (status.st_mode & S_IFMT) == type;
}

// The file to execute for a path: the program of an application folder, and otherwise the path itself.
std::string programAt(const std::string& path) {
    constexpr std::string_view suffix = ".app";
    const std::string folder = path.substr(0, path.find_last_not_of('/') + 1);
    if (!std::string_view(folder).ends_with(suffix) || !hasType(folder, S_IFDIR)) {
        return path;
    }
    const std::size_t nameStart = folder.rfind('/') + 1;  // 0 when there is none
    const std::string name = folder.substr(nameStart, folder.size() - suffix.size() - nameStart);
    std::string own = folder + "/Contents/Linux/" + name;
    std::string portable = folder + "/Contents/MacOS/" + name;
    return !hasType(own, S_IFREG) && hasType(portable, S_IFREG) ? portable : own;
}

/// All that a child needs to become the program: after the fork it may neither allocate nor take a lock.
class Image {
public:
    Image(const std::string& path, const std::vector<std::string>& arguments) : program_(programAt(path)) {
        words_.reserve(arguments.size() + 2);
        words_.push_back(program_.data());
        for (const std::string& argument : arguments) {
            words_.push_back(const_cast<char*>(argument.c_str()));  // execv changes nothing
        }
        words_.push_back(nullptr);
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        fdLimit_ = static_cast<int>(std::min<rlim_t>(limit.rlim_max, mostFds));
    }

    /// Becomes the program. Returns if that fails, with the reason in `errno`. Async-signal-safe.
    void execute() const noexcept {
        closeOthersOnExec();
        resetSignals();
        ::execv(program_.c_str(), words_.data());
    }

private:
    static constexpr rlim_t mostFds = 1U << 20U;  // what the kernel lets a process have, unless told otherwise

    void closeOthersOnExec() const noexcept {
        if (::syscall(SYS_close_range, firstOtherFd, ~0U, CLOSE_RANGE_CLOEXEC) == 0) {
            return;
        }
        for (int fd = firstOtherFd; fd < fdLimit_; ++fd) {
            ::fcntl(fd, F_SETFD, FD_CLOEXEC);
        }
    }

    std::string program_;
    std::vector<char*> words_;
    int fdLimit_ = 0;
};

/// A launch under way.
struct Launch {
    int error = 0;      // why there is no child; the rest is meant only when there is one
    pid_t forker = -1;  // the child that forks the program and ends
    UniqueFd report{};  // gets a 0 before the program is executed, the error number when that fails, and then the end
};

void reportTo(int pipe, int error) noexcept {
    // A launcher that is gone needs no report.
    static_cast<void>(::write(pipe, &error, sizeof error) == sizeof error);
}

// The program becomes the grandchild, so that it is no child of this process, which would have to wait for its end.
[[noreturn]] void runForker(const Image& image, int pipe) noexcept {
    const pid_t program = forkWithoutHandlers();
    if (program == 0) {
        reportTo(pipe, 0);
        image.execute();
        reportTo(pipe, errno);
    } else if (program < 0) {
        reportTo(pipe, errno);
    }
    ::_exit(0);
}

Launch start(const std::string& path, const std::vector<std::string>& arguments) {
    const auto hasNull = [](const std::string& text) { return text.find('\0') != std::string::npos; };
    if (!isUtf8Text(path)) {
        return {.error = EILSEQ};
    }
    if (std::any_of(arguments.begin(), arguments.end(), hasNull)) {
        return {.error = EINVAL};
    }
    const Image image(path, arguments);
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        return {.error = errno};
    }
    UniqueFd readEnd(ends[0]);
    const UniqueFd writeEnd(ends[1]);
    const pid_t forker = forkWithoutHandlers();
    if (forker == 0) {
        runForker(image, writeEnd.get());
    }
    if (forker < 0) {
        return {.error = errno};
    }
    return {.forker = forker, .report = std::move(readEnd)};
}

// Waits until the program runs. Returns 0, or the reason why it does not.
int outcome(const Launch& launch) noexcept {
    if (launch.error != 0) {
        return launch.error;
    }
    // It ends at once. A host that waits for any child of its own may take it first, and one that ignores the end of
    // children never sees it: neither matters.
    while (::waitpid(launch.forker, nullptr, 0) < 0 && errno == EINTR) {
    }
    int last = ECHILD;  // killed before it came to execute
    ssize_t got = 0;
    do {
        int error = 0;
        got = ::read(launch.report.get(), &error, sizeof error);
        if (got == sizeof error) {
            last = error;
        }
    } while (got > 0 || (got < 0 && errno == EINTR));
    return last;
}

void complete(const Launch& launch, LaunchCompletion completion) {
    const int error = outcome(launch);
    completion(error == 0 ? nullptr : std::generic_category().message(error).c_str());
}

}  // namespace

void launchApplicationAt(const std::string& path, const std::vector<std::string>& arguments,
                         LaunchCompletion completion) noexcept {
    // Neither the child before its reset nor the thread runs signal handlers of the host.
    const SignalBlock block;
    std::shared_ptr<const Launch> launch;
    try {
        // The program is on its way when this returns, so that a process may launch its successor and end.
        launch = std::make_shared<const Launch>(start(path, arguments));
        std::thread([launch, completion] { complete(*launch, completion); }).detach();
    } catch (const std::exception&) {
        if (launch != nullptr) {
            // No thread is to be had; the outcome is known soon.
            complete(*launch, completion);
        } else {
            completion("Cannot allocate memory");
        }
    }
}

}  // namespace VDIFrameworkCommon::platform
