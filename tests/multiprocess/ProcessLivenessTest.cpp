#include <VDIFrameworkCommon/ProcessUtils.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "SystemCalls.h"
#include "support/Limits.h"
#include "support/Multiprocess.h"
#include "support/Sanitizers.h"
#include "support/Users.h"

// Each case is asked three times: with process descriptors, without a descriptor left, and where the kernel does not
// offer process descriptors.

namespace {

using multiprocess::await;
using multiprocess::Child;
using multiprocess::step;
using VDIFrameworkCommon::ProcessUtils;

bool isRunning(pid_t pid) {
    return ProcessUtils::isProcessRunning(static_cast<unsigned int>(pid));
}

void expectRunning(pid_t pid, bool expected) {
    EXPECT_EQ(isRunning(pid), expected);
    {
        const limits::NoDescriptors none;
        ASSERT_LT(::dup(0), 0);
        EXPECT_EQ(isRunning(pid), expected) << "without a descriptor";
    }
    for (const int error : {ENOSYS, EPERM}) {
        std::thread([&] {
            ASSERT_TRUE(systemcalls::forbid(SYS_pidfd_open, error));
            EXPECT_EQ(isRunning(pid), expected) << "with error " << error;
        }).join();
    }
}

// Waits until the child is a zombie, and leaves it one.
void awaitZombie(pid_t pid) {
    siginfo_t info{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT), 0);
}

CHILD_MAIN(staysAlive) {
    step("up");
    await("never");
}

TEST(ProcessLiveness, AnotherProcessIsRunning) {
    Child child("staysAlive");
    child.waitFor("up");
    expectRunning(child.pid(), true);
}

TEST(ProcessLiveness, ThisProcessIsRunning) {
    expectRunning(::getpid(), true);
}

TEST(ProcessLiveness, AStoppedProcessIsRunning) {
    Child child("staysAlive");
    child.waitFor("up");
    ASSERT_EQ(::kill(child.pid(), SIGSTOP), 0);
    siginfo_t info{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(child.pid()), &info, WSTOPPED), 0);
    expectRunning(child.pid(), true);
}

TEST(ProcessLiveness, AZombieIsNotRunning) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::_exit(0);
    }
    awaitZombie(pid);
    ASSERT_EQ(::kill(pid, 0), 0) << "the id is still taken";
    expectRunning(pid, false);
    ::waitpid(pid, nullptr, 0);
    expectRunning(pid, false);
}

TEST(ProcessLiveness, AKilledProcessThatNobodyReapedIsNotRunning) {
    Child child("staysAlive");
    child.waitFor("up");
    ASSERT_EQ(::kill(child.pid(), SIGKILL), 0);
    awaitZombie(child.pid());
    expectRunning(child.pid(), false);
}

TEST(ProcessLiveness, AThreadIsNoProcess) {
    Child child("staysAlive");
    child.waitFor("up");
    pid_t thread = 0;
    std::thread([&] {
        thread = static_cast<pid_t>(::syscall(SYS_gettid));
        ASSERT_EQ(::kill(thread, 0), 0) << "a plain signal test takes the thread for a process";
        expectRunning(thread, false);
    }).join();
}

CHILD_MAIN(endsItsFirstThreadOnly) {
    std::thread([] {
        // Until the first thread is a zombie, and not merely on its way to be one.
        while (::syscall(SYS_tgkill, ::getpid(), ::getpid(), 0) == 0) {
            char path[64];
            char state = 0;
            std::snprintf(path, sizeof path, "/proc/self/task/%d/stat", ::getpid());
            std::FILE* const file = std::fopen(path, "r");
            const bool read = std::fscanf(file, "%*d (%*[^)]) %c", &state) == 1;
            std::fclose(file);
            if (read && state == 'Z') {
                break;
            }
            std::this_thread::yield();
        }
        step("up");
        await("never");
    }).detach();
    ::pthread_exit(nullptr);
}

TEST(ProcessLiveness, AProcessWhoseFirstThreadHasEndedIsRunning) {
    if (sanitizers::address) {
        GTEST_SKIP() << "a first thread cannot end alone under the sanitizer";
    }
    Child child("endsItsFirstThreadOnly");
    child.waitFor("up");
    expectRunning(child.pid(), true);
}

CHILD_MAIN(becomesNobody) {
    if (!users::canChange() || !users::become(users::nobody)) {
        step("cannot");
        return;
    }
    step("up");
    await("never");
}

TEST(ProcessLiveness, AProcessOfAnotherUserIsRunning) {
    Child other("becomesNobody");
    if (other.next() != "up") {
        GTEST_SKIP() << "only root can start a process of another user";
    }
    expectRunning(other.pid(), true);
}

CHILD_MAIN(asksAsNobody) {
    const pid_t live = std::stoi(arguments.at(0));
    const pid_t zombie = std::stoi(arguments.at(1));
    if (!users::canChange() || !users::become(users::nobody)) {
        step("cannot");
        return;
    }
    const bool maySignal = ::kill(live, 0) == 0;
    step(std::string(maySignal ? "allowed " : "refused ") + (isRunning(live) ? "live " : "") +
         (isRunning(zombie) ? "zombie" : ""));
    const limits::NoDescriptors none;
    step(isRunning(live) ? "live" : "dead");
}

TEST(ProcessLiveness, AProcessThatMayNotBeSignalledIsRunning) {
    Child live("staysAlive");
    live.waitFor("up");
    const pid_t zombie = ::fork();
    if (zombie == 0) {
        ::_exit(0);
    }
    awaitZombie(zombie);
    Child other("asksAsNobody", {std::to_string(live.pid()), std::to_string(zombie)});
    const std::string answer = other.next();
    if (answer == "cannot") {
        GTEST_SKIP() << "only root can become another user";
    }
    EXPECT_EQ(answer, "refused live ");
    EXPECT_EQ(other.next(), "live");
    ::waitpid(zombie, nullptr, 0);
}

volatile std::sig_atomic_t handled = 0;

// A signal that arrives all the time interrupts the look at the process, which must be taken again.
TEST(ProcessLiveness, SignalsDoNotChangeTheAnswer) {
    const pid_t zombie = ::fork();
    if (zombie == 0) {
        ::_exit(0);
    }
    awaitZombie(zombie);
    struct sigaction action {};
    action.sa_handler = [](int) { handled = 1; };
    ::sigaction(SIGALRM, &action, nullptr);
    const itimerval often{.it_interval = {.tv_sec = 0, .tv_usec = 50}, .it_value = {.tv_sec = 0, .tv_usec = 50}};
    ::setitimer(ITIMER_REAL, &often, nullptr);
    for (int i = 0; i < 20000; ++i) {
        ASSERT_TRUE(isRunning(::getpid()));
        ASSERT_FALSE(isRunning(zombie));
    }
    const itimerval never{};
    ::setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_EQ(handled, 1);
    ::waitpid(zombie, nullptr, 0);
}

TEST(ProcessLiveness, LeaksNoDescriptor) {
    const auto before = limits::openDescriptors();
    for (int i = 0; i < 5000; ++i) {
        isRunning(::getpid());
        isRunning(0);
    }
    EXPECT_EQ(limits::openDescriptors(), before);
}

CHILD_MAIN(killsItself) {
    step("up");
    std::atexit([] { step("cleaned up"); });
    ProcessUtils::killCurrentProcess();
    step("survived");
}

TEST(ProcessUtils, KillsTheCurrentProcessWithoutCleanUp) {
    Child child("killsItself");
    child.waitFor("up");
    EXPECT_EQ(child.join(), 128 + SIGKILL);
}

}  // namespace
