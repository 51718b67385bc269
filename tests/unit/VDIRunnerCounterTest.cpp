#include <VDIFrameworkCommon/SHMStorageMacosx.h>
#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "support/ExpectedRecords.h"
#include "support/Limits.h"
#include "support/RawObject.h"

namespace {

using recording::takeRecords;
using recording::withoutTrace;
using testing::ElementsAre;
using testing::IsEmpty;
using VDIFrameworkCommon::VDIClientInfo;
using VDIFrameworkCommon::VDIClientType;
using VDIFrameworkCommon::VDIRunnerCounter;

const recording::ExpectedRecord record("VDIRunnerCounter", "src/Common/src/VDIRunnerCounter.cpp");

using Pids = std::vector<std::uint32_t>;

std::string object() {
    return raw::logicalName("DEFVDI_", "TavixUniversalVDIRunnerCounter");
}

void putSlots(const Pids& pids, std::size_t firstSlot = 0) {
    raw::write(object(), firstSlot * 4, pids.data(), pids.size() * 4, 512);
}

Pids slots() {
    const auto bytes = raw::read(object());
    Pids pids(50);
    std::memcpy(pids.data(), bytes.data(), 200);
    return pids;
}

Pids fiftyFrom(std::uint32_t first) {
    Pids pids(50);
    std::iota(pids.begin(), pids.end(), first);
    return pids;
}

Pids padded(Pids pids) {
    pids.resize(50);
    return pids;
}

// The records of an operation, without those of the transfers below it.
template <typename Operation>
std::vector<recording::Record> recordsOf(Operation operation) {
    takeRecords();
    operation();
    auto records = withoutTrace(takeRecords());
    std::erase_if(records, [](const recording::Record& r) { return r.logger != "VDIRunnerCounter"; });
    return records;
}

TEST(VDIRunnerCounter, ANewListIsEmpty) {
    VDIRunnerCounter counter;
    EXPECT_FALSE(counter.hasRunner());
    EXPECT_THAT(counter.getAllRunners(), IsEmpty());
    EXPECT_EQ(slots(), padded({}));
}

TEST(VDIRunnerCounter, EachProductHasItsList) {
    const std::pair<int, const char*> lists[] = {{0, "DEFVDI_|TavixUniversalVDIRunnerCounter"},
                                                 {1, "DEFVDI_|TavixUniversalVDIRunnerCounter"},
                                                 {2, "CRVDI_|TavixCrewsVDIRunnerCounter"},
                                                 {3, "HDVDI_|TavixHuddleVDIRunnerCounter"},
                                                 {9, "DEFVDI_|TavixUniversalVDIRunnerCounter"}};
    for (const auto& [type, list] : lists) {
        VDIClientInfo::getInstance()->setClientType(static_cast<VDIClientType::VDIClientTypeEnum>(type));
        const std::string text(list);
        const std::string name = raw::logicalName(text.substr(0, text.find('|')), text.substr(text.find('|') + 1));
        VDIRunnerCounter().addRunner(100);
        ASSERT_TRUE(raw::exists(name)) << type;
        EXPECT_EQ(raw::read(name)[0], 100);
        ASSERT_EQ(shm_unlink(raw::systemName(name).c_str()), 0);
    }
}

TEST(VDIRunnerCounter, AddsToTheFirstFreeSlot) {
    VDIRunnerCounter counter;
    EXPECT_THAT(recordsOf([&] { counter.addRunner(11); }), ElementsAre(record(DPL_DEBUG, "addRunner", "Add pid: 11")));
    counter.addRunner(4294967295U);
    counter.addRunner(12);
    EXPECT_EQ(slots(), padded({11, 4294967295U, 12}));
    EXPECT_THAT(counter.getAllRunners(), ElementsAre(11, 4294967295U, 12));
    EXPECT_TRUE(counter.hasRunner());
}

TEST(VDIRunnerCounter, RecordsPrintIdsUnsigned) {
    VDIRunnerCounter counter;
    EXPECT_THAT(recordsOf([&] { counter.addRunner(4294967295U); }),
                ElementsAre(record(DPL_DEBUG, "addRunner", "Add pid: 4294967295")));
}

TEST(VDIRunnerCounter, RefusesZero) {
    VDIRunnerCounter counter;
    counter.addRunner(1);
    EXPECT_THAT(recordsOf([&] { counter.addRunner(0); }),
                ElementsAre(record(DPL_ERROR, "addRunner", "Invalid pid: 0")));
    EXPECT_EQ(slots(), padded({1}));
    takeRecords();
    counter.removeRunner(0);
    EXPECT_THAT(takeRecords(), IsEmpty()) << "nothing is read either";
    EXPECT_EQ(slots(), padded({1}));
}

TEST(VDIRunnerCounter, AddsAPidOnce) {
    VDIRunnerCounter counter;
    counter.addRunner(7);
    counter.addRunner(8);
    EXPECT_THAT(recordsOf([&] { counter.addRunner(8); }),
                ElementsAre(record(DPL_DEBUG, "addRunner", "pid already exist: 8")));
    EXPECT_EQ(slots(), padded({7, 8}));
}

TEST(VDIRunnerCounter, APidBehindTheEndOfTheListIsNotInIt) {
    putSlots({7, 0, 9});
    VDIRunnerCounter counter;
    counter.addRunner(9);
    EXPECT_EQ(slots(), padded({7, 9, 9}));
}

TEST(VDIRunnerCounter, HoldsFifty) {
    putSlots(fiftyFrom(1000));
    VDIRunnerCounter counter;
    EXPECT_EQ(counter.getAllRunners(), fiftyFrom(1000));
    EXPECT_THAT(recordsOf([&] { counter.addRunner(5); }), IsEmpty());
    EXPECT_EQ(slots(), fiftyFrom(1000));
    EXPECT_THAT(recordsOf([&] { counter.addRunner(1049); }),
                ElementsAre(record(DPL_DEBUG, "addRunner", "pid already exist: 1049")));
    counter.removeRunner(1000);
    counter.addRunner(5);
    EXPECT_EQ(slots().back(), 5U);
}

TEST(VDIRunnerCounter, AFullListIsWrittenBackUnchanged) {
    putSlots(fiftyFrom(1));
    VDIRunnerCounter counter;
    takeRecords();
    counter.addRunner(99);
    std::vector<std::string> transfers;
    for (const auto& r : takeRecords()) {
        if (r.level == DPL_TRACE) {
            transfers.push_back(r.function);
        }
    }
    EXPECT_THAT(transfers, ElementsAre("readData", "writeData"));
}

TEST(VDIRunnerCounter, LeavesTheRestOfTheBlockAlone) {
    const std::vector<std::uint32_t> rest(78, 0xDEADBEEF);
    putSlots(rest, 50);
    VDIRunnerCounter counter;
    counter.addRunner(3);
    counter.removeRunner(3);
    const auto bytes = raw::read(object());
    EXPECT_EQ(std::memcmp(bytes.data() + 200, rest.data(), 312), 0);
}

TEST(VDIRunnerCounter, RemovesAndKeepsTheOrder) {
    putSlots({1, 2, 3});
    VDIRunnerCounter counter;
    EXPECT_THAT(recordsOf([&] { counter.removeRunner(2); }),
                ElementsAre(record(DPL_DEBUG, "removeRunner", "Remove pid: 2")));
    EXPECT_EQ(slots(), padded({1, 3}));
}

TEST(VDIRunnerCounter, RemovesEveryOccurrenceAndClosesGaps) {
    putSlots({4, 0, 5, 4, 0, 6, 4});
    putSlots({4, 7}, 48);
    VDIRunnerCounter counter;
    counter.removeRunner(4);
    EXPECT_EQ(slots(), padded({5, 6, 7}));
}

TEST(VDIRunnerCounter, RemovingAnUnknownPidIsRecordedToo) {
    putSlots({1, 2});
    VDIRunnerCounter counter;
    EXPECT_THAT(recordsOf([&] { counter.removeRunner(77); }),
                ElementsAre(record(DPL_DEBUG, "removeRunner", "Remove pid: 77")));
    EXPECT_EQ(slots(), padded({1, 2}));
}

TEST(VDIRunnerCounter, TheFirstZeroEndsTheList) {
    putSlots({0, 5});
    VDIRunnerCounter counter;
    EXPECT_FALSE(counter.hasRunner());
    EXPECT_THAT(counter.getAllRunners(), IsEmpty());
}

TEST(VDIRunnerCounter, AListThatCannotBeReadCountsAsRunning) {
    VDIRunnerCounter counter;
    takeRecords();
    {
        const limits::NoDescriptors none;
        EXPECT_TRUE(counter.hasRunner());
    }
    EXPECT_TRUE(counter.hasRunner());
    EXPECT_THAT(counter.getAllRunners(), IsEmpty());
    EXPECT_THAT(recordsOf([&] {
                    counter.addRunner(5);
                    counter.removeRunner(5);
                }),
                IsEmpty());
}

TEST(VDIRunnerCounter, HasOneInstance) {
    const auto instance = VDIRunnerCounter::getInstance();
    EXPECT_EQ(VDIRunnerCounter::getInstance(), instance);
    EXPECT_EQ(instance.use_count(), 2);
}

TEST(VDIRunnerCounter, ThreadsThatAskAtTheSameTimeGetOneInstance) {
    std::vector<std::shared_ptr<VDIRunnerCounter>> found(8);
    std::vector<std::thread> threads;
    for (auto& slot : found) {
        threads.emplace_back([&slot] { slot = VDIRunnerCounter::getInstance(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& instance : found) {
        EXPECT_EQ(instance, VDIRunnerCounter::getInstance());
    }
}

}  // namespace
