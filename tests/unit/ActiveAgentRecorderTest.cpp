#include <VDIFrameworkCommon/ActiveVirtualChannelAgentRecorder.h>
#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/ExpectedRecords.h"
#include "support/Limits.h"
#include "support/RawObject.h"

namespace {

using namespace std::chrono_literals;
using recording::takeRecords;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;
using VDIFrameworkCommon::ActiveVirtualChannelAgentRecorder;
using VDIFrameworkCommon::VDIClientInfo;
using VDIFrameworkCommon::VDIClientType;
using VDIFrameworkCommon::VDIRunnerCounter;

const recording::ExpectedRecord record("ActiveAgentRecorder", "src/Common/src/ActiveVirtualChannelAgentRecorder.cpp");

constexpr std::uint32_t neverUsedPid = 0x7FFFFFFF;  // above every system's largest process id

std::string object() {
    return raw::logicalName("DEFVDI_", "TavixUniversalActiveVirtualChannelAgentRecorder");
}

void putPid(std::uint32_t pid) {
    raw::write(object(), 0, &pid, sizeof pid, 512);
}

std::uint32_t storedPid() {
    const auto bytes = raw::read(object());
    std::uint32_t pid = 0;
    std::memcpy(&pid, bytes.data(), sizeof pid);
    return pid;
}

std::uint32_t ownPid() {
    return static_cast<std::uint32_t>(getpid());
}

// The recorder's own records since the last look.
std::vector<recording::Record> ownRecords() {
    auto records = takeRecords();
    std::erase_if(records, [](const recording::Record& r) { return r.logger != "ActiveAgentRecorder"; });
    return records;
}

TEST(ActiveAgentRecorder, ANewRecordNamesNobody) {
    ActiveVirtualChannelAgentRecorder recorder;
    EXPECT_EQ(recorder.getActiveVirtualChannelAgentPid(), 0U);
    EXPECT_FALSE(recorder.hasOtherActiveVirtualChannelAgent());
    EXPECT_THAT(ownRecords(), IsEmpty()) << "0 is what was read last before the first read";
}

TEST(ActiveAgentRecorder, EachProductHasItsRecord) {
    const std::pair<int, std::string> objects[] = {
        {0, raw::logicalName("DEFVDI_", "TavixUniversalActiveVirtualChannelAgentRecorder")},
        {1, raw::logicalName("DEFVDI_", "TavixUniversalActiveVirtualChannelAgentRecorder")},
        {2, raw::logicalName("CRVDI_", "TavixCrewsActiveVirtualChannelAgentRecorder")},
        {3, raw::logicalName("HDVDI_", "TavixHuddleActiveVirtualChannelAgentRecorder")},
        {-4, raw::logicalName("DEFVDI_", "TavixUniversalActiveVirtualChannelAgentRecorder")}};
    for (const auto& [type, name] : objects) {
        VDIClientInfo::getInstance()->setClientType(static_cast<VDIClientType::VDIClientTypeEnum>(type));
        ActiveVirtualChannelAgentRecorder().setActiveVirtualChannelAgentPid(77);
        ASSERT_TRUE(raw::exists(name)) << type;
        EXPECT_EQ(raw::read(name)[0], 77);
        ASSERT_EQ(shm_unlink(raw::systemName(name).c_str()), 0);
    }
}

TEST(ActiveAgentRecorder, StoresFourBytesAndLeavesTheRest) {
    const std::vector<unsigned char> rest(508, 0xAB);
    raw::write(object(), 4, rest.data(), rest.size(), 512);
    ActiveVirtualChannelAgentRecorder recorder;
    recorder.setActiveVirtualChannelAgentPid(0x01020304);
    const auto bytes = raw::read(object());
    EXPECT_EQ(storedPid(), 0x01020304U);
    EXPECT_TRUE(std::equal(rest.begin(), rest.end(), bytes.begin() + 4));
}

TEST(ActiveAgentRecorder, SettingIsRecordedBeforeTheTransfer) {
    ActiveVirtualChannelAgentRecorder recorder;
    takeRecords();
    recorder.setActiveVirtualChannelAgentPid(4294967295U);
    const auto records = takeRecords();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records.front(),
              record(DPL_DEBUG, "setActiveVirtualChannelAgentPid", "Set active virtual channel agent pid: 4294967295"));
    EXPECT_EQ(storedPid(), 4294967295U);
}

