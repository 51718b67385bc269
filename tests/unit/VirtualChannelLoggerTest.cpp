#include <VDIFrameworkCommon/VirtualChannelLogger.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "support/Multiprocess.h"
#include "support/RecordingLogger.h"

namespace {

using DPL::dpllogger::LogAppenderType;
using testing::ElementsAre;
using testing::IsEmpty;

std::string outputOf(void (*function)()) {
    testing::internal::CaptureStdout();
    function();
    return testing::internal::GetCapturedStdout();
}

TEST(VirtualChannelLogger, HasOneControllerFromLoad) {
    EXPECT_EQ(recording::liveControllers(), 1);
    const auto instance = VirtualChannelLogger_getInstance();
    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(VirtualChannelLogger_getInstance(), instance);
    EXPECT_EQ(instance.use_count(), 2) << "every call gives a counted copy, and none is kept";
}

TEST(VirtualChannelLogger, InitWithoutLocationDoesNothingAtAll) {
    EXPECT_EQ(outputOf([] { VirtualChannelLogger_init(""); }), "");
    EXPECT_THAT(recording::takeCalls(), IsEmpty());
}

TEST(VirtualChannelLogger, InitSaysSoOnStandardOutput) {
    EXPECT_EQ(outputOf([] { VirtualChannelLogger_init("/some/where"); }),
              "VirtualChannelLogger_init begin\nVirtualChannelLogger_init end\n");
    EXPECT_THAT(recording::takeCalls(), ElementsAre("init /some/where"));
    EXPECT_THAT(recording::takeRecords(), IsEmpty());
}

void tellAndWait(const std::string& call) {
    multiprocess::step(call);
    multiprocess::await("go");
}

CHILD_MAIN(initialises) {
    recording::setCallObserver(tellAndWait);
    VirtualChannelLogger_init("/some/where");
    tellAndWait("through");
}

TEST(VirtualChannelLogger, InitWritesALineBeforeAndOneAfterAndLeavesNoneInTheBuffer) {
    multiprocess::Child child("initialises");
    child.waitFor("init /some/where");
    EXPECT_EQ(child.output(), "VirtualChannelLogger_init begin\n");
    child.tell("go");
    child.waitFor("through");
    EXPECT_EQ(child.output(), "VirtualChannelLogger_init begin\nVirtualChannelLogger_init end\n");
    child.tell("go");
    EXPECT_EQ(child.join(), 0);
}

TEST(VirtualChannelLogger, PassesSettingsOnUnchanged) {
    VirtualChannelLogger_setLogLevel(DPL_DEBUG);
    VirtualChannelLogger_setLogLevel(static_cast<DPLLogLevel>(-77));
    VirtualChannelLogger_setAppenderType(static_cast<LogAppenderType>(99));
    VirtualChannelLogger_setFileWritingAllowed(true);
    VirtualChannelLogger_setFileWritingAllowed(false);
    EXPECT_THAT(recording::takeCalls(), ElementsAre("setLogLevel 5", "setLogLevel -77", "setAppenderType 99",
                                                    "setFileWritingAllowed true", "setFileWritingAllowed false"));
}

TEST(VirtualChannelLogger, FlushesTheBufferOnlyIfAllowed) {
    recording::setFileWritingAllowedAnswer(false);
    VirtualChannelLogger_flushBufferIfAllowed();
    EXPECT_THAT(recording::takeCalls(), ElementsAre("isFileWritingAllowed"));
    recording::setFileWritingAllowedAnswer(true);
    VirtualChannelLogger_flushBufferIfAllowed();
    EXPECT_THAT(recording::takeCalls(), ElementsAre("isFileWritingAllowed", "flush"));
}

TEST(VirtualChannelLogger, FlushAsksNothing) {
    recording::setFileWritingAllowedAnswer(false);
    VirtualChannelLogger_flush();
    EXPECT_THAT(recording::takeCalls(), ElementsAre("flush"));
}

TEST(VirtualChannelLogger, FilterReturnsItsArgument) {
    const std::string texts[] = {"", "/home/somebody/file", std::string("a\0b\xff", 4), std::string(5000, 'x')};
    for (const std::string& text : texts) {
        EXPECT_EQ(VirtualChannelLogger_filterStrings(text), text);
    }
}

TEST(VirtualChannelLogger, NamesTheLogFile) {
    EXPECT_EQ(VDIFrameworkCommon::LogFileName, "parlet.log");
}

}  // namespace
