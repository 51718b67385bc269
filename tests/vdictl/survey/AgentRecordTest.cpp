// What repairs do to records that others change at the same moment.

#include "doctor/AgentRecord.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RunnerList {
public:
    explicit RunnerList(std::initializer_list<std::uint32_t> pids) {
        std::copy(pids.begin(), pids.end(), slots_.begin());
    }
    std::uint32_t* slots() { return slots_.data(); }
    std::vector<std::uint32_t> listed() const { return {slots_.begin(), std::find(slots_.begin(), slots_.end(), 0U)}; }

private:
    std::array<std::uint32_t, 50> slots_{};
};

// As an agent copies the list: in one go. A copy in which this thread was put aside is made again.
std::array<std::uint32_t, 50> copyAtOnce(const std::uint32_t* slots) {
    std::array<std::uint32_t, 50> copy{};
    std::chrono::steady_clock::time_point begin;
    do {
        begin = std::chrono::steady_clock::now();
        for (std::size_t i = 0; i < copy.size(); ++i) {
            copy[i] = __atomic_load_n(&slots[i], __ATOMIC_SEQ_CST);
        }
    } while (std::chrono::steady_clock::now() - begin > std::chrono::microseconds(100));
    return copy;
}

TEST(VdictlAgentRecord, RemovingKeepsTheOrderOfTheOthers) {
    RunnerList list{1, 2, 3, 4};
    EXPECT_TRUE(vdictl::removeRunner(list.slots(), 2));
    EXPECT_THAT(list.listed(), ElementsAre(1, 3, 4));
    EXPECT_EQ(list.slots()[3], 0U);
}

TEST(VdictlAgentRecord, RemovesEveryEntryOfTheIdAndDoubles) {
    RunnerList list{7, 1, 7, 2, 1};
    EXPECT_TRUE(vdictl::removeRunner(list.slots(), 7));
    EXPECT_THAT(list.listed(), ElementsAre(1, 2));
}

TEST(VdictlAgentRecord, RemovesTheLastOfAFullList) {
    RunnerList list{};
    for (std::uint32_t i = 0; i < 50; ++i) {
        list.slots()[i] = i + 1;
    }
    EXPECT_TRUE(vdictl::removeRunner(list.slots(), 50));
    EXPECT_TRUE(vdictl::removeRunner(list.slots(), 1));
    EXPECT_EQ(list.listed().size(), 48U);
    EXPECT_EQ(list.listed().front(), 2U);
}

TEST(VdictlAgentRecord, RemovesAnEntryBehindTheEnd) {
    RunnerList list{1, 0, 9};
    EXPECT_TRUE(vdictl::removeRunner(list.slots(), 9));
    EXPECT_THAT(list.listed(), ElementsAre(1));
    EXPECT_EQ(list.slots()[2], 0U);
}

TEST(VdictlAgentRecord, RemovingOneThatIsNotThereChangesNothing) {
    RunnerList list{1, 2};
    EXPECT_TRUE(vdictl::removeRunner(list.slots(), 3));
    EXPECT_THAT(list.listed(), ElementsAre(1, 2));
}

TEST(VdictlAgentRecord, AddingAppendsOnce) {
    RunnerList list{1};
    EXPECT_TRUE(vdictl::addRunner(list.slots(), 2));
    EXPECT_TRUE(vdictl::addRunner(list.slots(), 2));
    EXPECT_THAT(list.listed(), ElementsAre(1, 2));
}

TEST(VdictlAgentRecord, AddingToAFullListFails) {
    RunnerList list{};
    std::fill_n(list.slots(), 50, 5U);
    EXPECT_FALSE(vdictl::addRunner(list.slots(), 6));
}

// Somebody else takes the list as a whole and writes it back with one entry more, as agents do, while entries are taken
// out: what was listed before and after stays listed.
TEST(VdictlAgentRecord, NoOtherEntryIsLostToARemovalAtTheSameMoment) {
    constexpr std::uint32_t dead = 9;
    for (std::uint32_t round = 1; round <= 200; ++round) {
        RunnerList list{1, dead, 2, 3};
        std::uint32_t* const slots = list.slots();
        const std::uint32_t added = 100 + round;
        std::thread agent([&] {
            std::array<std::uint32_t, 50> copy = copyAtOnce(slots);
            *std::find(copy.begin(), copy.end(), 0U) = added;
            for (std::size_t i = 0; i < copy.size(); ++i) {
                __atomic_store_n(&slots[i], copy[i], __ATOMIC_SEQ_CST);
            }
        });
        vdictl::removeRunner(slots, dead);
        agent.join();
        ASSERT_TRUE(vdictl::removeRunner(slots, dead));
        std::vector<std::uint32_t> listed = list.listed();
        std::sort(listed.begin(), listed.end());
        ASSERT_THAT(listed, ElementsAre(1, 2, 3, added)) << round;
    }
}

}  // namespace