ActiveVirtualChannelAgentRecorder* asked = nullptr;
std::uint32_t answer = 0;

void askWhenSet(const recording::Record& written) {
    if (written.function == "setActiveVirtualChannelAgentPid") {
        answer = asked->getActiveVirtualChannelAgentPid();
    }
}

TEST(ActiveAgentRecorder, WhoTakesTheRecordOfASettingMayUseTheRecorder) {
    putPid(5);
    ActiveVirtualChannelAgentRecorder recorder;
    asked = &recorder;
    recording::setObserver(askWhenSet);
    recorder.setActiveVirtualChannelAgentPid(6);
    EXPECT_EQ(answer, 5U) << "the lock is not held yet, nor anything written";
    EXPECT_EQ(storedPid(), 6U);
}

TEST(ActiveAgentRecorder, ClearingSetsZero) {
    putPid(5);
    ActiveVirtualChannelAgentRecorder recorder;
    recorder.clearActiveVirtualChannelAgent();
    EXPECT_EQ(storedPid(), 0U);
    EXPECT_THAT(ownRecords(), ElementsAre(record(DPL_DEBUG, "setActiveVirtualChannelAgentPid",
                                                 "Set active virtual channel agent pid: 0")));
}

TEST(ActiveAgentRecorder, OnlyAChangeOfThePidIsRecorded) {
    ActiveVirtualChannelAgentRecorder recorder;
    putPid(10);
    EXPECT_EQ(recorder.getActiveVirtualChannelAgentPid(), 10U);
    EXPECT_EQ(recorder.getActiveVirtualChannelAgentPid(), 10U);
    putPid(0);
    EXPECT_EQ(recorder.getActiveVirtualChannelAgentPid(), 0U);
    EXPECT_EQ(recorder.getActiveVirtualChannelAgentPid(), 0U);
    EXPECT_THAT(
        ownRecords(),
        ElementsAre(record(DPL_DEBUG, "getActiveVirtualChannelAgentPid", "Active virtual channel agent pid: 10"),
                    record(DPL_DEBUG, "getActiveVirtualChannelAgentPid", "Active virtual channel agent pid: 0")));
}

TEST(ActiveAgentRecorder, AFailedReadIsNobody) {
    ActiveVirtualChannelAgentRecorder recorder;
    {
        const limits::NoDescriptors none;
        EXPECT_EQ(recorder.getActiveVirtualChannelAgentPid(), 0U);
    }
    EXPECT_FALSE(recorder.hasOtherActiveVirtualChannelAgent());
    const auto failed = record(DPL_ERROR, "getActiveVirtualChannelAgentPid",
                               "Failed to read active virtual channel agent pid from shared storage.");
    EXPECT_THAT(ownRecords(), ElementsAre(failed, failed));
}

TEST(ActiveAgentRecorder, OneselfIsNoOther) {
    putPid(ownPid());
    ActiveVirtualChannelAgentRecorder recorder;
    EXPECT_FALSE(recorder.hasOtherActiveVirtualChannelAgent());
    EXPECT_EQ(storedPid(), ownPid());
}

TEST(ActiveAgentRecorder, ALivingProcessIsAnother) {
    putPid(static_cast<std::uint32_t>(getppid()));
    ActiveVirtualChannelAgentRecorder recorder;
    EXPECT_TRUE(recorder.hasOtherActiveVirtualChannelAgent());
    EXPECT_EQ(storedPid(), static_cast<std::uint32_t>(getppid()));
}

