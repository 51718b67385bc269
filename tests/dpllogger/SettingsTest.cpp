#include <VDIFrameworkCommon/VirtualChannelLogger.h>
#include <dpllogger/DPLLogger.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <fstream>
#include <string>

#include "dpllogger/LogReader.h"
#include "support/Multiprocess.h"

namespace {

using DPL::dpllogger::LogAppenderType;
using DPL::dpllogger::LogController;
using multiprocess::Child;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

mode_t modeOf(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

// Arguments: the log, the kind of appender. Writes an INFO and an ERROR record.
CHILD_MAIN(writesToAnAppender) {
    LogController controller;
    controller.init(arguments.at(0));
    controller.setAppenderType(static_cast<LogAppenderType>(std::stoi(arguments.at(1))));
    logreader::write(controller, DPL_INFO, "information");
    logreader::write(controller, DPL_ERROR, "error");
    logreader::write(controller, DPL_DEBUG, "detail");
}

// Arguments: the log. Changes nothing, writes a record of each level.
CHILD_MAIN(writesEveryLevel) {
    LogController controller;
    controller.init(arguments.at(0));
    for (int level = DPL_FATAL; level <= DPL_TRACE; ++level) {
        logreader::write(controller, DPLLogLevel(level), std::to_string(level));
    }
}

// Arguments: a location. Logs there and changes the folder afterwards.
CHILD_MAIN(logsToALocation) {
    LogController controller;
    controller.init(arguments.at(0));
    EXPECT_EQ(chdir("/"), 0);
    logreader::write(controller, DPL_INFO, "one");
    controller.flush();
    logreader::write(controller, DPL_INFO, "two");
}

CHILD_MAIN(makesTwoControllers) {
    const LogController first;
    const LogController second;
}

std::vector<std::string> fileAfter(LogAppenderType type, std::string& console,
                                   const multiprocess::Variables& variables) {
    const logreader::TemporaryFolder folder;
    Child child("writesToAnAppender", {folder / "a.log", std::to_string(static_cast<int>(type))}, variables);
    EXPECT_EQ(child.join(), 0);
    console = child.errors();
    return logreader::messagesOf(folder / "a.log");
}

TEST(LogLevel, EveryRecordNotAboveTheThresholdPasses) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    std::vector<std::string> expected;
    for (const int threshold : {INT_MIN, -1, 0, 1, 2, 3, 4, 5, 6, 7, 99, INT_MAX}) {
        controller.setLogLevel(DPLLogLevel(threshold));
        for (const int level : {-2, 0, 1, 2, 3, 4, 5, 6, 7, 8, 99, 100}) {
            const std::string message = std::to_string(level) + " at " + std::to_string(threshold);
            logreader::write(controller, DPLLogLevel(level), message);
            if (level <= threshold) {
                expected.push_back(message);
            }
        }
    }
    controller.flush();
    EXPECT_EQ(logreader::messagesOf(folder / "a.log"), expected);
}

TEST(LogLevel, IsInformationAtFirst) {
    const logreader::TemporaryFolder folder;
    Child child("writesEveryLevel", {folder / "a.log"});
    ASSERT_EQ(child.join(), 0);
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("1", "2", "3", "4"));
}

TEST(LogLevel, ComesFromTheEnvironmentByNameOrNumber) {
    for (const auto& [value, last] : {std::pair("warn", 3), {"TRACE", 6}, {"5", 5}, {"All", 6}, {"1000", 6}}) {
        const logreader::TemporaryFolder folder;
        Child child("writesEveryLevel", {folder / "a.log"}, {{"DPL_LOG_LEVEL", value}});
        ASSERT_EQ(child.join(), 0);
        EXPECT_EQ(logreader::messagesOf(folder / "a.log").size(), static_cast<std::size_t>(last)) << value;
        EXPECT_EQ(child.errors(), "");
    }
}

CHILD_MAIN(setsLevelAndAppender) {
    LogController controller;
    controller.setLogLevel(DPL_OFF);
    controller.setAppenderType(LogAppenderType::None);
    controller.init(arguments.at(0));
    logreader::write(controller, DPL_DEBUG, "detail");
}

