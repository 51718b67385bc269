#include "survey/Processes.h"

#include <VDIFrameworkCommon/ProcessUtils.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <limits>
#include <sstream>
#include <system_error>

#include "survey/ProcFile.h"

namespace vdictl {

namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

std::int64_t nanosecondsOf(clockid_t clock) {
    std::timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * nanosecondsPerSecond + now.tv_nsec;
}

// The kernel counts from the start of the system, in ticks.
std::timespec wallClock(std::uint64_t ticks) {
    static const auto ticksPerSecond = static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
    const auto sinceStart = static_cast<std::int64_t>(ticks / ticksPerSecond) * nanosecondsPerSecond +
                            static_cast<std::int64_t>(ticks % ticksPerSecond) * nanosecondsPerSecond /
                                static_cast<std::int64_t>(ticksPerSecond);
    const std::int64_t start = nanosecondsOf(CLOCK_REALTIME) - nanosecondsOf(CLOCK_BOOTTIME);
    const std::int64_t time = start + sinceStart;
    return {static_cast<std::time_t>(time / nanosecondsPerSecond), static_cast<long>(time % nanosecondsPerSecond)};
}

// "4711 (name) S …": the name may hold anything, so it ends at the last bracket.
void readStat(ProcessFacts& facts) {
    constexpr int fieldsBeforeStart = 19;  // of those behind the name
    const std::string text = readProcFile(static_cast<pid_t>(facts.pid), "stat");
    const std::size_t begin = text.find('(');
    const std::size_t end = text.rfind(')');
    if (begin == std::string::npos || end == std::string::npos || end < begin) {
        return;
    }
    facts.program = text.substr(begin + 1, end - begin - 1);
    std::istringstream rest(text.substr(end + 1));
    std::string field;
    for (int i = 0; i < fieldsBeforeStart; ++i) {
        rest >> field;
    }
    std::uint64_t ticks = 0;
    if (rest >> ticks) {
        facts.started = wallClock(ticks);
    }
}

void readProgram(ProcessFacts& facts) {
    std::array<char, 4096> path{};
    const std::string link = procPath(static_cast<pid_t>(facts.pid), "exe");
    const ssize_t length = readlink(link.c_str(), path.data(), path.size());
    if (length > 0) {
        facts.program.assign(path.data(), static_cast<std::size_t>(length));
    }
}

}  // namespace

std::string statusField(pid_t pid, const std::string& name) {
    const std::string status = readProcFile(pid, "status");
    const std::size_t start = status.find('\n' + name + ':');
    if (start == std::string::npos) {
        return {};
    }
    const std::size_t from = start + name.size() + 2;
    return status.substr(from, status.find('\n', from) - from);
}

bool isLater(const std::timespec& a, const std::timespec& b) {
    constexpr double margin = 0.1;
    const double seconds = static_cast<double>(a.tv_sec - b.tv_sec) + static_cast<double>(a.tv_nsec - b.tv_nsec) / 1e9;
    return seconds > margin;
}

ProcessFacts factsAbout(std::uint32_t pid) {
    ProcessFacts facts;
    facts.pid = pid;
    facts.isAlive = VDIFrameworkCommon::ProcessUtils::isProcessRunning(pid);
    if (facts.isAlive) {
        readStat(facts);
        readProgram(facts);
        facts.users = usersOf(static_cast<pid_t>(pid));
    }
    return facts;
}

std::set<uid_t> usersOf(pid_t pid) {
    std::set<uid_t> users;
    std::istringstream ids(statusField(pid, "Uid"));
    for (uid_t user = 0; ids >> user;) {
        users.insert(user);
    }
    return users;
}

std::optional<pid_t> processOfThread(pid_t thread) {
    std::istringstream group(statusField(thread, "Tgid"));
    pid_t pid = 0;
    if (group >> pid) {
        return pid;
    }
    // Systems may hide processes of others.
    return thread > 0 && (kill(thread, 0) == 0 || errno == EPERM) ? std::optional(thread) : std::nullopt;
}

std::string shortName(const std::string& program) {
    return program.substr(program.rfind('/') + 1);
}

}  // namespace vdictl
