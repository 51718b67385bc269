#include <VDIFrameworkCommon/SHMStorageMacosx.h>
#include <gtest/gtest.h>

#include <string>

#include "VDIFrameworkCommon/VDIClientInfo.h"
#include "support/Multiprocess.h"
#include "support/RawObject.h"
#include "support/RecordingLogger.h"
#include "support/Users.h"

namespace {

using multiprocess::await;
using multiprocess::Child;
using multiprocess::step;
using VDIFrameworkCommon::SHMStorageMacosx;
using VDIFrameworkCommon::VDIClientInfo;
using VDIFrameworkCommon::VDIClientType;

// storageUser USER TYPE TEXT: as that user and product reports the 16 bytes that are there and writes its own.
CHILD_MAIN(storageUser) {
    if (std::stoul(arguments[0]) != geteuid() && !users::become(static_cast<uid_t>(std::stoul(arguments[0])))) {
        return;
    }
    VDIClientInfo::getInstance()->setClientType(static_cast<VDIClientType::VDIClientTypeEnum>(std::stoi(arguments[1])));
    SHMStorageMacosx storage("s");
    char seen[16] = {};
    storage.readData(seen, sizeof seen);
    for (const auto& record : recording::takeRecords()) {
        if (record.logger == "SHMStorage") {
            step(record.message);
        }
    }
    step(std::string("saw ") + seen);
    std::string text = arguments[2];
    text.resize(16);
    step(storage.writeData(text.data(), 16) ? "written" : "not written");
    await("end");
}

std::string me() {
    return std::to_string(geteuid());
}

void expectCreator(Child& child) {
    child.waitFor("Failed to open shared memory!");
    child.waitFor("create shared memory succeeded!");
    child.waitFor("saw ");
    child.waitFor("written");
}

TEST(StorageProcess, ASecondProcessSeesTheFirstOnesBytes) {
    Child first("storageUser", {me(), "0", "one"});
    expectCreator(first);
    Child second("storageUser", {me(), "0", "two"});
    second.waitFor("open shared memory succeeded!");
    second.waitFor("saw one");
    second.waitFor("written");
    SHMStorageMacosx storage("s");
    char seen[16] = {};
    EXPECT_TRUE(storage.readData(seen, sizeof seen));
    EXPECT_STREQ(seen, "two");
}

TEST(StorageProcess, TheBytesOutliveEveryProcess) {
    {
        Child first("storageUser", {me(), "0", "kept"});
        expectCreator(first);
        first.kill();
    }
    Child second("storageUser", {me(), "0", "x"});
    second.waitFor("open shared memory succeeded!");
    second.waitFor("saw kept");
}

TEST(StorageProcess, ProductsNeverMeet) {
    Child chat("storageUser", {me(), "1", "chat"});
    expectCreator(chat);
    Child teams("storageUser", {me(), "2", "teams"});
    expectCreator(teams);
    Child meetings("storageUser", {me(), "3", "meetings"});
    expectCreator(meetings);
}

TEST(StorageProcess, UsersNeverMeet) {
    if (!users::canChange()) {
        GTEST_SKIP() << "only root can become another user";
    }
    Child one("storageUser", {me(), "0", "one"});
    expectCreator(one);
    Child other("storageUser", {std::to_string(users::nobody), "0", "other"});
    expectCreator(other);
}

TEST(StorageProcess, AForeignPeerReadsAndWritesTheSameBytes) {
    SHMStorageMacosx storage("s");
    const char mine[] = "from the library";
    ASSERT_TRUE(storage.writeData(mine, sizeof mine));
    const std::string object = raw::logicalName("DEFVDI_", "s");
    EXPECT_STREQ(reinterpret_cast<const char*>(raw::read(object).data()), mine);
    const char theirs[] = "from a peer";
    raw::write(object, 0, theirs, sizeof theirs, 512);
    char seen[sizeof theirs] = {};
    EXPECT_TRUE(storage.readData(seen, sizeof seen));
    EXPECT_STREQ(seen, theirs);
}

}  // namespace
