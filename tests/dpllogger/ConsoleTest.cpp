#include <dpllogger/DPLLogger.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "dpllogger/LogReader.h"
#include "support/Multiprocess.h"

namespace {

using DPL::dpllogger::LogAppenderType;
using DPL::dpllogger::LogController;
using multiprocess::Child;
using testing::ElementsAre;
using testing::StartsWith;

// Makes one end of a channel standard error for a while. The test has the other end and reads only when it wants to.
class Channel {
public:
    explicit Channel(const std::array<int, 2>& ends) : reader_(ends[0]) {
        before_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
        dup2(ends[1], STDERR_FILENO);
        close(ends[1]);
        fcntl(reader_, F_SETFL, fcntl(reader_, F_GETFL) | O_NONBLOCK);
    }
    ~Channel() {
        dup2(before_, STDERR_FILENO);
        close(before_);
        close(reader_);
    }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    // Leaves no room for a further byte.
    static void fill() {
        const int flags = fcntl(STDERR_FILENO, F_GETFL);
        fcntl(STDERR_FILENO, F_SETFL, flags | O_NONBLOCK);
        for (const std::size_t size : {std::size_t{65536}, std::size_t{1}}) {
            const std::string text(size, '#');
            while (write(STDERR_FILENO, text.data(), text.size()) > 0) {
            }
            EXPECT_EQ(errno, EAGAIN);
        }
        fcntl(STDERR_FILENO, F_SETFL, flags);
    }

    // What there is to read, without what filled the channel.
    std::string read() const {
        std::string text;
        char buffer[4096];
        for (ssize_t got = 0; (got = ::read(reader_, buffer, sizeof buffer)) > 0;) {
            text.append(buffer, static_cast<std::size_t>(got));
        }
        return text.substr(std::min(text.size(), text.find_first_not_of('#')));
    }

private:
    const int reader_;
    int before_ = -1;
};

std::array<int, 2> pipeEnds() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    return ends;
}

std::array<int, 2> socketEnds() {
    std::array<int, 2> ends{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    return ends;
}

class LogConsole : public testing::Test {
protected:
    LogConsole() { controller_.init(log_); }

    // Nobody reads for a while; then somebody does, and the loss is told.
    void expectLossOf(const Channel& channel) {
        controller_.setAppenderType(LogAppenderType::FileAndConsole);
        Channel::fill();
        for (const char* const message : {"one", "two", "three"}) {
            logreader::write(controller_, DPL_ERROR, message);
        }
        EXPECT_THAT(logreader::messagesOf(log_), ElementsAre("one", "two", "three")) << "the file gets them all";
        EXPECT_EQ(channel.read(), "");
        logreader::write(controller_, DPL_ERROR, "four");
        const auto lines = logreader::parseAll(channel.read());
        EXPECT_THAT(logreader::messagesOf(lines),
                    ElementsAre("3 records lost: 3 not written (Resource temporarily unavailable)", "four"));
        EXPECT_EQ(logreader::messagesOf(log_).size(), 4U) << "the console's losses are not the file's";
    }

    const logreader::TemporaryFolder folder_;
    const std::filesystem::path log_ = folder_ / "a.log";
    LogController controller_;
};

TEST_F(LogConsole, APipeThatNobodyReadsBlocksNobody) {
    const Channel channel(pipeEnds());
    const int flags = fcntl(STDERR_FILENO, F_GETFL);
    expectLossOf(channel);
    EXPECT_EQ(fcntl(STDERR_FILENO, F_GETFL), flags) << "others share them";
}

TEST_F(LogConsole, ASocketThatNobodyReadsBlocksNobody) {
    expectLossOf(Channel(socketEnds()));
}

TEST_F(LogConsole, ATerminalGetsItsLines) {
    std::array<int, 2> ends{};
    if (openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr) != 0) {
        GTEST_SKIP() << "no terminal can be had here";
    }
    const Channel channel(ends);
    controller_.setAppenderType(LogAppenderType::Console);
    logreader::write(controller_, DPL_INFO, "one");
    const std::string text = channel.read();
    ASSERT_THAT(text, testing::EndsWith("function: one\r\n"));
}

