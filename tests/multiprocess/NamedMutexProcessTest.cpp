#include <VDIFrameworkCommon/NamedMutex.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "VDIFrameworkCommon/VDIClientInfo.h"
#include "support/Multiprocess.h"
#include "support/RawObject.h"
#include "support/Users.h"

namespace {

using multiprocess::await;
using multiprocess::Child;
using multiprocess::step;
using VDIFrameworkCommon::NamedMutex;
using VDIFrameworkCommon::VDIClientInfo;
using VDIFrameworkCommon::VDIClientType;

CHILD_MAIN(locks) {
    NamedMutex mutex;
    if (!mutex.create("m")) {
        return;
    }
    step("created");
    await("lock");
    mutex.lock();
    step("locked");
    await("unlock");
    mutex.unlock();
    step("unlocked");
    await("end");
}

TEST(NamedMutexProcess, ExcludesOtherProcesses) {
    Child child("locks");
    child.waitFor("created");
    NamedMutex mutex;
    ASSERT_TRUE(mutex.create("m"));
    child.tell("lock");
    child.waitFor("locked");
    EXPECT_EQ(pthread_mutex_trylock(mutex.getHandler()), EBUSY);
    child.tell("unlock");
    EXPECT_TRUE(mutex.lock()) << "the waiter is woken across processes";
    child.waitFor("unlocked");
    mutex.unlock();
    child.tell("end");
    EXPECT_EQ(child.join(), 0);
}

TEST(NamedMutexProcess, AKilledHolderLeavesItLockedUntilTheNextCreate) {
    NamedMutex early;
    ASSERT_TRUE(early.create("m"));
    Child child("locks");
    child.waitFor("created");
    child.tell("lock");
    child.waitFor("locked");
    child.kill();
    EXPECT_EQ(pthread_mutex_trylock(early.getHandler()), EBUSY) << "nothing notices the death by itself";
    NamedMutex healer;
    ASSERT_TRUE(healer.create("m"));
    EXPECT_TRUE(early.lock()) << "for everybody who has it open";
    early.unlock();
}

constexpr int roundsOfEach = 20000;

struct Counter {
    long value;
};

CHILD_MAIN(counts) {
    const int fd = shm_open("/counter", O_RDWR, 0);
    auto* const counter =
        static_cast<Counter*>(mmap(nullptr, sizeof(Counter), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
    NamedMutex mutex;
    mutex.create("m");
    step("ready");
    await("go");
    for (int i = 0; i < roundsOfEach; ++i) {
        mutex.lock();
        counter->value = counter->value + 1;
        mutex.unlock();
    }
    step("done");
    await("end");
}

TEST(NamedMutexProcess, GuardsWhatProcessesShare) {
    const int fd = shm_open("/counter", O_RDWR | O_CREAT, 0600);
    ASSERT_EQ(ftruncate(fd, sizeof(Counter)), 0);
    Child first("counts");
    Child second("counts");
    first.waitFor("ready");
    second.waitFor("ready");
    first.tell("go");
    second.tell("go");
    first.waitFor("done");
    second.waitFor("done");
    Counter counter{};
    ASSERT_EQ(pread(fd, &counter, sizeof counter, 0), static_cast<ssize_t>(sizeof counter));
    EXPECT_EQ(counter.value, 2L * roundsOfEach);
    close(fd);
}

CHILD_MAIN(locksAs) {
    if (std::stoul(arguments[0]) != geteuid() && !users::become(static_cast<uid_t>(std::stoul(arguments[0])))) {
        return;
    }
    VDIClientInfo::getInstance()->setClientType(static_cast<VDIClientType::VDIClientTypeEnum>(std::stoi(arguments[1])));
    NamedMutex mutex;
    if (mutex.create("m") && pthread_mutex_trylock(mutex.getHandler()) == 0) {
        step("locked");
    }
    await("end");
}

std::string idOf(uid_t user) {
    return std::to_string(user);
}

TEST(NamedMutexProcess, ProductsHaveLocksOfTheirOwn) {
    Child chat("locksAs", {idOf(geteuid()), "1"});
    Child teams("locksAs", {idOf(geteuid()), "2"});
    Child meetings("locksAs", {idOf(geteuid()), "3"});
    chat.waitFor("locked");
    teams.waitFor("locked");
    meetings.waitFor("locked");
}

TEST(NamedMutexProcess, UsersHaveLocksOfTheirOwn) {
    if (!users::canChange()) {
        GTEST_SKIP() << "only root can become another user";
    }
    Child one("locksAs", {idOf(geteuid()), "0"});
    Child other("locksAs", {idOf(users::nobody), "0"});
    one.waitFor("locked");
    other.waitFor("locked");
    EXPECT_EQ(raw::status("0DEFVDI_m_mutex").st_uid, 0U);
    EXPECT_EQ(raw::status("65534DEFVDI_m_mutex").st_uid, users::nobody);
}

CHILD_MAIN(takesItsEffectiveUser) {
    if (seteuid(users::nobody) == 0) {
        NamedMutex mutex;
        step(mutex.create("m") ? "created" : "failed");
    }
}

TEST(NamedMutexProcess, TheEffectiveUserCounts) {
    if (!users::canChange()) {
        GTEST_SKIP() << "only root can become another user";
    }
    Child child("takesItsEffectiveUser");
    child.waitFor("created");
    EXPECT_TRUE(raw::exists("65534DEFVDI_m_mutex"));
    EXPECT_FALSE(raw::exists("0DEFVDI_m_mutex"));
}

}  // namespace
