// Events when the system refuses.

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>

#include <cerrno>
#include <set>
#include <string>
#include <vector>

#include "support/Background.h"
#include "support/ExpectedRecords.h"
#include "support/Limits.h"
#include "support/RawObject.h"
#include "support/Sanitizers.h"
#include "support/Users.h"

namespace {

using namespace VDIFrameworkCommon;
using recording::takeRecords;
using testing::ElementsAre;
using testing::IsEmpty;

const recording::ExpectedRecord record("SharedMemory", "src/Common/src/Macosx/MacosxEvent.cpp");

struct OpeningFails : limits::NoDescriptors {
    static std::string text(const std::string& name) {
        return "Failure on shm_open for event, event name = " + name + " error code:" + std::to_string(EMFILE);
    }
};

struct SizingFails : limits::NoFileSizes {
    static std::string text(const std::string& name) {
        const bool isEvent = name == "A_event";
        return std::string("Error on ftruncate to sizeof struct ") + (isEvent ? "t_HANDLE," : "t_list_element") +
               " event name = " + name + " error code:" + std::to_string(EFBIG);
    }
};

struct MappingFails : limits::NoMappings {
    static std::string text(const std::string& name) {
        return "Error on mmap on event, event name = " + name + " error code:" + std::to_string(ENOMEM);
    }
};

template <typename Obstacle>
class MacosxEventFailure : public testing::Test {
protected:
    void SetUp() override {
        if (std::is_same_v<Obstacle, MappingFails> && (sanitizers::address || sanitizers::thread)) {
            GTEST_SKIP() << "the sanitizer itself has to map memory";
        }
    }

    MacosxEventFailure() {
        // Everything that is allocated on first use, by the library or by a sanitizer, is there after this.
        const limits::NoDescriptors none;
        EXPECT_EQ(CreateEventA(nullptr, false, false, "first use"), nullptr);
        takeRecords();
    }

