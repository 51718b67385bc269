// vdictl event: works on events as agents do, beside agents, and leaves nothing behind.

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <VDIFrameworkCommon/NamedCondition.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <string>

#include "support/Background.h"
#include "support/Multiprocess.h"
#include "support/RawObject.h"
#include "support/Sanitizers.h"
#include "support/Users.h"
#include "vdictl/ToolProgram.h"

namespace {

using namespace VDIFrameworkCommon;
using multiprocess::Child;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using tool::facts;
using tool::Program;
using tool::run;

t_HANDLE* open(const std::string& name, bool initialState = false) {
    return CreateEventA(nullptr, false, initialState, name.c_str());
}

void waitForWaiters(const t_HANDLE& event, int count) {
    waitUntil([&] { return __atomic_load_n(&event.waiterCount, __ATOMIC_RELAXED) == count; });
}

CHILD_MAIN(waitsForX) {
    multiprocess::step(std::to_string(WaitForSingleObject(open("x"), 60'000)));
}

CHILD_MAIN(diesInX) {
    t_HANDLE* const event = open("x");
    pthread_mutex_lock(&event->mutex);
    multiprocess::step("holds");
    multiprocess::await("never");
}

TEST(VdictlEvent, SetSignalsAnEventAndMakesIt) {
    const auto result = run({"event", "set", "x"});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.output + result.errors, "");
    EXPECT_THAT(raw::systemNames(), UnorderedElementsAre(raw::systemName("x_event")));
    t_HANDLE* const event = open("x");
    EXPECT_EQ(WaitForSingleObject(event, 0), 0);
    EXPECT_EQ(WaitForSingleObject(event, 0), 64);
}

TEST(VdictlEvent, SetWakesAWaitingAgent) {
    Child agent("waitsForX");
    t_HANDLE* const event = open("x");
    waitForWaiters(*event, 1);
    EXPECT_EQ(run({"event", "set", "x"}).exitCode, 0);
    EXPECT_EQ(agent.next(), "0");
}

TEST(VdictlEvent, ResetTakesTheSignalBack) {
    t_HANDLE* const event = open("x", true);
    EXPECT_EQ(run({"event", "reset", "x"}).exitCode, 0);
    EXPECT_EQ(WaitForSingleObject(event, 0), 64);
}

TEST(VdictlEvent, WaitConsumesTheSignal) {
    t_HANDLE* const event = open("x", true);
    const auto result = run({"event", "wait", "x"});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(WaitForSingleObject(event, 0), 64);
}

TEST(VdictlEvent, WaitEndsWhenAnAgentSetsTheEvent) {
    Program waiting({"event", "wait", "x"});
    t_HANDLE* const event = open("x");
    waitForWaiters(*event, 1);
    SetEvent(event);
    EXPECT_EQ(waiting.end(), 0);
    EXPECT_EQ(event->waiterCount, 0);
    EXPECT_THAT(raw::systemNames(), UnorderedElementsAre(raw::systemName("x_event"))) << "no waiter's object stays";
}

TEST(VdictlEvent, WaitGivesUpInTime) {
    for (const char* const time : {"0", "30", "450"}) {
        const auto result = run({"event", "wait", "--timeout", time, "x"});
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_THAT(result.errors, HasSubstr(std::string("not signaled within ") + time + " ms"));
    }
    EXPECT_EQ(open("x")->waiterCount, 0);
    EXPECT_THAT(raw::systemNames(), UnorderedElementsAre(raw::systemName("x_event")));
}

TEST(VdictlEvent, WaitGoesOnWhenAnotherGetsTheSignal) {
    Program waiting({"event", "wait", "x"});
    t_HANDLE* const event = open("x");
    for (int i = 0; i < 20; ++i) {
        waitForWaiters(*event, 1);
        // As SetEvent would, for a signal that another waiter has taken already.
        pthread_mutex_lock(&event->mutex);
        const std::string waiter = "x_event0";
        if (event->waiterCount == 1 && raw::exists(waiter)) {
            pthread_cond_signal(&raw::Mapping<t_list_element>(waiter)->cond);
        }
        pthread_mutex_unlock(&event->mutex);
    }
    SetEvent(event);
    EXPECT_EQ(waiting.end(), 0);
}

class VdictlEventSignal : public testing::TestWithParam<int> {};

TEST_P(VdictlEventSignal, EndsAWaitWithoutTraces) {
    Program waiting({"event", "wait", "x"});
    t_HANDLE* const event = open("x");
    waitForWaiters(*event, 1);
    waiting.signal(GetParam());
    EXPECT_EQ(waiting.end(), 128 + GetParam());
    EXPECT_EQ(event->waiterCount, 0);
    EXPECT_THAT(raw::systemNames(), UnorderedElementsAre(raw::systemName("x_event")));
}
INSTANTIATE_TEST_SUITE_P(Each, VdictlEventSignal, testing::Values(SIGTERM, SIGINT, SIGHUP, SIGQUIT));

TEST(VdictlEvent, GetsPastALockThatADeadProcessHolds) {
    Child agent("diesInX");
    agent.waitFor("holds");
    agent.kill();
    const auto before = facts({"event", "show", "x"});
    EXPECT_EQ(before["lock"]["state"], "held");
    EXPECT_EQ(before["lock"]["alive"], false);
    EXPECT_EQ(run({"event", "set", "x"}).exitCode, 0);
    EXPECT_EQ(facts({"event", "show", "x"})["lock"]["state"], "free");
}

// Leaves the condition of a process that was killed while it changed it: its inner lock is held, and it has a waiter.
void makeSetsHang(t_HANDLE& event) {
    event.waiterCount = 1;
    unsigned char condition[48] = {};
    condition[32] = 1;
    condition[36] = 8;
    raw::write("x_event0", 0, condition, sizeof condition, sizeof condition);
}

TEST(VdictlEvent, GivesUpAnOperationThatWouldNeverEnd) {
    if (sanitizers::thread) {
        GTEST_SKIP() << "a condition with such bytes is no condition for the sanitizer";
    }
    t_HANDLE* const event = open("x");
    makeSetsHang(*event);
    const auto result = run({"event", "set", "x"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.errors, "vdictl: event 'x' (/dev/shm" + raw::systemName("x_event") +
                                 "): SetEvent: held up by what a process left there that died or is stopped; 'vdictl "
                                 "doctor' tells more and can repair it\n");
}

TEST(VdictlEvent, NamesConditionsOfAProduct) {
    const std::string name = raw::logicalName("HDVDI_", "ready") + "_event";
    EXPECT_EQ(run({"event", "set", "--client", "huddles", "ready"}).exitCode, 0);
    EXPECT_THAT(raw::systemNames(), UnorderedElementsAre(raw::systemName(name)));
    EXPECT_EQ(facts({"event", "show", "--client", "huddles", "ready"})["logicalName"], name);
}

TEST(VdictlEvent, ReachesANamedCondition) {
    NamedMutex mutex;
    NamedCondition condition;
    ASSERT_TRUE(mutex.create("lock"));
    ASSERT_TRUE(condition.create("ready"));
    EXPECT_EQ(run({"event", "set", "--client", "unknown", "ready"}).exitCode, 0);
    mutex.lock();
    EXPECT_TRUE(condition.timed_wait(mutex, 0));
    mutex.unlock();
}

TEST(VdictlEvent, WorksForAnotherUser) {
    if (!users::canChange()) {
        GTEST_SKIP() << "only the superuser can";
    }
    EXPECT_EQ(run({"event", "set", "--user", std::to_string(users::nobody), "x"}).exitCode, 0);
    const std::string name = std::to_string(users::nobody) + "DEFVDI_x_event";
    EXPECT_EQ(raw::status(name).st_uid, users::nobody) << "who can open it now";
    EXPECT_EQ(run({"event", "wait", "--timeout", "0", "--user", "nobody", "x"}).exitCode, 0);
}

TEST(VdictlEvent, SaysWhatItMayNotDo) {
    if (!users::canChange()) {
        GTEST_SKIP() << "only the superuser can become somebody who may not";
    }
    open("x");
    const pid_t child = fork();
    if (child == 0) {
        const bool changed = users::become(users::nobody);
        const auto other = run({"event", "set", "--user", "0", "x"});
        const auto own = run({"event", "set", "x"});
        const auto shown = run({"event", "show", "x"});
        const std::string about = "'x_event' (/dev/shm" + raw::systemName("x_event") + "): ";
        const std::string denied = "shm_open: Permission denied (EACCES); run as its owner, user 0, or as root\n";
        const bool isRight =
            changed && other.exitCode == 3 && own.exitCode == 3 && shown.exitCode == 3 &&
            other.errors == "vdictl: user 0: seteuid: Operation not permitted (EPERM); run as this user or as root\n" &&
            own.errors == "vdictl: event 'x' (/dev/shm" + raw::systemName("x_event") + "): " + denied &&
            shown.errors == "vdictl: object " + about + denied;
        if (!isRight) {
            std::fprintf(stderr, "%s%s%s", other.errors.c_str(), own.errors.c_str(), shown.errors.c_str());
        }
        _exit(isRight ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(VdictlEvent, ShowTellsThatThereIsNoneAndMakesNone) {
    const auto result = run({"event", "show", "x"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "vdictl: event 'x' (/dev/shm" + raw::systemName("x_event") +
                                 "): no such event; 'vdictl status' lists what there is\n");
    const nlohmann::json expected{
        {"name", "x"}, {"logicalName", "x_event"}, {"objectName", raw::systemName("x_event")}, {"exists", false}};
    EXPECT_EQ(facts({"event", "show", "x"}, 1), expected);
    EXPECT_THAT(raw::systemNames(), IsEmpty());
}

TEST(VdictlEvent, ShowsAnEventWithAWaiter) {
    Child agent("waitsForX");
    t_HANDLE* const event = open("x");
    waitForWaiters(*event, 1);
    waitUntil([&] { return facts({"event", "show", "x"})["lock"]["state"] == "free"; });
    const std::string user = std::to_string(geteuid());
    EXPECT_EQ(run({"event", "show", "x"}).output,
              "EVENT           x\n"
              "object          " +
                  raw::systemName("x_event") +
                  "\n"
                  "size            176\n"
                  "owner           " +
                  user +
                  "\n"
                  "mode            0600\n"
                  "signaled        no\n"
                  "waiters         1\n"
                  "waiter objects  0\n"
                  "lock            free\n"
                  "stored name     x_event\n");
    const nlohmann::json expected{{"name", "x"},
                                  {"logicalName", "x_event"},
                                  {"objectName", raw::systemName("x_event")},
                                  {"exists", true},
                                  {"size", 176},
                                  {"owner", geteuid()},
                                  {"mode", "0600"},
                                  {"isEvent", true},
                                  {"signaled", false},
                                  {"waiters", 1},
                                  {"waiterObjects", {0}},
                                  {"lock", {{"state", "free"}}},
                                  {"storedName", "x_event"}};
    EXPECT_EQ(facts({"event", "show", "x"}), expected);
    SetEvent(event);
    EXPECT_EQ(agent.next(), "0") << "it was not disturbed";
}

TEST(VdictlEvent, ShowsWhoHoldsTheLock) {
    Child agent("diesInX");
    agent.waitFor("holds");
    const std::string pid = std::to_string(agent.pid());
    EXPECT_THAT(run({"event", "show", "x"}).output, HasSubstr("lock            held by process " + pid + " ("));
    const auto lock = facts({"event", "show", "x"})["lock"];
    EXPECT_EQ(lock, (nlohmann::json{{"state", "held"}, {"thread", agent.pid()}, {"alive", true}}));
    agent.kill();
    EXPECT_THAT(run({"event", "show", "x"}).output,
                HasSubstr("lock            held by thread " + pid + ", which is dead\n"));
}

TEST(VdictlEvent, ShowsAnyBytes) {
    unsigned char bytes[176];
    std::memset(bytes, 0xFF, sizeof bytes);
    raw::write("x_event", 0, bytes, sizeof bytes, sizeof bytes);
    const auto damaged = facts({"event", "show", "x"});
    EXPECT_EQ(damaged["isEvent"], false);
    EXPECT_EQ(damaged["waiters"], -1);
    EXPECT_EQ(damaged["lock"]["state"], "damaged");
    const auto text = run({"event", "show", "x"});
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_THAT(text.output, HasSubstr("finding         not every byte is such as the library writes\n"));
    raw::write("small_event", 0, "abcd", 4, 4);
    EXPECT_EQ(facts({"event", "show", "small"})["isEvent"], false);
    EXPECT_THAT(run({"event", "show", "small"}).output, HasSubstr("too small for an event: text 'abcd'"));
    EXPECT_EQ(raw::read("x_event"), std::vector<unsigned char>(bytes, bytes + sizeof bytes)) << "nothing was changed";
}

TEST(VdictlEvent, ShowDoesNotWaitForWhatIsNoObject) {
    ASSERT_EQ(mkfifo(("/dev/shm" + raw::systemName("x_event")).c_str(), 0600), 0);
    const auto result = run({"event", "show", "x"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.errors, HasSubstr("something else of its name; remove it"));
}

// Ended in the middle of it, it would leave the event's lock held.
TEST(VdictlEvent, ASignalDoesNotEndASetInTheMiddle) {
    if (sanitizers::thread) {
        GTEST_SKIP() << "a condition with such bytes is no condition for the sanitizer";
    }
    t_HANDLE* const event = open("x");
    makeSetsHang(*event);
    Program setting({"event", "set", "x"});
    waitUntil([&] { return __atomic_load_n(&event->signaled, __ATOMIC_SEQ_CST) == 1; });
    setting.signal(SIGTERM);
    EXPECT_EQ(setting.end(), 3) << "it went on until it gave up";
}

TEST(VdictlEvent, SaysThatTheFolderIsFull) {
    if (mount("tmpfs", "/dev/shm", "tmpfs", 0, "size=8k") != 0) {
        GTEST_SKIP() << "no small folder can be made here";
    }
    ASSERT_EQ(run({"event", "set", "there"}).exitCode, 0);
    raw::write("filler", 0, std::string(4096, 'x').data(), 4096, 4096);
    for (const char* const operation : {"set", "reset", "wait"}) {
        const auto result = run({"event", operation, "x"});
        EXPECT_EQ(result.exitCode, 3) << operation;
        EXPECT_EQ(result.errors, "vdictl: event 'x' (/dev/shm" + raw::systemName("x_event") +
                                     "): posix_fallocate: No space left on device (ENOSPC); /dev/shm is full: 'vdictl "
                                     "status' shows what lies there\n");
    }
    EXPECT_FALSE(raw::exists("x_event"));
    EXPECT_EQ(run({"event", "reset", "there"}).exitCode, 0) << "it has its memory";
    EXPECT_THAT(run({"event", "wait", "there"}).errors, HasSubstr("ENOSPC")) << "there is none for a waiter";
}

TEST(VdictlEvent, RefusesWhatItDoesNotUnderstand) {
    for (const tool::Words& words : {tool::Words{"event"},
                                     {"event", "set"},
                                     {"event", "break", "x"},
                                     {"event", "wait", "--timeout", "soon", "x"}}) {
        EXPECT_EQ(run(words).exitCode, 2) << words.back();
    }
    EXPECT_THAT(raw::systemNames(), IsEmpty());
}

}  // namespace
