#include <VDIFrameworkCommon/VDIClientInfo.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using VDIFrameworkCommon::VDIClientInfo;
using VDIFrameworkCommon::VDIClientType;
using Type = VDIClientType::VDIClientTypeEnum;

static_assert(sizeof(Type) == 4);
static_assert(VDIClientType::Unknown == 0 && VDIClientType::Parlet == 1 && VDIClientType::OrvexCrews == 2 &&
              VDIClientType::OrvexHuddles == 3);
static_assert(std::is_convertible_v<Type, int>, "the enumeration is unscoped");
static_assert(std::is_polymorphic_v<VDIClientInfo> && std::has_virtual_destructor_v<VDIClientInfo>);

TEST(VDIClientInfo, BeginsAsUnknown) {
    const VDIClientInfo& info = *VDIClientInfo::getInstance();
    EXPECT_EQ(info.getClientType(), 0);
    EXPECT_EQ(info.getClientName(), "Unknown");
    EXPECT_EQ(info.getClientTypeId(), 0);
    EXPECT_EQ(info.getClientVersion(), "");
    EXPECT_EQ(info.getPeerClientVersion(), "");
    EXPECT_EQ(info.getLogDirectory(), "");
}

TEST(VDIClientInfo, NamesEveryProduct) {
    VDIClientInfo info;
    const char* const names[] = {"Unknown", "Parlet", "OrvexCrews", "OrvexHuddles"};
    for (int type = 0; type < 4; ++type) {
        info.setClientType(static_cast<Type>(type));
        EXPECT_EQ(info.getClientType(), type);
        EXPECT_EQ(info.getClientTypeId(), type);
        EXPECT_EQ(info.getClientName(), names[type]);
        EXPECT_EQ(VDIFrameworkCommon::VDIClientTypeNames[type], names[type]);
    }
}

TEST(VDIClientInfo, KeepsATypeOutOfRangeButHasNoNameOrIdForIt) {
    VDIClientInfo info;
    for (const int type : {7, 4, -1, INT_MAX, INT_MIN}) {
        info.setClientType(static_cast<Type>(type));
        EXPECT_EQ(info.getClientType(), type);
        EXPECT_EQ(info.getClientTypeId(), 0);
        EXPECT_EQ(info.getClientName(), "Unknown");
    }
}

TEST(VDIClientInfo, KeepsTexts) {
    VDIClientInfo info;
    info.setClientVersion("1.2");
    info.setPeerClientVersion("3.4");
    info.setLogDirectory("/var/log/x");
    EXPECT_EQ(info.getClientVersion(), "1.2");
    EXPECT_EQ(info.getPeerClientVersion(), "3.4");
    EXPECT_EQ(info.getLogDirectory(), "/var/log/x");
}

TEST(VDIClientInfo, InternalVersions) {
    VDIClientInfo info;
    EXPECT_EQ(info.getMyInternalVersion(), 1);
    EXPECT_EQ(info.getPeerInternalVersion(), 0);
    info.setPeerInternalVersion(-5);
    EXPECT_EQ(info.getPeerInternalVersion(), -5);
    EXPECT_EQ(info.getMyInternalVersion(), 1);
}

TEST(VDIClientInfo, ThreadsThatAskAtTheSameTimeGetOneObject) {
    std::vector<VDIClientInfo*> found(8);
    std::vector<std::thread> threads;
    for (VDIClientInfo*& slot : found) {
        threads.emplace_back([&slot] { slot = VDIClientInfo::getInstance(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const VDIClientInfo* const info : found) {
        EXPECT_EQ(info, VDIClientInfo::getInstance());
    }
}

}  // namespace
