#include <VDIFrameworkCommon/ProcessMonitor.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <mutex>
#include <set>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/Background.h"
#include "support/Multiprocess.h"
#include "support/PrivateAccess.h"
#include "support/Threads.h"

namespace {

using multiprocess::Child;
using multiprocess::step;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using VDIFrameworkCommon::ProcessMonitor;

using Pids = std::set<unsigned int>;

static_assert(!std::is_copy_constructible_v<ProcessMonitor>);

constexpr milliseconds interval(2000);

PRIVATE_MEMBER(running, ProcessMonitor::running_);

// A monitor may be stopped only when its thread has begun.
void waitUntilBegun(ProcessMonitor& monitor) {
    waitUntil([&] { return (monitor.*running()).load(); });
}

unsigned idOf(const Child& child) {
    return static_cast<unsigned>(child.pid());
}

unsigned ownId() {
    return static_cast<unsigned>(getpid());
}

CHILD_MAIN(runs) {
    step("runs");
    multiprocess::await("never");
}

// What a monitor reported, call by call.
class Reports {
public:
    std::function<void(const Pids&)> callback() {
        return [this](const Pids& pids) {
            const std::lock_guard lock(mutex_);
            calls_.push_back(pids);
        };
    }
    std::vector<Pids> calls() {
        const std::lock_guard lock(mutex_);
        return calls_;
    }
    void waitForCalls(std::size_t count) {
        waitUntil([&] { return calls().size() >= count; });
    }

private:
    std::mutex mutex_;
    std::vector<Pids> calls_;
};

TEST(ProcessMonitor, KeepsASetOfIds) {
    ProcessMonitor monitor({});
    waitUntilBegun(monitor);
    EXPECT_EQ(monitor.getProcessIds(), Pids{});
    monitor.addProcessId(ownId());
    monitor.monitorProcess(1);
    monitor.addProcessId(ownId());
    monitor.monitorProcess(1);
    EXPECT_EQ(monitor.getProcessIds(), (Pids{1, ownId()}));
    monitor.removeProcessId(1);
    monitor.removeProcessId(1);
    EXPECT_EQ(monitor.getProcessIds(), Pids{ownId()});
}

TEST(ProcessMonitor, TellsWhetherAProcessRuns) {
    ProcessMonitor monitor({});
    waitUntilBegun(monitor);
    EXPECT_TRUE(monitor.checkIfProcessRunning(ownId()));
    EXPECT_FALSE(monitor.checkIfProcessRunning(0));
}

TEST(ProcessMonitor, ReportsAKilledProcessOnceAndForgetsIt) {
    Child child("runs");
    child.waitFor("runs");
    Reports reports;
    const auto start = steady_clock::now();
    ProcessMonitor monitor(reports.callback());
    waitUntilBegun(monitor);
    const unsigned pid = idOf(child);
    monitor.addProcessId(pid);
    monitor.addProcessId(ownId());
    child.kill();
    reports.waitForCalls(1);
    EXPECT_GE(steady_clock::now() - start, interval);
    EXPECT_EQ(monitor.getProcessIds(), Pids{ownId()});
    monitor.stop();
    EXPECT_EQ(reports.calls(), std::vector<Pids>{Pids{pid}});
}

TEST(ProcessMonitor, ReportsAllThatEndedInOneInterval) {
    Child first("runs");
    Child second("runs");
    Child third("runs");
    for (Child* child : {&first, &second, &third}) {
        child->waitFor("runs");
    }
    const Pids pids{idOf(first), idOf(second), idOf(third)};
    first.kill();
    second.kill();
    third.kill();
    Reports reports;
    ProcessMonitor monitor(reports.callback());
    waitUntilBegun(monitor);
    for (const unsigned pid : pids) {
        monitor.addProcessId(pid);
    }
    monitor.stop();
    EXPECT_EQ(reports.calls(), std::vector<Pids>{pids});
    EXPECT_EQ(monitor.getProcessIds(), Pids{});
}

TEST(ProcessMonitor, ReportsAProcessThatIsNotReapedYet) {
    const pid_t pid = fork();
    if (pid == 0) {
        _exit(0);
    }
    siginfo_t info{};
    waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
    Reports reports;
    ProcessMonitor monitor(reports.callback());
    waitUntilBegun(monitor);
    monitor.addProcessId(static_cast<unsigned>(pid));
    monitor.stop();
    EXPECT_EQ(reports.calls(), std::vector<Pids>{Pids{static_cast<unsigned>(pid)}});
}

TEST(ProcessMonitor, WithNothingToReportNeverCalls) {
    Reports reports;
    ProcessMonitor monitor(reports.callback());
    for (int i = 0; i < 3; ++i) {
        waitUntilBegun(monitor);
        monitor.stop();  // with a last pass
        monitor.addProcessId(ownId());
        monitor.start();
    }
    waitUntilBegun(monitor);
    monitor.stop();
    EXPECT_TRUE(reports.calls().empty());
}

TEST(ProcessMonitor, MayHaveNoCallback) {
    ProcessMonitor monitor({});
    waitUntilBegun(monitor);
    monitor.addProcessId(0);
    monitor.stop();
    EXPECT_EQ(monitor.getProcessIds(), Pids{}) << "forgotten all the same";
}

TEST(ProcessMonitor, TheCallbackMayChangeAndReadTheIds) {
    ProcessMonitor* self = nullptr;
    std::vector<Pids> seen;
    ProcessMonitor monitor([&](const Pids&) {
        seen.push_back(self->getProcessIds());
        self->addProcessId(1);
        self->monitorProcess(ownId());
        self->removeProcessId(1);
        seen.push_back(self->getProcessIds());
    });
    self = &monitor;
    waitUntilBegun(monitor);
    monitor.addProcessId(0);
    monitor.stop();
    EXPECT_EQ(seen, (std::vector<Pids>{{}, {ownId()}}));
}

TEST(ProcessMonitor, StopDoesNotWaitForTheInterval) {
    // A monitor that slept on could never stop sooner than this; a machine that stands still may make one stop later.
    bool sooner = false;
    for (int i = 0; i < 10 && !sooner; ++i) {
        const auto start = steady_clock::now();
        ProcessMonitor monitor({});
        waitUntilBegun(monitor);
        monitor.stop();
        sooner = steady_clock::now() - start < interval;
    }
    EXPECT_TRUE(sooner);
}

TEST(ProcessMonitor, StopEndsTheThreadAndMayBeRepeated) {
    const auto before = threads::count();
    ProcessMonitor monitor({});
    EXPECT_EQ(threads::count(), before + 1);
    waitUntilBegun(monitor);
    monitor.stop();
    waitUntil([&] { return threads::count() == before; });  // the system lists a thread a little longer
    monitor.stop();
    monitor.start();
    EXPECT_EQ(threads::count(), before + 1);
    waitUntilBegun(monitor);
}

// The thread itself says that it runs, so a stop that came before is undone. Owners wait until it runs.
TEST(ProcessMonitor, AThreadThatBeginsAfterTheStopKeepsRunning) {
    ProcessMonitor monitor({});
    waitUntilBegun(monitor);
    monitor.stop();
    Background late([&] { monitor.monitorProcesses(); });
    waitUntilBegun(monitor);
    late.waitUntilAsleep();
    EXPECT_FALSE(late.ended());
    monitor.stop();
    late.join();
}

CHILD_MAIN(startsTwice) {
    ProcessMonitor monitor({});
    waitUntilBegun(monitor);
    monitor.start();
    step("survived");
}

TEST(ProcessMonitor, ASecondStartEndsTheProcess) {
    EXPECT_EQ(Child("startsTwice").join(), 128 + SIGABRT);
}

}  // namespace