TEST(ActiveAgentRecorder, ADeadAgentIsReportedAndCleared) {
    putPid(neverUsedPid);
    ActiveVirtualChannelAgentRecorder recorder;
    EXPECT_FALSE(recorder.hasOtherActiveVirtualChannelAgent());
    EXPECT_EQ(storedPid(), 0U);
    EXPECT_THAT(
        ownRecords(),
        ElementsAre(
            record(DPL_DEBUG, "getActiveVirtualChannelAgentPid", "Active virtual channel agent pid: 2147483647"),
            record(DPL_WARN, "hasOtherActiveVirtualChannelAgent",
                   "current acrive virtual channel agent is not running: 2147483647"),
            record(DPL_DEBUG, "setActiveVirtualChannelAgentPid", "Set active virtual channel agent pid: 0")));
    EXPECT_FALSE(recorder.hasOtherActiveVirtualChannelAgent());
}

TEST(ActiveAgentRecorder, IdsAboveTheSignedRangeAreNotRunning) {
    putPid(0x80000001U);
    ActiveVirtualChannelAgentRecorder recorder;
    EXPECT_FALSE(recorder.hasOtherActiveVirtualChannelAgent());
    EXPECT_EQ(ownRecords()[1], record(DPL_WARN, "hasOtherActiveVirtualChannelAgent",
                                      "current acrive virtual channel agent is not running: 2147483649"));
}

TEST(ActiveAgentRecorder, MarkingAloneDoesNotWait) {
    VDIRunnerCounter::getInstance()->addRunner(ownPid());
    ActiveVirtualChannelAgentRecorder recorder;
    takeRecords();
    recorder.markCurrentVirtualChannelAgentAsActive();
    EXPECT_EQ(storedPid(), ownPid());
    EXPECT_THAT(ownRecords(), ElementsAre(record(DPL_DEBUG, "setActiveVirtualChannelAgentPid",
                                                 "Set active virtual channel agent pid: " + std::to_string(ownPid())),
                                          record(DPL_DEBUG, "markCurrentVirtualChannelAgentAsActive",
                                                 "virtual channel agent size: 1")));
}

TEST(ActiveAgentRecorder, MarkingTakesTheRoleFromALivingAgent) {
    putPid(static_cast<std::uint32_t>(getppid()));
    ActiveVirtualChannelAgentRecorder recorder;
    recorder.markCurrentVirtualChannelAgentAsActive();
    EXPECT_EQ(storedPid(), ownPid());
}

TEST(ActiveAgentRecorder, MarkingBesideAnotherRunnerWaitsOneSecond) {
    // Dead runners count as well: the list is not checked.
    VDIRunnerCounter::getInstance()->addRunner(ownPid());
    VDIRunnerCounter::getInstance()->addRunner(neverUsedPid);
    ActiveVirtualChannelAgentRecorder recorder;
    takeRecords();
    const auto start = steady_clock::now();
    recorder.markCurrentVirtualChannelAgentAsActive();
    EXPECT_GE(steady_clock::now() - start, 1s);
    auto records = ownRecords();
    records.erase(records.begin());
    EXPECT_THAT(records, ElementsAre(record(DPL_DEBUG, "markCurrentVirtualChannelAgentAsActive",
                                            "virtual channel agent size: 2"),
                                     record(DPL_DEBUG, "markCurrentVirtualChannelAgentAsActive", "Wait for 1000 ms")));
}

TEST(ActiveAgentRecorder, MayBeUsedByManyThreads) {
    ActiveVirtualChannelAgentRecorder recorder;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 200; ++j) {
                recorder.setActiveVirtualChannelAgentPid(ownPid());
                EXPECT_EQ(recorder.getActiveVirtualChannelAgentPid(), ownPid());
                EXPECT_FALSE(recorder.hasOtherActiveVirtualChannelAgent());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(storedPid(), ownPid());
}

TEST(ActiveAgentRecorder, DestructionGivesTheStorageBack) {
    ActiveVirtualChannelAgentRecorder().setActiveVirtualChannelAgentPid(1);  // opens what is opened only once
    const auto before = limits::openDescriptors();
    {
        ActiveVirtualChannelAgentRecorder recorder;
        recorder.setActiveVirtualChannelAgentPid(1);
    }
    EXPECT_EQ(limits::openDescriptors().size(), before.size() + 1) << "the guard's descriptor stays";
}

}  // namespace