// With the reader awake, each line comes whole though the pipe is much smaller than all of them.
TEST_F(LogConsole, LongLinesComeThroughAPipe) {
    const Channel channel(pipeEnds());
    controller_.setAppenderType(LogAppenderType::Console);
    std::string text;
    for (const std::size_t size : {1U, 4000U, 5000U, 60000U, 10U}) {
        logreader::write(controller_, DPL_INFO, std::string(size, 'x'));
        text += channel.read();
    }
    const auto messages = logreader::messagesOf(logreader::parseAll(text));
    ASSERT_EQ(messages.size(), 5U);
    EXPECT_EQ(messages[3].size(), 60000U);
}

TEST_F(LogConsole, ALineCutShortDoesNotRunIntoTheNext) {
    const Channel channel(pipeEnds());
    controller_.setAppenderType(LogAppenderType::Console);
    logreader::write(controller_, DPL_INFO, std::string(300000, 'x'));
    const std::string part = channel.read();
    EXPECT_THAT(part, testing::EndsWith("xxx"));
    logreader::write(controller_, DPL_INFO, "next");
    const std::string rest = channel.read();
    ASSERT_THAT(rest, StartsWith("\n"));
    EXPECT_THAT(logreader::messagesOf(logreader::parseAll(std::string_view(rest).substr(1))),
                ElementsAre("1 records lost: 1 not written (Resource temporarily unavailable)", "next"));
}

CHILD_MAIN(logsToFileAndConsole) {
    LogController controller;
    controller.setAppenderType(LogAppenderType::FileAndConsole);
    logreader::write(controller, DPL_INFO, "before init");
    controller.init(arguments.at(0));
    logreader::write(controller, DPL_INFO, "information");
    logreader::write(controller, DPL_ERROR, "error");
}

TEST(LogConsoleAndFile, WithAnUnusableLocationEachRecordIsOnTheConsoleOnce) {
    const logreader::TemporaryFolder folder;
    std::ofstream(folder / "file") << "not a folder\n";
    Child child("logsToFileAndConsole", {folder / "file" / "a.log"});
    ASSERT_EQ(child.join(), 0);
    std::string errors = child.errors();
    const std::string complaint = "tavixhuddleslogger: no log can be written to " +
                                  (folder / "file" / "a.log").string() +
                                  " (Not a directory); it goes to standard error\n";
    const std::size_t where = errors.find(complaint);
    ASSERT_NE(where, std::string::npos) << errors;
    errors.erase(where, complaint.size());
    EXPECT_THAT(logreader::messagesOf(logreader::parseAll(errors)), ElementsAre("before init", "information", "error"));
}

CHILD_MAIN(waitsForAnUnusableFile) {
    LogController controller;
    controller.setFileWritingAllowed(false);
    controller.init(arguments.at(0));
    logreader::write(controller, DPL_ERROR, "for the file");
    controller.setAppenderType(static_cast<LogAppenderType>(std::stoi(arguments.at(1))));
    controller.setFileWritingAllowed(true);
    controller.flush();
}

TEST(LogConsoleAndFile, WhatWaitsForAnUnusableFileGoesToTheConsoleWhateverTheAppenderIsByThen) {
    const logreader::TemporaryFolder folder;
    std::ofstream(folder / "file") << "not a folder\n";
    for (const auto type : {LogAppenderType::None, LogAppenderType::Console, LogAppenderType::File,
                            LogAppenderType::SystemLog, LogAppenderType::FileAndConsole}) {
        Child child("waitsForAnUnusableFile", {folder / "file" / "a.log", std::to_string(static_cast<int>(type))});
        ASSERT_EQ(child.join(), 0);
        const std::string errors = child.errors();
        EXPECT_THAT(errors, StartsWith("tavixhuddleslogger: no log can be written to "));
        EXPECT_THAT(logreader::messagesOf(logreader::parseAll(errors.substr(errors.find('\n') + 1))),
                    ElementsAre("for the file"))
            << static_cast<int>(type);
    }
}

}  // namespace