TEST(LogEnvironment, IsStrongerThanTheHost) {
    const logreader::TemporaryFolder folder;
    Child child("setsLevelAndAppender", {folder / "a.log"},
                {{"DPL_LOG_LEVEL", "debug"}, {"DPL_LOG_APPENDER", "file+console"}});
    ASSERT_EQ(child.join(), 0);
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("detail"));
    EXPECT_THAT(logreader::messagesOf(logreader::parseAll(child.errors())), ElementsAre("detail"));
}

TEST(LogEnvironment, ValuesWithoutSenseAreReportedOnceAndNotUsed) {
    Child child("makesTwoControllers", {},
                {{"DPL_LOG_LEVEL", "verbose"},
                 {"DPL_LOG_APPENDER", "9"},
                 {"DPL_LOG_FILE_SIZE", "17592186044416M"},
                 {"DPL_LOG_FILE_COUNT", "-1"}});
    ASSERT_EQ(child.join(), 0);
    EXPECT_EQ(child.errors(),
              "tavixhuddleslogger: DPL_LOG_LEVEL is not off, fatal, error, warn, info, debug, trace, all or a number\n"
              "tavixhuddleslogger: DPL_LOG_APPENDER is not none, console, file, syslog or file+console\n"
              "tavixhuddleslogger: DPL_LOG_FILE_SIZE is not a number of bytes, or one with K or M\n"
              "tavixhuddleslogger: DPL_LOG_FILE_COUNT is not a number of files\n");
}

TEST(LogEnvironment, EmptyValuesCountAsNotSet) {
    Child child("makesTwoControllers", {}, {{"DPL_LOG_LEVEL", ""}, {"DPL_LOG_APPENDER", ""}});
    ASSERT_EQ(child.join(), 0);
    EXPECT_EQ(child.errors(), "");
}

TEST(LogAppender, NoneDiscards) {
    std::string console;
    EXPECT_THAT(fileAfter(LogAppenderType::None, console, {}), IsEmpty());
    EXPECT_EQ(console, "");
}

TEST(LogAppender, ConsoleIsStandardErrorOnly) {
    std::string console;
    EXPECT_THAT(fileAfter(LogAppenderType::Console, console, {}), IsEmpty());
    EXPECT_THAT(logreader::messagesOf(logreader::parseAll(console)), ElementsAre("information", "error"));
}

TEST(LogAppender, FileIsTheFileOnly) {
    std::string console;
    EXPECT_THAT(fileAfter(LogAppenderType::File, console, {}), ElementsAre("information", "error"));
    EXPECT_EQ(console, "");
}

TEST(LogAppender, FileAndConsoleIsBoth) {
    std::string console;
    EXPECT_THAT(fileAfter(LogAppenderType::FileAndConsole, console, {}), ElementsAre("information", "error"));
    EXPECT_THAT(logreader::messagesOf(logreader::parseAll(console)), ElementsAre("information", "error"));
}

TEST(LogAppender, EachHasANameInTheEnvironment) {
    std::string console;
    EXPECT_THAT(fileAfter(LogAppenderType::File, console, {{"DPL_LOG_APPENDER", "none"}}), IsEmpty());
    EXPECT_EQ(console, "");
    EXPECT_THAT(fileAfter(LogAppenderType::File, console, {{"DPL_LOG_APPENDER", "CONSOLE"}}), IsEmpty());
    EXPECT_THAT(console, HasSubstr("information"));
    EXPECT_THAT(fileAfter(LogAppenderType::None, console, {{"DPL_LOG_APPENDER", "file"}}), testing::SizeIs(2));
    EXPECT_EQ(console, "");
}

TEST(LogAppender, AnUnknownKindChangesNothing) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    controller.setAppenderType(LogAppenderType(-1));
    controller.setAppenderType(LogAppenderType(5));
    logreader::write(controller, DPL_ERROR, "here");
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("here"));
}

TEST(LogAppender, ChangingItKeepsEachRecordWhereItBelongs) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "a.log");
    logreader::write(controller, DPL_INFO, "before");
    controller.setAppenderType(LogAppenderType::None);
    logreader::write(controller, DPL_ERROR, "discarded");
    controller.setAppenderType(LogAppenderType::File);
    logreader::write(controller, DPL_ERROR, "after");
    EXPECT_THAT(logreader::messagesOf(folder / "a.log"), ElementsAre("before", "after"));
}

