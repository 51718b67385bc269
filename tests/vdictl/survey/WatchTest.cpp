// The log of changes, a line each, as they happen.

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>
#include <csignal>
#include <string>

#include "multiprocess/SystemCalls.h"
#include "support/RawObject.h"
#include "vdictl/ToolProgram.h"
#include "vdictl/survey/AgentProcess.h"

namespace {

using namespace VDIFrameworkCommon;
using nlohmann::json;
using testing::HasSubstr;

const std::string doorName = raw::logicalName("HDVDI_", "door");

// Reads on until a line holds the text.
std::string lineWith(tool::Program& watch, const std::string& text) {
    std::string line;
    do {
        line = watch.line();
    } while (!line.empty() && line.find(text) == std::string::npos);
    return line;
}

// The lines up to that by which both texts have come.
std::string linesUpTo(tool::Program& watch, const std::string& first, const std::string& second) {
    std::string lines;
    std::string line;
    do {
        line = watch.line();
        lines += line + '\n';
    } while (!line.empty() && (lines.find(first) == std::string::npos || lines.find(second) == std::string::npos));
    return lines;
}

TEST(VdictlWatch, TellsTheLifeOfAnAgent) {
    tool::Program watch({"watch", "--log"});
    EXPECT_THAT(watch.line(), HasSubstr("watching /dev/shm"));
    AgentProcess agent;
    const std::string who = "agent " + std::to_string(agent.pid()) + " (vdi-agent)";
    // The record of the active agent may be looked at before the list.
    const std::string lines = linesUpTo(watch, "registered", "became active");
    EXPECT_THAT(lines, HasSubstr("OrvexHuddles user " + std::to_string(geteuid()) + ": " + who + " registered"));
    EXPECT_THAT(lines, HasSubstr(who + " became active"));
    agent.kill();
    EXPECT_THAT(lineWith(watch, "died"), HasSubstr(who + " died, it is still"));
    watch.signal(SIGTERM);
    EXPECT_EQ(watch.end(), 0);
}

TEST(VdictlWatch, TellsOfADeathWhereTheSystemHasNoDescriptorsOfProcesses) {
    AgentProcess agent;
    ASSERT_TRUE(agent.says(": active"));
    ASSERT_TRUE(systemcalls::forbid(SYS_pidfd_open, ENOSYS));
    tool::Program watch({"watch", "--log"});
    lineWith(watch, "runners");
    agent.kill();
    EXPECT_THAT(lineWith(watch, "died"), HasSubstr("it is still"));
}

TEST(VdictlWatch, BeginsWithHowItIs) {
    AgentProcess agent;
    ASSERT_TRUE(agent.says(": active"));
    tool::Program watch({"watch", "--log"});
    EXPECT_THAT(lineWith(watch, "runners"), HasSubstr("active " + std::to_string(agent.pid()) + " (vdi-agent)"));
}

// Written to in memory, of which the system tells nobody.
TEST(VdictlWatch, TellsWhatHappensToAnEvent) {
    t_HANDLE* const event = CreateEventA(nullptr, false, false, doorName.c_str());
    tool::Program watch({"watch"});
    EXPECT_THAT(watch.line(), HasSubstr("watching"));
    SetEvent(event);
    EXPECT_THAT(lineWith(watch, "was set"), HasSubstr(doorName + "_event"));
    ResetEvent(event);
    EXPECT_THAT(lineWith(watch, "was reset"), HasSubstr(doorName + "_event"));
}

TEST(VdictlWatch, TellsOfObjectsAsJson) {
    tool::Program watch({"watch", "--json"});
    EXPECT_EQ(json::parse(watch.line())["kind"], "start");
    raw::write("door", 0, "x", 1, 1);
    const json created = json::parse(watch.line());
    EXPECT_EQ(created["kind"], "object-created");
    EXPECT_EQ(created["object"], raw::systemName("door"));
    ASSERT_EQ(chmod(("/dev/shm" + raw::systemName("door")).c_str(), 0644), 0);
    // It may have been seen without its byte before.
    const json changed = json::parse(lineWith(watch, "mode 0644"));
    EXPECT_EQ(changed["kind"], "object-changed");
    EXPECT_THAT(changed["detail"].get<std::string>(), HasSubstr("mode 0644"));
    shm_unlink(raw::systemName("door").c_str());
    EXPECT_THAT(lineWith(watch, "object-removed"), HasSubstr(raw::systemName("door")));
}

// Starts it with this end of a pipe, which it takes, as its standard output.
pid_t watchInto(int output) {
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(output, STDOUT_FILENO);
        execl(VDICTL, "vdictl", "watch", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(output);
    return pid;
}

TEST(VdictlWatch, EndsWhenNobodyReadsIt) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t pid = watchInto(ends[1]);
    char byte = 0;
    ASSERT_EQ(read(ends[0], &byte, 1), 1);
    close(ends[0]);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST(VdictlWatch, EndsAlsoWhenNobodyReadItFromTheBeginning) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const pid_t pid = watchInto(ends[1]);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

// More would scroll the beginning away, and a view of the old size would not fit.
TEST(VdictlWatch, OnATerminalShowsWhatFitsAlsoIntoAnotherSize) {
    for (int i = 0; i < 40; ++i) {
        raw::write("door" + std::to_string(i), 0, "hello", 5, 5);
    }
    ::unsetenv("COLUMNS");
    tool::Program watch(tool::Start{{"watch"}, {}, {{"NO_COLOR", "1"}}, true, {}});
    const auto linesOfAView = [&watch] {
        int lines = 0;
        std::string line;
        do {
            line = watch.line();
            ++lines;
        } while (!line.empty() && line.find("more lines: 'vdictl status' shows all") == std::string::npos);
        return lines;
    };
    EXPECT_EQ(linesOfAView(), 23);
    watch.resize(12, 200);
    int lines = 0;
    do {
        lines = linesOfAView();
    } while (lines == 23);  // it shows the time, too, now and then
    EXPECT_EQ(lines, 11);
    watch.signal(SIGINT);
    EXPECT_EQ(watch.end(), 0);
}

TEST(VdictlWatch, GoldenJsonOfAChange) {
    t_HANDLE* const event = CreateEventA(nullptr, false, false, doorName.c_str());
    tool::Program watch({"watch", "--json"});
    json start = json::parse(watch.line());
    EXPECT_TRUE(start["time"].is_string());
    start.erase("time");
    EXPECT_EQ(start["kind"], "start");
    EXPECT_EQ(start["products"].size(), 1U);
    EXPECT_EQ(start.size(), 2U);
    SetEvent(event);
    json set = json::parse(lineWith(watch, "event-set"));
    EXPECT_TRUE(set["time"].is_string());
    set.erase("time");
    EXPECT_EQ(set, (json{{"kind", "event-set"},
                         {"product", "OrvexHuddles"},
                         {"user", geteuid()},
                         {"pid", nullptr},
                         {"program", nullptr},
                         {"object", raw::systemName(doorName + "_event")},
                         {"logicalName", doorName + "_event"},
                         {"detail", nullptr}}));
}

TEST(VdictlWatch, OnATerminalShowsTheWholeState) {
    raw::write("door", 0, "hello", 5, 5);
    tool::Program watch(tool::Start{{"watch"}, {}, {}, true, {}});
    EXPECT_THAT(lineWith(watch, "unknown"), HasSubstr(" 0600 "));
    EXPECT_THAT(lineWith(watch, "hello"), HasSubstr("text")) << "on a line of its own";
    watch.signal(SIGINT);
    EXPECT_EQ(watch.end(), 0);
}

}  // namespace
