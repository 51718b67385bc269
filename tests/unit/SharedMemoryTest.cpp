#include <VDIFrameworkCommon/SharedMemory.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "ObjectNames.h"
#include "VDIFrameworkCommon/VDIClientInfo.h"
#include "support/Limits.h"
#include "support/RawObject.h"

namespace {

using VDIFrameworkCommon::clientObjectName;
using VDIFrameworkCommon::SystemName;
using VDIFrameworkCommon::VDIClientInfo;
using VDIFrameworkCommon::VDIClientType;

int openNew(const std::string& name) {
    return shm_open_mac(name, O_RDWR | O_CREAT, 0600);
}

TEST(ObjectNames, TheSystemNameIsTheDigestInDecimal) {
    EXPECT_STREQ(SystemName("abc").c_str(), "/4220206313085259313");
    EXPECT_EQ(
        std::string(SystemName("0CRVDI_B3AA2F75-88F6-41D3-A399-B58B79308164_TavixCrewsVDIRunnerCounter_mutex").c_str()),
        "/14102575400106248894");
    EXPECT_LE(std::string(SystemName(std::string(10000, 'x')).c_str()).size(), 21U);
}

TEST(ObjectNames, NamesThatDifferLateDiffer) {
    const std::string common(31, 'n');
    EXPECT_STRNE(SystemName(common + "a").c_str(), SystemName(common + "b").c_str());
    EXPECT_STREQ(SystemName(common + "a").c_str(), SystemName(common + "a").c_str());
}

TEST(ObjectNames, UserAndProductComeFirst) {
    const std::string user = std::to_string(geteuid());
    const auto nameFor = [](int type) {
        VDIClientInfo::getInstance()->setClientType(static_cast<VDIClientType::VDIClientTypeEnum>(type));
        return clientObjectName("name");
    };
    EXPECT_EQ(nameFor(0), user + "DEFVDI_name");
    EXPECT_EQ(nameFor(1), user + "DEFVDI_name");
    EXPECT_EQ(nameFor(2), user + "CRVDI_name");
    EXPECT_EQ(nameFor(3), user + "HDVDI_name");
    EXPECT_EQ(nameFor(4), user + "DEFVDI_name");
    EXPECT_EQ(nameFor(-1), user + "DEFVDI_name");
}

TEST(SharedMemory, OpensTheObjectThatTheDigestNames) {
    const int fd = openNew("some logical name");
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(raw::exists("some logical name"));
    EXPECT_EQ(raw::status("some logical name").st_mode & 0777U, 0600U);
    EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    close(fd);
}

TEST(SharedMemory, OpenPassesOnTheSystemsAnswer) {
    errno = 0;
    EXPECT_EQ(shm_open_mac("absent", O_RDWR, 0600), -1);
    EXPECT_EQ(errno, ENOENT);
    close(openNew("present"));
    errno = 0;
    EXPECT_EQ(shm_open_mac("present", O_RDWR | O_CREAT | O_EXCL, 0600), -1);
    EXPECT_EQ(errno, EEXIST);
    const limits::NoDescriptors none;
    errno = 0;
    EXPECT_EQ(shm_open_mac("present", O_RDWR, 0600), -1);
    EXPECT_EQ(errno, EMFILE);
}

TEST(SharedMemory, NamesHoldAnyCharacters) {
    const std::string names[] = {"", "/", "a/b", std::string("a\0b", 3), "a", std::string(5000, '/')};
    for (const std::string& name : names) {
        const int fd = openNew(name);
        ASSERT_GE(fd, 0);
        close(fd);
        EXPECT_TRUE(raw::exists(name));
    }
    EXPECT_EQ(shm_unlink_mac("a"), 0);
    EXPECT_TRUE(raw::exists(std::string("a\0b", 3))) << "a zero byte does not end a name";
}

TEST(SharedMemory, UnlinkRemovesTheName) {
    close(openNew("x"));
    EXPECT_EQ(shm_unlink_mac("x"), 0);
    EXPECT_FALSE(raw::exists("x"));
    errno = 0;
    EXPECT_EQ(shm_unlink_mac("x"), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST(SharedMemory, SizesANewObjectOnce) {
    const int fd = openNew("sized");
    EXPECT_EQ(ftruncate_mac(fd, 64), 0);
    EXPECT_EQ(raw::status("sized").st_size, 64);
    EXPECT_EQ(ftruncate_mac(fd, 512), 0);
    EXPECT_EQ(raw::status("sized").st_size, 64) << "an object that has a size keeps it";
    EXPECT_EQ(ftruncate_mac(fd, 0), 0);
    EXPECT_EQ(raw::status("sized").st_size, 64);
    close(fd);
}

TEST(SharedMemory, SizingFailsWithTheSystemsError) {
    errno = 0;
    EXPECT_EQ(ftruncate_mac(-1, 64), -1);
    EXPECT_EQ(errno, EBADF);
    const int fd = openNew("unsized");
    errno = 0;
    EXPECT_EQ(ftruncate_mac(fd, -1), -1);
    EXPECT_EQ(errno, EINVAL);
    const limits::NoFileSizes none;
    errno = 0;
    EXPECT_EQ(ftruncate_mac(fd, 64), -1);
    EXPECT_EQ(errno, EFBIG);
    close(fd);
}

}  // namespace
