#include <VDIFrameworkCommon/ProcessMonitor.h>
#include <VDIFrameworkCommon/ProcessUtils.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Command.h"
#include "Json.h"
#include "Report.h"
#include "survey/Descriptor.h"

namespace vdictl {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using VDIFrameworkCommon::ProcessMonitor;
using VDIFrameworkCommon::ProcessUtils;

/// When the waiting is over.
class Limit {
public:
    explicit Limit(std::optional<unsigned int> timeout) : start_(steady_clock::now()), timeout_(timeout) {}

    bool isReached() const { return timeout_ && left() <= milliseconds(0); }

    /// At most; negative without a limit.
    int leftForPoll() const {
        constexpr milliseconds most{std::numeric_limits<int>::max()};
        return timeout_ ? static_cast<int>(std::clamp(left(), milliseconds(0), most).count()) : -1;
    }

private:
    milliseconds left() const {
        return milliseconds(*timeout_) - std::chrono::floor<milliseconds>(steady_clock::now() - start_);
    }

    steady_clock::time_point start_;
    std::optional<unsigned int> timeout_;
};

void tell(unsigned int pid, const char* state, const Context& context) {
    if (context.json) {
        printJsonLine({{"pid", pid}, {"state", state}});
    } else {
        print(std::to_string(pid) + ' ' + state + '\n');
    }
}

/// Learns of the ends of processes from the library's monitor, which looks every two seconds.
class Looking {
public:
    /// Readable when some have ended.
    int descriptor() const { return news_->arrived.get(); }

    void add(unsigned int pid) {
        if (monitor_ == nullptr) {
            // Never destroyed: one that is stopped before its thread has begun would be waited for without end.
            monitor_ = new ProcessMonitor([news = news_](const std::set<unsigned int>& ended) { news->add(ended); });
        }
        monitor_->addProcessId(pid);
        running_.insert(pid);
    }

    const std::set<unsigned int>& running() const { return running_; }

    /// Those that have ended since it was asked last.
    std::set<unsigned int> takeEnded() {
        std::set<unsigned int> ended = news_->take();
        for (const unsigned int pid : ended) {
            running_.erase(pid);
        }
        return ended;
    }

private:
    static Descriptor openEvent() {
        Descriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
        if (!event.isOpen()) {
            throw Failure("processes", "eventfd", errno);
        }
        return event;
    }

    /// What the monitor's thread has found; it may go on to the end of the program.
    struct News {
        void add(const std::set<unsigned int>& pids) {
            const std::lock_guard lock(mutex);
            ended.insert(pids.begin(), pids.end());
            const std::uint64_t one = 1;
            static_cast<void>(write(arrived.get(), &one, sizeof one) == sizeof one);
        }

        std::set<unsigned int> take() {
            const std::lock_guard lock(mutex);
            std::uint64_t count = 0;
            static_cast<void>(read(arrived.get(), &count, sizeof count) == sizeof count);
            return std::exchange(ended, {});
        }

        const Descriptor arrived = openEvent();
        std::mutex mutex;
        std::set<unsigned int> ended;
    };

    std::shared_ptr<News> news_ = std::make_shared<News>();
    ProcessMonitor* monitor_ = nullptr;
    std::set<unsigned int> running_;
};

/// Watches processes by descriptors of the system, which tell their end at once, and by looking where it gives none.
class Watch {
public:
    explicit Watch(const Context& context) : context_(context) {
        rlimit limit{};
        if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
            limit.rlim_cur = limit.rlim_max;
            setrlimit(RLIMIT_NOFILE, &limit);
        }
    }

    void add(unsigned int pid) {
        Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, static_cast<pid_t>(pid), 0)));
        // Asked after it was opened, so that the answer is about the process that is watched.
        if (!ProcessUtils::isProcessRunning(pid)) {
            tell(pid, "not running", context_);
        } else if (process.isOpen()) {
            sources_.push_back({process.get(), POLLIN, 0});
            processes_.emplace_back(pid, std::move(process));
        } else {
            looking_.add(pid);
        }
    }

    /// Waits for their ends, as long as it may.
    void wait(const Limit& limit) {
        while (!processes_.empty() || !looking_.running().empty()) {
            const int ready = poll(sources_.data(), sources_.size(), limit.leftForPoll());
            if (ready < 0 && errno != EINTR) {
                throw Failure("processes", "poll", errno);
            }
            if (ready == 0 && limit.isReached()) {
                return;
            }
            takeEnded();
        }
    }

    /// Those that still run.
    std::set<unsigned int> left() const {
        std::set<unsigned int> pids = looking_.running();
        for (const auto& [pid, descriptor] : processes_) {
            pids.insert(pid);
        }
        return pids;
    }

private:
    void takeEnded() {
        for (std::size_t i = processes_.size(); i-- > 0;) {
            if (std::exchange(sources_[i + 1].revents, short{0}) != 0) {
                tell(processes_[i].first, "ended", context_);
                sources_.erase(sources_.begin() + static_cast<std::ptrdiff_t>(i + 1));
                processes_.erase(processes_.begin() + static_cast<std::ptrdiff_t>(i));
            }
        }
        for (const unsigned int pid : looking_.takeEnded()) {
            tell(pid, "ended", context_);
        }
    }

    const Context& context_;
    Looking looking_;
    std::vector<std::pair<unsigned int, Descriptor>> processes_;
    std::vector<pollfd> sources_{{looking_.descriptor(), POLLIN, 0}};  // behind the first, of the processes
};

struct WaitExitOptions {
    std::vector<unsigned int> pids;
    std::optional<unsigned int> timeout;  // milliseconds
};

void waitExit(const WaitExitOptions& options, Context& context) {
    const Limit limit(options.timeout);
    Watch watch(context);
    std::set<unsigned int> asked;
    for (const unsigned int pid : options.pids) {
        if (asked.insert(pid).second) {
            watch.add(pid);
        }
    }
    watch.wait(limit);
    for (const unsigned int pid : watch.left()) {
        complain(fmt::format("process {}: still running after {} ms", pid, *options.timeout));
        context.exitCode = exitNo;
    }
}

}  // namespace

void addWaitExit(CommandLine line, Context& context) {
    auto options = std::make_shared<WaitExitOptions>();
    CommandLine command = line.add("wait-exit", "Wait until processes have ended, with a line for each");
    command.option("-t,--timeout", options->timeout, "Give up after so many milliseconds").type("MS");
    addJsonOption(command, context);
    command.option("PID", options->pids, "Process ids").required().note("...");
    command.action([options, &context] { waitExit(*options, context); });
}

}  // namespace vdictl
