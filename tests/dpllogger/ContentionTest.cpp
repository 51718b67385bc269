#include <dlfcn.h>
#include <dpllogger/DPLLogger.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "dpllogger/BlankLines.h"
#include "dpllogger/LogReader.h"
#include "support/Multiprocess.h"

namespace {

// What others do around the next write of this process, and how much that write takes.
struct NextWrite {
    std::function<void()> before;
    std::size_t limit = std::numeric_limits<std::size_t>::max();
    std::function<void()> after;
};
NextWrite& nextWrite() {
    static NextWrite next;
    return next;
}

}  // namespace

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" ssize_t write(int descriptor, const void* data, size_t size) {
    static const auto real = reinterpret_cast<decltype(&::write)>(dlsym(RTLD_NEXT, "write"));
    const NextWrite hooks = std::exchange(nextWrite(), {});
    if (hooks.before) {
        hooks.before();
    }
    const ssize_t written = real(descriptor, data, std::min(size, hooks.limit));
    if (hooks.after) {
        hooks.after();
    }
    return written;
}

namespace {

using DPL::dpllogger::LogController;
using multiprocess::Child;
using testing::ElementsAre;
using testing::StartsWith;

// Holds the lock until it is told otherwise.
CHILD_MAIN(holdsTheLockForAWhile) {
    const int fd = open(arguments.at(0).c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_EQ(flock(fd, LOCK_EX), 0);
    multiprocess::step("held");
    multiprocess::await("release");
}

constexpr int batches = 40;
constexpr int recordsInABatch = 10;
constexpr std::size_t recordSize = 5000;

CHILD_MAIN(writesBatches) {
    LogController controller;
    controller.init(arguments.at(0));
    multiprocess::step("ready");
    multiprocess::await("go");
    for (int number = 0; number < batches * recordsInABatch; ++number) {
        logreader::write(controller, DPL_INFO, std::to_string(number) + ' ' + std::string(recordSize, 'x'));
        if ((number + 1) % recordsInABatch == 0) {
            controller.flush();
        }
        if (number + 1 == batches / 2 * recordsInABatch) {
            multiprocess::step("half");
        }
    }
    multiprocess::step("done");
}

// The writers wait in vain, go on without the lock, and meet in the scramble for it once it is released.
TEST(LogContention, NoRecordIsLostWhenTheLockIsStuckAndReleasedAgain) {
    constexpr int processes = 6;
    const logreader::TemporaryFolder folder;
    const auto log = folder / "a.log";
    setenv("DPL_LOG_FILE_SIZE", "1M", 1);
    setenv("DPL_LOG_FILE_COUNT", "1000", 1);
    std::ofstream(log) << "";
    Child holder("holdsTheLockForAWhile", {log});
    holder.waitFor("held");
    kill(holder.pid(), SIGSTOP);
    std::vector<std::unique_ptr<Child>> writers;
    for (int i = 0; i < processes; ++i) {
        writers.push_back(std::make_unique<Child>("writesBatches", std::vector<std::string>{log}));
        writers.back()->waitFor("ready");
    }
    for (const auto& writer : writers) {
        writer->tell("go");
    }
    writers.front()->waitFor("half");
    holder.tell("release");
    kill(holder.pid(), SIGCONT);
    EXPECT_EQ(holder.join(), 0);
    std::map<long, int> next;
    for (const auto& writer : writers) {
        if (writer != writers.front()) {
            writer->waitFor("half");
        }
        writer->waitFor("done");
        next[writer->pid()] = 0;
        EXPECT_EQ(writer->join(), 0) << writer->errors();
        EXPECT_EQ(writer->errors(), "");
    }
    for (const auto& line : logreader::readLog(log)) {
        ASSERT_EQ(line.logger, "Test") << line.message;
        ASSERT_EQ(std::stoi(line.message), next[line.pid]++) << "of " << line.pid;
    }
    EXPECT_EQ(next.size(), static_cast<std::size_t>(processes));
    for (const auto& [pid, count] : next) {
        EXPECT_EQ(count, batches * recordsInABatch) << pid;
    }
}

// Somebody else's hold on the end of the file, as writers without the lock and those who cut have it.
class TailHold {
public:
    TailHold(const std::filesystem::path& log, short type) : fd_(open(log.c_str(), O_RDWR | O_APPEND | O_CLOEXEC)) {
        struct flock lock {};
        lock.l_type = type;
        lock.l_whence = SEEK_SET;
        lock.l_start = std::numeric_limits<off_t>::max() - 1;
        lock.l_len = 1;
        EXPECT_EQ(fcntl(fd_, F_OFD_SETLK, &lock), 0);
    }
    ~TailHold() { close(fd_); }
    TailHold(const TailHold&) = delete;
    TailHold& operator=(const TailHold&) = delete;

    void append(const std::string& text) const {
        EXPECT_EQ(write(fd_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

private:
    const int fd_;
};

class LogTail : public testing::Test {
protected:
    LogTail() {
        controller_.init(log_);
        logreader::write(controller_, DPL_ERROR, "first");
        first_ = logreader::contents(log_);
    }

    // The beginning of a record that was not written whole, and a whole one, both another process's.
    std::string half() const { return first_.substr(0, first_.size() / 2); }
    std::string others() const { return first_.substr(0, first_.size() - 6) + "other\n"; }

    // What the log says.
    std::vector<std::string> messages() const {
        return logreader::messagesOf(logreader::parseAll(logreader::withoutBlankLines(logreader::contents(log_))));
    }

    const logreader::TemporaryFolder folder_;
    const std::filesystem::path log_ = folder_ / "a.log";
    LogController controller_;
    std::string first_;  // a whole record
};

// Whoever writes without the lock.
class LogTailWithoutLock : public LogTail {
protected:
    LogTailWithoutLock() : holder_("holdsTheLockForAWhile", {log_}) {
        holder_.waitFor("held");
        logreader::write(controller_, DPL_ERROR, "second");
    }

    Child holder_;
};

TEST_F(LogTail, ALineOfSomebodyWhoMayStillBeWritingIsNotCutOff) {
    const TailHold writer(log_, F_RDLCK);
    writer.append(half());
    logreader::write(controller_, DPL_ERROR, "second");
    const std::string blank = std::string(half().size() - 1, ' ') + '\n';
    ASSERT_THAT(logreader::contents(log_), StartsWith(first_ + blank));
    EXPECT_THAT(messages(), ElementsAre("first", "second"));
}

// Others without the lock append right behind the part that was written.
TEST_F(LogTail, AWriteCutShortHarmsNobodyWhoAppendsBehindIt) {
    for (const std::size_t limit : {std::size_t{1}, first_.size() / 2, first_.size() - 1}) {
        nextWrite().limit = limit;
        nextWrite().after = [this] { TailHold(log_, F_RDLCK).append(others()); };
        logreader::write(controller_, DPL_ERROR, "third");
        EXPECT_THAT(messages(), ElementsAre("first", "other", "third")) << limit;
        std::ofstream(log_) << first_;
    }
}

TEST_F(LogTailWithoutLock, AWriteCutShortHarmsNobodyWhoAppendsBehindIt) {
    nextWrite().limit = first_.size() / 2;
    nextWrite().after = [this] { TailHold(log_, F_RDLCK).append(others()); };
    logreader::write(controller_, DPL_ERROR, "third");
    EXPECT_THAT(messages(), ElementsAre("first", "second", "other", "third"));
}

TEST_F(LogTailWithoutLock, AWriteCutShortIsRetried) {
    nextWrite().limit = first_.size() / 2;
    logreader::write(controller_, DPL_ERROR, "third");
    EXPECT_THAT(logreader::messagesOf(log_), ElementsAre("first", "second", "third")) << "completed in its place";
}

// In a batch the records before the one that was cut short are whole.
TEST_F(LogTailWithoutLock, AWriteCutShortLosesAndDoublesNoRecordOfItsBatch) {
    for (int i = 0; i < 5; ++i) {
        logreader::write(controller_, DPL_INFO, std::to_string(i));
    }
    nextWrite().limit = first_.size() * 5 / 2;
    nextWrite().after = [this] { TailHold(log_, F_RDLCK).append(others()); };
    controller_.flush();
    EXPECT_THAT(messages(), ElementsAre("first", "second", "0", "1", "other", "2", "3", "4"));
}

// Somebody's write is cut short between a look at the end of the file and the write, and the somebody is killed.
TEST_F(LogTail, ARecordBehindAWriteThatWasCutShortStaysWhole) {
    nextWrite().before = [this] { TailHold(log_, F_RDLCK).append(half()); };
    logreader::write(controller_, DPL_ERROR, "second");
    EXPECT_THAT(messages(), ElementsAre("first", "second"));
    logreader::write(controller_, DPL_ERROR, "third");
    EXPECT_THAT(messages(), ElementsAre("first", "second", "third"));
}

TEST_F(LogTailWithoutLock, ARecordBehindAWriteThatWasCutShortStaysWhole) {
    nextWrite().before = [this] { TailHold(log_, F_RDLCK).append(half()); };
    logreader::write(controller_, DPL_ERROR, "third");
    EXPECT_THAT(messages(), ElementsAre("first", "second", "third"));
}

TEST_F(LogTailWithoutLock, WhatAKilledProcessLeftIsMadeBlank) {
    TailHold(log_, F_RDLCK).append(half());
    logreader::write(controller_, DPL_ERROR, "third");
    EXPECT_THAT(messages(), ElementsAre("first", "second", "third"));
}

// A write of somebody else is half done when the end of the file is looked at.
TEST_F(LogTailWithoutLock, ALineFinishedMeanwhileLeavesNoEmptyLine) {
    const TailHold writer(log_, F_RDLCK);
    writer.append(others().substr(0, 20));
    nextWrite().before = [&] { writer.append(others().substr(20)); };
    logreader::write(controller_, DPL_ERROR, "third");
    EXPECT_THAT(logreader::messagesOf(log_), ElementsAre("first", "second", "other", "third"));
}

// Another program's text: nothing of it may be overwritten.
TEST_F(LogTailWithoutLock, ARecordBehindAnotherProgramsTextStartsALine) {
    nextWrite().before = [this] { TailHold(log_, F_RDLCK).append("notes without an end"); };
    logreader::write(controller_, DPL_ERROR, "third");
    const std::string text = logreader::contents(log_);
    const std::size_t notes = text.find("notes without an end");
    ASSERT_NE(notes, std::string::npos);
    EXPECT_THAT(logreader::messagesOf(logreader::parseAll(text.substr(text.rfind('\n', text.size() - 2) + 1))),
                ElementsAre("third"));
}

TEST_F(LogTail, ALineThatNobodyWillFinishIsCut) {
    TailHold(log_, F_RDLCK).append(first_.substr(0, first_.size() / 2));
    logreader::write(controller_, DPL_ERROR, "second");
    EXPECT_THAT(logreader::messagesOf(log_), ElementsAre("first", "second"));
}

TEST_F(LogTail, WhoIsStoppedWhileItCutsDelaysRecordsThatLackTheLockButLosesNone) {
    Child holder("holdsTheLockForAWhile", {log_});
    holder.waitFor("held");
    {
        const TailHold cutter(log_, F_WRLCK);
        logreader::write(controller_, DPL_INFO, "second");
        logreader::write(controller_, DPL_ERROR, "third");
        controller_.flush();
        EXPECT_THAT(logreader::messagesOf(log_), ElementsAre("first")) << "these wait";
    }
    logreader::write(controller_, DPL_ERROR, "fourth");
    EXPECT_THAT(logreader::messagesOf(log_), ElementsAre("first", "second", "third", "fourth"));
}

CHILD_MAIN(endsWhileTheTailIsHeld) {
    LogController controller;
    controller.init(arguments.at(0));
    logreader::write(controller, DPL_ERROR, "cannot be written");
}

TEST_F(LogTail, WhatStillWaitsForTheTailAtTheEndIsTold) {
    Child holder("holdsTheLockForAWhile", {log_});
    holder.waitFor("held");
    const TailHold cutter(log_, F_WRLCK);
    Child child("endsWhileTheTailIsHeld", {log_});
    EXPECT_EQ(child.join(), 0);
    EXPECT_EQ(child.errors(), "tavixhuddleslogger: 1 records lost: 1 not written (Resource temporarily unavailable)\n");
}

// Without the lock the file may be put aside, and removed as the oldest, between the look at it and the write.
TEST_F(LogTail, ARecordWrittenIntoAFileThatIsGoneIsWrittenAgain) {
    Child holder("holdsTheLockForAWhile", {log_});
    holder.waitFor("held");
    logreader::write(controller_, DPL_ERROR, "second");
    nextWrite().before = [this] { std::filesystem::remove(log_); };
    logreader::write(controller_, DPL_ERROR, "third");
    EXPECT_EQ(nextWrite().before, nullptr);
    EXPECT_THAT(logreader::messagesOf(log_), ElementsAre("third"));
}

}  // namespace
