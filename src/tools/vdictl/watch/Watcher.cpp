#include "watch/Watcher.h"

#include <VDIFrameworkCommon/ProcessUtils.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <utility>

#include "Report.h"
#include "survey/Objects.h"
#include "survey/Processes.h"
#include "survey/SharedFolder.h"

namespace vdictl {

namespace {

using Clock = std::chrono::steady_clock;

// A change is told within 100 ms: half of it is left for finding out what changed.
constexpr int lookEachMs = 50;

Descriptor watchFolder() {
    Descriptor fd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    constexpr std::uint32_t events =
        IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB | IN_MODIFY | IN_ONLYDIR;
    if (!fd.isOpen() || inotify_add_watch(fd.get(), sharedFolderPath, events) < 0) {
        throw Failure(sharedFolderPath, "inotify_add_watch", errno,
                      "raise fs.inotify.max_user_instances or fs.inotify.max_user_watches with sysctl");
    }
    return fd;
}

Descriptor takeSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGWINCH}) {
        sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    Descriptor fd(signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!fd.isOpen()) {
        throw Failure("signals", "signalfd", errno);
    }
    return fd;
}

// A descriptor for each process is open while it is watched.
void allowAllDescriptors() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// Read, not mapped: an object that is cut short under a mapping would end this program. And not kept open: repairs tell
// by that whether somebody uses the object.
bool isOtherwise(const std::string& path, const std::string& bytes) {
    std::array<char, 512> now{};
    const Descriptor fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!fd.isOpen()) {
        return errno == ENOENT;
    }
    const ssize_t size = pread(fd.get(), now.data(), now.size(), 0);
    // The lock of an event changes with each use and means nothing here.
    constexpr std::size_t lockSize = 64;
    constexpr std::size_t eventSize = 176;
    const std::size_t from = bytes.size() == eventSize ? lockSize : 0;
    return size != static_cast<ssize_t>(bytes.size()) ||
           std::memcmp(now.data() + from, bytes.data() + from, bytes.size() - from) != 0;
}

void drain(int fd) {
    std::array<char, 4096> buffer{};
    while (read(fd, buffer.data(), buffer.size()) > 0) {
    }
}

}  // namespace

Watcher::Watcher() : folder_(watchFolder()), signals_(takeSignals()) {
    allowAllDescriptors();
}

void Watcher::watchProcess(std::uint32_t pid) {
    if (processes_.find(pid) == processes_.end()) {
        Descriptor fd(static_cast<int>(syscall(SYS_pidfd_open, static_cast<pid_t>(pid), 0)));
        if (fd.isOpen()) {
            processes_.emplace(pid, std::move(fd));
        } else {
            withoutDescriptor_.insert(pid);  // one that has just ended, too
        }
    }
}

void Watcher::watch(const Survey& survey) {
    records_.clear();
    withoutDescriptor_.clear();
    for (const Object& object : survey.objects) {
        if ((object.isRecordOfAgents() || object.event) && object.file.error == 0) {
            records_.push_back({std::string(sharedFolderPath) + "/" + object.file.name, object.file.bytes});
        }
    }
    for (auto process = processes_.begin(); process != processes_.end();) {
        process = survey.process(process->first).isAlive ? std::next(process) : processes_.erase(process);
    }
    for (const auto& [pid, facts] : survey.processes) {
        if (facts.isAlive) {
            watchProcess(pid);
        }
    }
}

bool Watcher::anyRecordChanged() const {
    return std::any_of(records_.begin(), records_.end(),
                       [](const Record& record) { return isOtherwise(record.path, record.bytes); });
}

bool Watcher::anyProcessEnded() const {
    return std::any_of(withoutDescriptor_.begin(), withoutDescriptor_.end(),
                       [](std::uint32_t pid) { return !VDIFrameworkCommon::ProcessUtils::isProcessRunning(pid); });
}

// Its number may be another's by now, whose end is to be told as well.
void Watcher::forgetEnded(const std::vector<pollfd>& sources) {
    for (const pollfd& source : sources) {
        const auto ended = std::find_if(processes_.begin(), processes_.end(),
                                        [&](const auto& process) { return process.second.get() == source.fd; });
        if (source.revents != 0 && ended != processes_.end()) {
            processes_.erase(ended);
        }
    }
}

int Watcher::nextLookMs(int leftMs) const {
    return records_.empty() && withoutDescriptor_.empty() ? leftMs : std::min(leftMs, lookEachMs);
}

bool Watcher::isAskedToStop() const {
    signalfd_siginfo info{};
    bool isAsked = false;
    while (read(signals_.get(), &info, sizeof info) == sizeof info) {
        isAsked |= info.ssi_signo != SIGWINCH;
    }
    return isAsked;
}

Watcher::Reason Watcher::wait(int seconds) {
    std::vector<pollfd> sources{{folder_.get(), POLLIN, 0}, {signals_.get(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    for (const auto& [pid, fd] : processes_) {
        sources.push_back({fd.get(), POLLIN, 0});
    }
    const auto deadline = Clock::now() + std::chrono::seconds(seconds);
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        const int leftMs = static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
        const int ready = poll(sources.data(), sources.size(), nextLookMs(leftMs));
        if (ready < 0 && errno != EINTR) {
            throw Failure("changes", "poll", errno);
        }
        if (ready > 0 && (sources[2].revents != 0 || isAskedToStop())) {
            return Reason::Stopped;
        }
        if (ready > 0) {
            drain(folder_.get());
            forgetEnded(sources);
            return Reason::Changed;
        }
        if (leftMs == 0 || anyRecordChanged() || anyProcessEnded()) {
            return Reason::Changed;
        }
    }
}

}  // namespace vdictl