// Receives what is sent to the system's log, in place of the machine's own logging service.
class SystemLog {
public:
    SystemLog() {
        // This process and its own mounts are the test's; /dev is looked up for the log's socket only from here on.
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/dev/log");
        if (mount("tmpfs", "/dev", "tmpfs", MS_NOSUID, nullptr) == 0) {
            socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
            isThere_ = bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        }
    }
    ~SystemLog() { close(socket_); }
    SystemLog(const SystemLog&) = delete;
    SystemLog& operator=(const SystemLog&) = delete;

    bool isThere() const { return isThere_; }
    std::string next() const {
        char buffer[1000];
        const ssize_t got = recv(socket_, buffer, sizeof buffer, MSG_DONTWAIT);
        return {buffer, got < 0 ? 0 : static_cast<std::size_t>(got)};
    }

private:
    int socket_ = -1;
    bool isThere_ = false;
};

TEST(LogAppender, SystemLogGetsLevelAndTextOfEachRecord) {
    const SystemLog log;
    if (!log.isThere()) {
        GTEST_SKIP() << "no system log can be set up here: " << std::strerror(errno);
    }
    LogController controller;
    controller.setLogLevel(DPLLogLevel(100));
    controller.setAppenderType(LogAppenderType::SystemLog);
    const std::pair<int, const char*> expected[] = {{-1, "<10>"},        {0, "<10>"},         {DPL_FATAL, "<10>"},
                                                    {DPL_ERROR, "<11>"}, {DPL_WARN, "<12>"},  {DPL_INFO, "<14>"},
                                                    {DPL_DEBUG, "<15>"}, {DPL_TRACE, "<15>"}, {50, "<15>"}};
    for (const auto& [level, priority] : expected) {
        logreader::write(controller, DPLLogLevel(level), "100 %s\n");
        const std::string record = log.next();
        EXPECT_THAT(record, testing::StartsWith(priority)) << level;
        EXPECT_THAT(record, testing::EndsWith(" Test tests/Some.cpp:7 function: 100 %s\\n"));
        EXPECT_THAT(record, HasSubstr("[" + std::to_string(getpid()) + "]: "));
    }
    EXPECT_EQ(log.next(), "");
}

TEST(LogLocation, AFileIsUsedAsItIs) {
    const logreader::TemporaryFolder folder;
    std::ofstream(folder / "noextension") << "";
    LogController controller;
    controller.init(folder / "noextension");
    logreader::write(controller, DPL_ERROR, "here");
    EXPECT_THAT(logreader::messagesOf(folder / "noextension"), ElementsAre("here"));
}

TEST(LogLocation, InAFolderTheFileIsParletLog) {
    const logreader::TemporaryFolder folder;
    std::filesystem::create_directory(folder / "with.dot");
    for (const char* const name : {"with.dot", "missing/", "missing.too/", "plain", ".hidden"}) {
        LogController controller;
        controller.init((folder / name).string());
        logreader::write(controller, DPL_ERROR, "here");
        EXPECT_THAT(logreader::messagesOf(folder / name / VDIFrameworkCommon::LogFileName), ElementsAre("here"))
            << name;
    }
}

TEST(LogLocation, MissingFoldersAreMadeForTheirOwnerAlone) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "one" / "two" / "three.log");
    logreader::write(controller, DPL_ERROR, "here");
    EXPECT_THAT(logreader::messagesOf(folder / "one" / "two" / "three.log"), ElementsAre("here"));
    EXPECT_EQ(modeOf(folder / "one"), 0700U);
    EXPECT_EQ(modeOf(folder / "one" / "two"), 0700U);
    EXPECT_EQ(modeOf(folder / "one" / "two" / "three.log"), 0600U);
}

CHILD_MAIN(logsWithAStrictMask) {
    constexpr uid_t user = 12345;
    if (geteuid() == 0 && (setresgid(user, user, user) != 0 || setresuid(user, user, user) != 0)) {
        multiprocess::step("cannot");
        return;
    }
    multiprocess::step("ordinary");
    umask(0777);
    LogController controller;
    controller.init(arguments.at(0));
    logreader::write(controller, DPL_ERROR, "one");
    LogController another;
    another.init(arguments.at(0));
    logreader::write(another, DPL_ERROR, "two");
}

