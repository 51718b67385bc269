#include <dpllogger/DPLLogger.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

#include "dpllogger/LogReader.h"
#include "support/Eventually.h"
#include "support/FaultyCalls.h"
#include "support/Multiprocess.h"

namespace {

using DPL::dpllogger::LogAppenderType;
using DPL::dpllogger::LogController;
using multiprocess::Child;
using testing::ElementsAre;

// A log whose folder is gone, with a file in its place, until it is mended.
class LogLosses : public testing::Test {
protected:
    LogLosses() {
        controller_.init(log_);
        logreader::write(controller_, DPL_ERROR, "first");
        std::filesystem::remove_all(folder_ / "sub");
        std::ofstream(folder_ / "sub") << "in the way";
        logreader::write(controller_, DPL_ERROR, "lost");
        logreader::write(controller_, DPL_ERROR, "lost");
    }
    void mend() const { std::filesystem::remove(folder_ / "sub"); }

    const std::string told_ = "2 records lost: 2 not written (Not a directory)";
    const logreader::TemporaryFolder folder_;
    const std::filesystem::path log_ = folder_ / "sub" / "a.log";
    LogController controller_;
};

TEST_F(LogLosses, AreToldByAFlushWithoutAFurtherRecord) {
    controller_.flush();
    mend();
    controller_.flush();
    EXPECT_THAT(logreader::messagesOf(log_), ElementsAre(told_));
    controller_.flush();
    EXPECT_THAT(logreader::messagesOf(log_), ElementsAre(told_)) << "once";
}

TEST_F(LogLosses, AreToldSoonWithoutAnyCall) {
    mend();
    ASSERT_TRUE(eventually([this] { return !logreader::contents(log_).empty(); }));
    EXPECT_THAT(logreader::messagesOf(log_), ElementsAre(told_));
}

TEST_F(LogLosses, StayTheFilesWhenTheAppenderChanges) {
    for (const auto type : {LogAppenderType::None, LogAppenderType::Console, LogAppenderType::SystemLog}) {
        testing::internal::CaptureStderr();
        controller_.setAppenderType(type);
        controller_.flush();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << static_cast<int>(type);
    }
    mend();
    controller_.setAppenderType(LogAppenderType::File);
    logreader::write(controller_, DPL_ERROR, "last");
    EXPECT_THAT(logreader::messagesOf(log_), ElementsAre(told_, "last"));
}

TEST_F(LogLosses, AreToldInTheFileThoughTheAppenderIsAnotherByThen) {
    controller_.setAppenderType(LogAppenderType::None);
    mend();
    controller_.flush();
    EXPECT_THAT(logreader::messagesOf(log_), ElementsAre(told_));
}

TEST_F(LogLosses, AreToldInTheNextFile) {
    controller_.init(folder_ / "other.log");
    EXPECT_THAT(logreader::messagesOf(folder_ / "other.log"), ElementsAre(told_));
}

CHILD_MAIN(overflowsAndChoosesTheConsole) {
    LogController controller;
    for (int i = 0; i < 3; ++i) {
        logreader::write(controller, DPL_INFO, std::string(600000, 'x'));
    }
    controller.setAppenderType(LogAppenderType::Console);
}

TEST(LogLossesBeforeInit, AreToldWhereTheRestOfTheRecordsGoes) {
    Child child("overflowsAndChoosesTheConsole");
    ASSERT_EQ(child.join(), 0);
    const auto messages = logreader::messagesOf(logreader::parseAll(child.errors()));
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0], "2 records lost: 2 waited too long");
    EXPECT_EQ(messages[1].size(), 600000U);
}

// The log's writes fail, or write a part only, as often as a test says.
class LogWrites : public testing::Test {
protected:
    LogWrites() {
        controller_.init(log_);
        logreader::write(controller_, DPL_ERROR, "first");
    }
    ~LogWrites() override { faulty::write = {}; }

    const logreader::TemporaryFolder folder_;
    const std::filesystem::path log_ = folder_ / "a.log";
    LogController controller_;
};

TEST_F(LogWrites, OneThatIsCutShortIsRetried) {
    faulty::write = {1, 10};
    logreader::write(controller_, DPL_ERROR, "second");
    EXPECT_EQ(faulty::write.times, 0);
    EXPECT_THAT(logreader::messagesOf(log_), ElementsAre("first", "second"));
}

TEST_F(LogWrites, OneThatFailsIsRetried) {
    for (const int error : {ENOSPC, EIO, ESTALE}) {
        faulty::write = {1, -error};
        logreader::write(controller_, DPL_ERROR, std::to_string(error));
    }
    EXPECT_THAT(logreader::messagesOf(log_),
                ElementsAre("first", std::to_string(ENOSPC), std::to_string(EIO), std::to_string(ESTALE)));
}

TEST_F(LogWrites, AreRetriedOnceThenCounted) {
    faulty::write = {2, 10};
    logreader::write(controller_, DPL_ERROR, "second");
    EXPECT_EQ(faulty::write.times, 0);
    EXPECT_THAT(logreader::messagesOf(log_), ElementsAre("first")) << "no part of it stays";
    logreader::write(controller_, DPL_ERROR, "third");
    EXPECT_THAT(logreader::messagesOf(log_),
                ElementsAre("first", "1 records lost: 1 not written (No space left on device)", "third"));
}

TEST_F(LogWrites, ThatEndWithinTheSecondRecordOfABatchLoseNoneOfIt) {
    logreader::write(controller_, DPL_INFO, "second");
    faulty::write = {1, 120};
    logreader::write(controller_, DPL_ERROR, "third");
    EXPECT_THAT(logreader::messagesOf(log_), ElementsAre("first", "second", "third"));
}

TEST_F(LogWrites, ALossWhileTheReportFailsIsAddedToIt) {
    faulty::write = {4, -ENOSPC};
    logreader::write(controller_, DPL_ERROR, "second");
    logreader::write(controller_, DPL_ERROR, "third");
    EXPECT_EQ(faulty::write.times, 0);
    logreader::write(controller_, DPL_ERROR, "fourth");
    EXPECT_THAT(logreader::messagesOf(log_),
                ElementsAre("first", "2 records lost: 2 not written (No space left on device)", "fourth"));
}

// The error that a file below a missing folder gives may pass, though making folders does not help here.
TEST(LogMissingFolder, BehindALinkIsNoReasonToGiveTheFileUp) {
    const logreader::TemporaryFolder folder;
    std::filesystem::create_symlink(folder / "missing" / "b.log", folder / "a.log");
    LogController controller;
    testing::internal::CaptureStderr();
    controller.init(folder / "a.log");
    logreader::write(controller, DPL_ERROR, "lost");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    std::filesystem::create_directory(folder / "missing");
    logreader::write(controller, DPL_ERROR, "last");
    EXPECT_THAT(logreader::messagesOf(folder / "missing" / "b.log"),
                ElementsAre("1 records lost: 1 not written (No such file or directory)", "last"));
}

}  // namespace
