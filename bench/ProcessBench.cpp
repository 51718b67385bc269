// What it costs to ask whether a process is running, beside the bare calls that the question makes unavoidable.

#include <VDIFrameworkCommon/ProcessUtils.h>
#include <benchmark/benchmark.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace {

using VDIFrameworkCommon::ProcessUtils;

constexpr pid_t neverUsed = (1 << 22) + 1;

/// A child that lives as long as the object: running, or a zombie.
class Process {
public:
    explicit Process(bool lives) : pid_(::fork()) {
        if (pid_ == 0) {
            while (lives) {
                ::pause();
            }
            ::_exit(0);
        }
        if (!lives) {
            siginfo_t info{};
            ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT);
        }
    }
    ~Process() {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    pid_t pid() const { return pid_; }

private:
    pid_t pid_;
};

bool bareCalls(pid_t pid) {
    const auto pidfd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    if (pidfd < 0) {
        return false;
    }
    pollfd ended{.fd = pidfd, .events = POLLIN, .revents = 0};
    const bool running = ::poll(&ended, 1, 0) == 0;
    ::close(pidfd);
    return running;
}

bool ours(pid_t pid) {
    return ProcessUtils::isProcessRunning(static_cast<unsigned int>(pid));
}

// Blind to zombies: less than what is asked.
bool signalTest(pid_t pid) {
    return ::kill(pid, 0) == 0;
}

void measure(benchmark::State& state, bool (*isRunning)(pid_t), pid_t pid) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(isRunning(pid));
    }
}

void alive(benchmark::State& state, bool (*isRunning)(pid_t)) {
    const Process process(true);
    measure(state, isRunning, process.pid());
}

void zombie(benchmark::State& state, bool (*isRunning)(pid_t)) {
    const Process process(false);
    measure(state, isRunning, process.pid());
}

void absent(benchmark::State& state, bool (*isRunning)(pid_t)) {
    measure(state, isRunning, neverUsed);
}

void ownId(benchmark::State& state, int (*id)()) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(id());
    }
}

BENCHMARK_CAPTURE(alive, floor, bareCalls);
BENCHMARK_CAPTURE(alive, ours, ours);
BENCHMARK_CAPTURE(alive, signal_test_blind_to_zombies, signalTest);
BENCHMARK_CAPTURE(absent, floor, bareCalls);
BENCHMARK_CAPTURE(absent, ours, ours);
BENCHMARK_CAPTURE(absent, signal_test_blind_to_zombies, signalTest);
BENCHMARK_CAPTURE(zombie, floor, bareCalls);
BENCHMARK_CAPTURE(zombie, ours, ours);
BENCHMARK_CAPTURE(ownId, floor, ::getpid);
BENCHMARK_CAPTURE(ownId, ours, ProcessUtils::getCurrentProcessId);

}  // namespace