TEST(LogLocation, ModesAreTheSameWhateverTheProcessesMask) {
    const logreader::TemporaryFolder folder;
    std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
    const auto sub = folder / "sub";
    Child child("logsWithAStrictMask", {sub / "a.log"});
    if (child.next() != "ordinary") {
        GTEST_SKIP() << "the process cannot become an ordinary user's";
    }
    EXPECT_EQ(child.join(), 0);
    EXPECT_EQ(child.errors(), "");
    EXPECT_EQ(modeOf(sub), 0700U);
    EXPECT_EQ(modeOf(sub / "a.log"), 0600U);
    EXPECT_THAT(logreader::messagesOf(sub / "a.log"), ElementsAre("one", "two"));
}

TEST(LogLocation, StaysTheSameWhenTheWorkingFolderChanges) {
    const logreader::TemporaryFolder folder;
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    Child child("logsToALocation", {"relative/a.log"});
    ASSERT_EQ(child.join(), 0);
    EXPECT_THAT(logreader::messagesOf(folder / "relative" / "a.log"), ElementsAre("one", "two"));
}

TEST(LogLocation, AnUnusableOneIsReportedOnceAndTheConsoleIsUsed) {
    const logreader::TemporaryFolder folder;
    std::ofstream(folder / "file") << "not a folder\n";
    Child child("logsToALocation", {folder / "file" / "a.log"});
    ASSERT_EQ(child.join(), 0);
    const std::string errors = child.errors();
    const std::string report = "tavixhuddleslogger: no log can be written to " + (folder / "file" / "a.log").string() +
                               " (Not a directory); it goes to standard error\n";
    ASSERT_EQ(errors.substr(0, report.size()), report);
    EXPECT_THAT(logreader::messagesOf(logreader::parseAll(errors.substr(report.size()))), ElementsAre("one", "two"));
    EXPECT_EQ(logreader::contents(folder / "file"), "not a folder\n");
}

TEST(LogLocation, WhatIsNoRegularFileIsUnusable) {
    const logreader::TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe.log").c_str(), 0600), 0);
    Child child("logsToALocation", {folder / "pipe.log"});
    ASSERT_EQ(child.join(), 0) << "nobody reads the pipe, and nobody waits for that";
    EXPECT_THAT(child.errors(), HasSubstr("Invalid argument"));
    EXPECT_THAT(child.errors(), HasSubstr("function: two"));
}

CHILD_MAIN(logsToTheFacade) {
    VirtualChannelLogger_getInstance()->log("Test", DPL_WARN, "a.cpp", 1, "f", "before init");
    VirtualChannelLogger_init(arguments.at(0));
    VirtualChannelLogger_setLogLevel(DPL_DEBUG);
    VirtualChannelLogger_getInstance()->log("Test", DPL_DEBUG, "a.cpp", 1, "f", "after init");
}

TEST(LogLocation, ASecondOneTakesOver) {
    const logreader::TemporaryFolder folder;
    LogController controller;
    controller.init(folder / "file.log" / "");
    controller.init(folder / "first.log");
    logreader::write(controller, DPL_INFO, "one");
    controller.init(folder / "second.log");
    logreader::write(controller, DPL_INFO, "two");
    controller.init("");
    controller.flush();
    EXPECT_THAT(logreader::messagesOf(folder / "first.log"), ElementsAre("one"));
    EXPECT_THAT(logreader::messagesOf(folder / "second.log"), ElementsAre("two"))
        << "an empty location changes nothing";
}

TEST(LogFacade, ReachesTheFile) {
    const logreader::TemporaryFolder folder;
    Child child("logsToTheFacade", {folder.path()});
    ASSERT_EQ(child.join(), 0);
    EXPECT_THAT(logreader::messagesOf(folder / "parlet.log"), ElementsAre("before init", "after init"));
    EXPECT_EQ(child.output(), "VirtualChannelLogger_init begin\nVirtualChannelLogger_init end\n");
    EXPECT_EQ(child.errors(), "");
}

}  // namespace
