#include <VDIFrameworkCommon/ProcessMonitor.h>
#include <VDIFrameworkCommon/ProcessUtils.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
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

    /// Nothing without a limit.
    std::optional<milliseconds> left() const {
        if (!timeout_) {
            return std::nullopt;
        }
        const auto passed = std::chrono::floor<milliseconds>(steady_clock::now() - start_);
        return std::max(milliseconds(*timeout_) - passed, milliseconds(0));
    }

private:
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

/// Watches processes by descriptors of the system, which tell their end at once.
class Watch {
public:
    explicit Watch(const Context& context) : context_(context) {
        rlimit limit{};
        if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
            limit.rlim_cur = limit.rlim_max;
            setrlimit(RLIMIT_NOFILE, &limit);
        }
    }

    /// False when the system gives no descriptor for a process that is running.
    bool add(unsigned int pid) {
        Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, static_cast<pid_t>(pid), 0)));
        // Asked after it was opened, so that the answer is about the process that is watched.
        if (!ProcessUtils::isProcessRunning(pid)) {
            tell(pid, "not running", context_);
            return true;
        }
        if (!process.isOpen()) {
            return false;
        }
        sources_.push_back({process.get(), POLLIN, 0});
        processes_.emplace_back(pid, std::move(process));
        return true;
    }

    /// Waits for their ends, as long as it may.
    void wait(const Limit& limit) {
        while (!processes_.empty()) {
            const auto left = limit.left();
            const int ready = poll(sources_.data(), sources_.size(), left ? static_cast<int>(left->count()) : -1);
            if (ready < 0 && errno != EINTR) {
                throw Failure("processes", "poll", errno);
            }
            if (ready == 0 && left) {
                return;
            }
            takeEnded();
        }
    }

    /// Those that still run.
    std::vector<unsigned int> left() const {
        std::vector<unsigned int> pids;
        for (const auto& [pid, descriptor] : processes_) {
            pids.push_back(pid);
        }
        return pids;
    }

private:
    void takeEnded() {
        for (std::size_t i = sources_.size(); i-- > 0;) {
            if (std::exchange(sources_[i].revents, short{0}) != 0) {
                tell(processes_[i].first, "ended", context_);
                sources_.erase(sources_.begin() + static_cast<std::ptrdiff_t>(i));
                processes_.erase(processes_.begin() + static_cast<std::ptrdiff_t>(i));
            }
        }
    }

    const Context& context_;
    std::vector<std::pair<unsigned int, Descriptor>> processes_;
    std::vector<pollfd> sources_;  // of the same processes
};

/// Watches processes where the system has no descriptors for them; looks every two seconds. Those that still run.
std::set<unsigned int> waitByLooking(const std::set<unsigned int>& pids, const Limit& limit, const Context& context) {
    std::mutex mutex;
    std::condition_variable changed;
    std::set<unsigned int> ended;
    ProcessMonitor monitor([&](const std::set<unsigned int>& gone) {
        const std::lock_guard lock(mutex);
        ended.insert(gone.begin(), gone.end());
        changed.notify_all();
    });
    for (const unsigned int pid : pids) {
        monitor.addProcessId(pid);
    }
    std::set<unsigned int> told;
    std::set<unsigned int> running = pids;
    while (told.size() < pids.size()) {
        std::unique_lock lock(mutex);
        const auto hasNews = [&] { return ended.size() > told.size(); };
        const auto left = limit.left();
        if (!left) {
            changed.wait(lock, hasNews);
        } else if (!changed.wait_for(lock, *left, hasNews)) {
            break;
        }
        const std::set<unsigned int> now = ended;
        lock.unlock();
        for (const unsigned int pid : now) {
            if (told.insert(pid).second) {
                tell(pid, "ended", context);
                running.erase(pid);
            }
        }
    }
    return running;
}

struct WaitExitOptions {
    std::vector<unsigned int> pids;
    std::optional<unsigned int> timeout;  // milliseconds
};

void waitExit(const WaitExitOptions& options, Context& context) {
    const Limit limit(options.timeout);
    Watch watch(context);
    std::set<unsigned int> withoutDescriptor;
    std::set<unsigned int> asked;
    for (const unsigned int pid : options.pids) {
        if (asked.insert(pid).second && !watch.add(pid)) {
            withoutDescriptor.insert(pid);
        }
    }
    std::set<unsigned int> running;
    if (!withoutDescriptor.empty()) {
        running = waitByLooking(withoutDescriptor, limit, context);
    }
    watch.wait(limit);
    for (const unsigned int pid : watch.left()) {
        running.insert(pid);
    }
    for (const unsigned int pid : running) {
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