    // How many descriptors `action` leaves open.
    template <typename Action>
    static std::size_t leftOpen(const Action& action) {
        const std::size_t before = limits::openDescriptors().size();
        {
            const Obstacle obstacle;
            action();
        }
        return limits::openDescriptors().size() - before;
    }
};

using Obstacles = testing::Types<OpeningFails, SizingFails, MappingFails>;
TYPED_TEST_SUITE(MacosxEventFailure, Obstacles, );

TYPED_TEST(MacosxEventFailure, CreateTellsItAndLeavesTheDescriptorOpen) {
    const std::size_t leftOpen = this->leftOpen([] { EXPECT_EQ(CreateEventA(nullptr, false, true, "A"), nullptr); });
    EXPECT_EQ(leftOpen, (std::is_same_v<TypeParam, OpeningFails> ? 0U : 1U));
    EXPECT_THAT(takeRecords(), ElementsAre(record(DPL_ERROR, "CreateEventA", TypeParam::text("A_event"))));

    t_HANDLE* const event = CreateEventA(nullptr, false, true, "A");
    ASSERT_NE(event, nullptr) << "and works once the obstacle is gone";
    EXPECT_EQ(WaitForSingleObject(event, 0), 0) << "the event is still a new one";
}

TYPED_TEST(MacosxEventFailure, WaitTellsItAndRestoresTheCount) {
    t_HANDLE* const event = CreateEventA(nullptr, false, true, "A");
    EXPECT_EQ(this->leftOpen([&] { EXPECT_EQ(WaitForSingleObject(event, INFINITE), 96); }), 0U);
    EXPECT_THAT(takeRecords(), ElementsAre(record(DPL_ERROR, "WaitForSingleObject", TypeParam::text("A_event0"))));
    EXPECT_EQ(event->waiterCount, 0);
    EXPECT_EQ(WaitForSingleObject(event, 0), 0) << "a wait that did not take place consumes nothing";
}

TYPED_TEST(MacosxEventFailure, SetTellsItForEachWaiterAndSignalsAllTheSame) {
    t_HANDLE* const event = CreateEventA(nullptr, false, false, "A");
    event->waiterCount = 2;
    EXPECT_EQ(this->leftOpen([&] { EXPECT_EQ(SetEvent(event), 1); }), 0U);
    EXPECT_THAT(takeRecords(), ElementsAre(record(DPL_ERROR, "SetEvent", TypeParam::text("A_event0")),
                                           record(DPL_ERROR, "SetEvent", TypeParam::text("A_event1"))));
    EXPECT_EQ(event->waiterCount, 2);
    EXPECT_EQ(event->signaled, 1);
    EXPECT_EQ(pthread_mutex_trylock(&event->mutex), 0) << "the event's mutex was given back";
}

// Makes an object that this process, which gives up its privileges for that, may not open.
void makeUnreachable(const std::string& name) {
    if (users::canChange()) {
        ASSERT_TRUE(users::become(users::nobody));
    }
    raw::write(name, 0, "", 1, 48);
    const int fd = shm_open(raw::systemName(name).c_str(), O_RDWR, 0);
    ASSERT_EQ(fchmod(fd, 0), 0);
    close(fd);
}

std::string denied(const std::string& name) {
    return "Failure on shm_open for event, event name = " + name + " error code:" + std::to_string(EACCES);
}

class MacosxEventPermission : public testing::Test {
    void SetUp() override {
        if (!users::canBeRefused()) {
            GTEST_SKIP() << users::noRefusal;
        }
    }
};

TEST_F(MacosxEventPermission, CreateIsDenied) {
    makeUnreachable("A_event");
    EXPECT_EQ(CreateEventA(nullptr, false, false, "A"), nullptr);
    EXPECT_THAT(takeRecords(), ElementsAre(record(DPL_ERROR, "CreateEventA", denied("A_event"))));
}

TEST_F(MacosxEventPermission, WaitIsDenied) {
    makeUnreachable("A_event0");
    t_HANDLE* const event = CreateEventA(nullptr, false, true, "A");
    EXPECT_EQ(WaitForSingleObject(event, 0), 96);
    EXPECT_THAT(takeRecords(), ElementsAre(record(DPL_ERROR, "WaitForSingleObject", denied("A_event0"))));
    EXPECT_EQ(event->waiterCount, 0);
    EXPECT_EQ(event->signaled, 1);
    EXPECT_TRUE(raw::systemNames().count(raw::systemName("A_event0"))) << "what it could not open it does not remove";
}

TEST_F(MacosxEventPermission, SetSkipsTheWaiterThatItIsDeniedAndWakesTheNext) {
    makeUnreachable("A_event0");
    t_HANDLE* const event = CreateEventA(nullptr, false, false, "A");
    event->waiterCount = 1;
    int result = -1;
    Background waiting([&] { result = WaitForSingleObject(event, INFINITE); });
    waitUntil([&] { return raw::status("A_event1").st_size == 48; });
    EXPECT_EQ(SetEvent(event), 1);
    waiting.join();
    EXPECT_EQ(result, 0);
    EXPECT_THAT(takeRecords(), ElementsAre(record(DPL_ERROR, "SetEvent", denied("A_event0"))));
}

TEST(MacosxEventDescriptors, ZeroIsOneAsAnyOther) {
    close(0);
    t_HANDLE* const event = CreateEventA(nullptr, false, true, "A");
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(WaitForSingleObject(event, 0), 0);
    EXPECT_EQ(SetEvent(event), 1);
    EXPECT_EQ(fcntl(0, F_GETFD), -1) << "given back each time";
    EXPECT_THAT(takeRecords(), IsEmpty());
}

TEST(MacosxEventDescriptors, AreAllClosedWhenNothingFails) {
    const std::set<int> before = limits::openDescriptors();
    const std::size_t mapped = limits::sharedMappings();
    t_HANDLE* const event = CreateEventA(nullptr, false, true, "A");
    EXPECT_EQ(WaitForSingleObject(event, 0), 0);
    EXPECT_EQ(WaitForSingleObject(event, 0), 64);
    event->waiterCount = 1;
    SetEvent(event);
    event->waiterCount = 0;
    EXPECT_EQ(limits::sharedMappings(), mapped + 1) << "the event's own";
    EXPECT_EQ(CloseHandle(event), 1);
    EXPECT_EQ(limits::openDescriptors(), before);
    EXPECT_EQ(limits::sharedMappings(), mapped);
    EXPECT_THAT(takeRecords(), IsEmpty());
}

}  // namespace
