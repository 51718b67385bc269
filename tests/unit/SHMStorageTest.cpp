#include <VDIFrameworkCommon/SHMStorageMacosx.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "VDIFrameworkCommon/VDIClientInfo.h"
#include "support/Background.h"
#include "support/ExpectedRecords.h"
#include "support/Limits.h"
#include "support/RawObject.h"
#include "support/Sanitizers.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using VDIFrameworkCommon::SHMStorage;
using VDIFrameworkCommon::SHMStorageBase;
using VDIFrameworkCommon::SHMStorageMacosx;
using VDIFrameworkCommon::VDIClientInfo;
using VDIFrameworkCommon::VDIClientType;

static_assert(std::is_abstract_v<SHMStorage> && std::is_abstract_v<SHMStorageBase>);
static_assert(std::is_base_of_v<SHMStorage, SHMStorageBase> && std::is_base_of_v<SHMStorageBase, SHMStorageMacosx>);

const recording::ExpectedRecord baseRecord("SHMStorageBase", "src/Common/src/SHMStorageBase.cpp");
const recording::ExpectedRecord record("SHMStorage", "src/Common/src/Macosx/SHMStorageMacosx.cpp");
const recording::ExpectedRecord mutexRecord("SharedMemory", "src/Common/src/Macosx/NamedMutexMacosx.cpp");

const std::string guardName = "B3AA2F75-88F6-41D3-A399-B58B79308164_s";

std::string block() {
    return raw::logicalName("DEFVDI_", "s");
}
std::string guardObject() {
    return raw::logicalName("DEFVDI_", guardName + "_mutex");
}

// A storage whose construction is not what the test is about.
std::unique_ptr<SHMStorageMacosx> makeStorage() {
    auto storage = std::make_unique<SHMStorageMacosx>("s");
    recording::takeRecords();
    return storage;
}

TEST(SHMStorageMacosx, ConstructionCreatesTheGuardOnly) {
    const SHMStorageMacosx storage("s");
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(baseRecord(DPL_INFO, "createNamedMutex",
                                       "CreateMutex for SHMStorageBase start succeed: " + guardName)));
    EXPECT_TRUE(raw::exists(guardObject()));
    EXPECT_FALSE(raw::exists(block()));
}

TEST(SHMStorageMacosx, ConstructionFreesAGuardThatIsHeld) {
    VDIFrameworkCommon::NamedMutex guard;
    ASSERT_TRUE(guard.create(guardName.c_str()));
    ASSERT_TRUE(guard.lock());
    const SHMStorageMacosx storage("s");
    EXPECT_EQ(pthread_mutex_trylock(guard.getHandler()), 0);
}

TEST(SHMStorageMacosx, ConstructionUnlocksTheNewGuardOnce) {
    const SHMStorageMacosx storage("s");
    pthread_mutexattr_t shared;
    pthread_mutexattr_init(&shared);
    pthread_mutexattr_setpshared(&shared, PTHREAD_PROCESS_SHARED);
    pthread_mutex_t expected;
    std::memset(&expected, 0, sizeof expected);
    pthread_mutex_init(&expected, &shared);
    pthread_mutex_unlock(&expected);  // leaves its mark on a mutex that nobody holds
    const auto bytes = raw::read(guardObject());
    ASSERT_GE(bytes.size(), sizeof expected);
    EXPECT_EQ(std::memcmp(bytes.data(), &expected, sizeof expected), 0);
}

TEST(SHMStorageMacosx, AGuardThatCannotBeMadeIsReportedAndDoesNoHarm) {
    std::unique_ptr<SHMStorageMacosx> storage;
    {
        const limits::NoDescriptors none;
        storage = std::make_unique<SHMStorageMacosx>("s");
    }
    EXPECT_THAT(
        recording::takeRecords(),
        ElementsAre(
            mutexRecord(DPL_ERROR, "create", "Failure on shm_open for mutex, mutex name = " + guardObject()),
            baseRecord(DPL_ERROR, "createNamedMutex", "CreateMutex for SHMStorageBase start failed: " + guardName)));
    const int value = 5;
    EXPECT_TRUE(storage->writeData(&value, sizeof value));
}

TEST(SHMStorageMacosx, TheFirstOneCreatesTheBlock) {
    const auto storage = makeStorage();
    storage->init();
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(record(DPL_INFO, "initSHMStorage", "Failed to open shared memory!"),
                            record(DPL_INFO, "initSHMStorage", "create shared memory succeeded!")));
    const auto bytes = raw::read(block());
    EXPECT_EQ(bytes.size(), 512U);
    EXPECT_THAT(bytes, Each(0));
    EXPECT_EQ(raw::status(block()).st_mode & 0777U, 0600U);
}

// What comes between an initialisation's look for the block and its creation.
std::function<void()> meanwhile;

void runMeanwhile(const recording::Record& written) {
    if (written.message == "Failed to open shared memory!" && meanwhile) {
        std::exchange(meanwhile, nullptr)();
    }
}

TEST(SHMStorageMacosx, ABlockThatAnotherOneMakesMeanwhileIsFilledWithZeros) {
    const auto storage = makeStorage();
    meanwhile = [] {
        const std::vector<unsigned char> bytes(512, 0xFF);
        raw::write(block(), 0, bytes.data(), bytes.size(), 512);
    };
    recording::setObserver(runMeanwhile);
    storage->init();
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(record(DPL_INFO, "initSHMStorage", "Failed to open shared memory!"),
                            record(DPL_INFO, "initSHMStorage", "create shared memory succeeded!")));
    EXPECT_THAT(raw::read(block()), Each(0));
}

TEST(SHMStorageMacosx, OneThreadAtATimeInitialises) {
    const auto storage = makeStorage();
    std::unique_ptr<Background> other;
    meanwhile = [&] {
        other = std::make_unique<Background>([&] { storage->initSHMStorage(); });
        other->waitUntilAsleep();
        EXPECT_FALSE(other->ended());
    };
    recording::setObserver(runMeanwhile);
    storage->initSHMStorage();
    ASSERT_NE(other, nullptr);
    other->join();
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(record(DPL_INFO, "initSHMStorage", "Failed to open shared memory!"),
                            record(DPL_INFO, "initSHMStorage", "create shared memory succeeded!"),
                            record(DPL_INFO, "initSHMStorage", "open shared memory succeeded!")));
}

TEST(SHMStorageMacosx, ALaterOneOpensItAndSeesItsBytes) {
    const std::vector<unsigned char> bytes(512, 0xA5);
    raw::write(block(), 0, bytes.data(), bytes.size(), 512);
    const auto storage = makeStorage();
    std::vector<unsigned char> seen(512);
    EXPECT_TRUE(storage->readData(seen.data(), 512));
    EXPECT_EQ(seen, bytes);
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(record(DPL_INFO, "initSHMStorage", "open shared memory succeeded!"),
                            baseRecord(DPL_TRACE, "readData", "ReadData from SHMStorageBase: s")));
}

TEST(SHMStorageMacosx, InitialisesOnce) {
    const auto storage = makeStorage();
    storage->init();
    recording::takeRecords();
    storage->init();
    char byte = 0;
    EXPECT_TRUE(storage->readData(&byte, 1));
    EXPECT_THAT(recording::withoutTrace(recording::takeRecords()), IsEmpty());
}

TEST(SHMStorageMacosx, WritesToTheStartOfTheBlock) {
    const auto storage = makeStorage();
    const unsigned char bytes[] = {1, 2, 3};
    EXPECT_TRUE(storage->writeData(bytes, 3));
    EXPECT_EQ(recording::takeRecords().back(), baseRecord(DPL_TRACE, "writeData", "WriteData to SHMStorageBase: s"));
    auto expected = std::vector<unsigned char>(512);
    std::copy(std::begin(bytes), std::end(bytes), expected.begin());
    EXPECT_EQ(raw::read(block()), expected);
}

TEST(SHMStorageMacosx, TakesFiveHundredAndTwelveBytesAndNoMore) {
    const auto storage = makeStorage();
    std::vector<unsigned char> bytes(513);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(i * 7);
    }
    EXPECT_TRUE(storage->writeData(bytes.data(), 512));
    const auto written = raw::read(block());
    EXPECT_TRUE(std::equal(written.begin(), written.end(), bytes.begin()));
    recording::takeRecords();

    const std::vector<unsigned char> other(513, 0xFF);
    EXPECT_FALSE(storage->writeData(other.data(), 513));
    EXPECT_FALSE(storage->writeData(other.data(), 0xFFFFFFFFU));
    EXPECT_EQ(raw::read(block()), written);
    std::vector<unsigned char> buffer(513, 0xEE);
    EXPECT_FALSE(storage->readData(buffer.data(), 513));
    EXPECT_THAT(buffer, Each(0xEE));
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(baseRecord(DPL_ERROR, "writeData", "data size is too large, can not write"),
                            baseRecord(DPL_ERROR, "writeData", "data size is too large, can not write"),
                            baseRecord(DPL_ERROR, "readData", "data size is too large, can not read")));
}

TEST(SHMStorageMacosx, AnOversizedTransferInitialisesAllTheSame) {
    const auto storage = makeStorage();
    char byte = 0;
    EXPECT_FALSE(storage->readData(&byte, 513));
    EXPECT_TRUE(raw::exists(block()));
}

TEST(SHMStorageMacosx, TransfersOfNothingSucceed) {
    const auto storage = makeStorage();
    unsigned char byte = 0xEE;
    EXPECT_TRUE(storage->readData(&byte, 0));
    EXPECT_TRUE(storage->readData(nullptr, 0));
    EXPECT_TRUE(storage->writeData(nullptr, 0));
    EXPECT_EQ(byte, 0xEE);
}

TEST(SHMStorageMacosx, ProductsHaveBlocksOfTheirOwn) {
    const auto write = [](VDIClientType::VDIClientTypeEnum type, unsigned char value) {
        VDIClientInfo::getInstance()->setClientType(type);
        SHMStorageMacosx("s").writeData(&value, 1);
    };
    write(VDIClientType::OrvexCrews, 2);
    write(VDIClientType::OrvexHuddles, 3);
    write(VDIClientType::Parlet, 1);
    EXPECT_EQ(raw::read(raw::logicalName("CRVDI_", "s"))[0], 2);
    EXPECT_EQ(raw::read(raw::logicalName("HDVDI_", "s"))[0], 3);
    EXPECT_EQ(raw::read(raw::logicalName("DEFVDI_", "s"))[0], 1);
    EXPECT_TRUE(raw::exists(raw::logicalName("CRVDI_", guardName + "_mutex")));
    EXPECT_TRUE(raw::exists(raw::logicalName("HDVDI_", guardName + "_mutex")));
}

TEST(SHMStorageMacosx, NamesAreFormedWhenTheyAreNeeded) {
    const auto storage = makeStorage();
    VDIClientInfo::getInstance()->setClientType(VDIClientType::OrvexHuddles);
    storage->init();
    EXPECT_TRUE(raw::exists(raw::logicalName("HDVDI_", "s"))) << "the block's when it is opened";
    EXPECT_TRUE(raw::exists(guardObject())) << "the guard's at construction";
}

TEST(SHMStorageMacosx, DestructionGivesBackAllButTheGuard) {
    makeStorage()->init();  // opens what is opened only once
    const std::set<int> before = limits::openDescriptors();
    const std::size_t mapped = limits::sharedMappings();
    {
        const auto storage = makeStorage();
        storage->init();
        recording::takeRecords();
        EXPECT_EQ(limits::sharedMappings(), mapped + 2);
        EXPECT_EQ(limits::openDescriptors().size(), before.size() + 2);
    }
    EXPECT_EQ(limits::openDescriptors().size(), before.size() + 1) << "the guard's descriptor stays";
    EXPECT_EQ(limits::sharedMappings(), mapped + 1) << "and its mapping";
    EXPECT_THAT(recording::takeRecords(), IsEmpty());
    EXPECT_TRUE(raw::exists(block())) << "the block outlives its users";
}

TEST(SHMStorageMacosx, DestructionOfAnUnusedOneClosesDescriptorZero) {
    ASSERT_NE(fcntl(0, F_GETFD), -1);
    makeStorage();
    EXPECT_EQ(fcntl(0, F_GETFD), -1);
    makeStorage();  // whose guard has taken the free number 0
    makeStorage();
    EXPECT_THAT(recording::takeRecords(), IsEmpty());
}

TEST(SHMStorageMacosx, TakesDescriptorZeroForAnyOther) {
    close(0);
    SHMStorageMacosx storage("s");  // whose guard gets it
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(baseRecord(DPL_INFO, "createNamedMutex",
                                       "CreateMutex for SHMStorageBase start succeed: " + guardName)));
    close(0);
    storage.init();  // whose block gets it
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(record(DPL_INFO, "initSHMStorage", "Failed to open shared memory!"),
                            record(DPL_INFO, "initSHMStorage", "create shared memory succeeded!")));
    EXPECT_NE(fcntl(0, F_GETFD), -1);
    const unsigned char byte = 7;
    EXPECT_TRUE(storage.writeData(&byte, 1));
}

TEST(SHMStorageMacosx, AClosedDescriptorZeroIsReported) {
    auto storage = makeStorage();
    close(0);
    storage.reset();
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(record(DPL_ERROR, "~SHMStorageMacosx", "Closing the shared memory failure.")));
}

TEST(SHMStorageMacosx, InitialisingAgainLosesTheFormerBlock) {
    const auto storage = makeStorage();
    storage->initSHMStorage();
    const std::set<int> before = limits::openDescriptors();
    storage->initSHMStorage();
    EXPECT_EQ(limits::openDescriptors().size(), before.size() + 1);
}

// After a failed initialisation: no block, no transfer, no second try, and the destructor closes nobody else's
// descriptor.
void expectUnusable(SHMStorageMacosx& storage) {
    recording::takeRecords();
    unsigned char byte = 0xEE;
    EXPECT_FALSE(storage.readData(&byte, 1));
    EXPECT_FALSE(storage.writeData(&byte, 1));
    EXPECT_FALSE(storage.readData(&byte, 513));
    EXPECT_EQ(byte, 0xEE);
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(baseRecord(DPL_TRACE, "readData", "ReadData from SHMStorageBase: s"),
                            baseRecord(DPL_TRACE, "writeData", "WriteData to SHMStorageBase: s"),
                            baseRecord(DPL_ERROR, "readData", "data size is too large, can not read")));
}

TEST(SHMStorageMacosx, NeitherOpeningNorCreatingSucceeds) {
    auto storage = makeStorage();
    const std::set<int> before = limits::openDescriptors();
    {
        const limits::NoDescriptors none;
        storage->init();
    }
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(record(DPL_INFO, "initSHMStorage", "Failed to open shared memory!"),
                            record(DPL_ERROR, "initSHMStorage", "create shared memory failed!")));
    expectUnusable(*storage);
    storage.reset();
    EXPECT_EQ(limits::openDescriptors(), before);
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(record(DPL_ERROR, "~SHMStorageMacosx", "Closing the shared memory failure.")));
}

TEST(SHMStorageMacosx, SizingFailsForItsCreator) {
    auto storage = makeStorage();
    const std::set<int> before = limits::openDescriptors();
    {
        const limits::NoFileSizes none;
        storage->init();
    }
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(record(DPL_INFO, "initSHMStorage", "Failed to open shared memory!"),
                            record(DPL_INFO, "initSHMStorage", "create shared memory succeeded!"),
                            record(DPL_ERROR, "initSHMStorage",
                                   "ftruncate function failure, failed to set size for shared memory,: " + block())));
    EXPECT_FALSE(raw::exists(block())) << "its creator takes it away again";
    EXPECT_EQ(limits::openDescriptors(), before);
    expectUnusable(*storage);
    storage.reset();
    EXPECT_EQ(limits::openDescriptors(), before);
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(record(DPL_ERROR, "~SHMStorageMacosx", "Closing the shared memory failure.")));
}

TEST(SHMStorageMacosx, SizingFailsForAnOpener) {
    close(shm_open(raw::systemName(block()).c_str(), O_RDWR | O_CREAT, 0600));  // an object without a size
    const auto storage = makeStorage();
    {
        const limits::NoFileSizes none;
        storage->init();
    }
    EXPECT_THAT(recording::takeRecords(),
                ElementsAre(record(DPL_INFO, "initSHMStorage", "open shared memory succeeded!"),
                            record(DPL_ERROR, "initSHMStorage",
                                   "ftruncate function failure, failed to set size for shared memory,: " + block())));
    EXPECT_TRUE(raw::exists(block())) << "it is not the opener's to remove";
    expectUnusable(*storage);
}

TEST(SHMStorageMacosx, MappingFails) {
    if (sanitizers::address || sanitizers::thread) {
        GTEST_SKIP() << "the sanitizer itself has to map memory";
    }
    for (const bool creator : {true, false}) {
        if (!creator) {
            const unsigned char zero = 0;
            raw::write(block(), 0, &zero, 1, 512);
        }
        auto storage = makeStorage();
        const std::set<int> before = limits::openDescriptors();
        {
            const limits::NoMappings none;
            storage->init();
        }
        EXPECT_EQ(recording::takeRecords().back(),
                  record(DPL_DEBUG, "initSHMStorage", "mmap failure, failed to map shared memory: " + block()));
        EXPECT_EQ(raw::exists(block()), !creator);
        EXPECT_EQ(limits::openDescriptors(), before);
        expectUnusable(*storage);
        storage.reset();
        EXPECT_EQ(limits::openDescriptors(), before);
        EXPECT_THAT(recording::takeRecords(),
                    ElementsAre(record(DPL_ERROR, "~SHMStorageMacosx", "Unpaming shared memory failure."),
                                record(DPL_ERROR, "~SHMStorageMacosx", "Closing the shared memory failure.")));
    }
}

TEST(SHMStorageMacosx, TransfersOfSeveralThreadsAreWhole) {
    const auto storage = makeStorage();
    recording::setKeeping(false);
    const auto fill = [&](unsigned char value) {
        const std::vector<unsigned char> bytes(512, value);
        std::vector<unsigned char> seen(512);
        for (int i = 0; i < 5000; ++i) {
            storage->writeData(bytes.data(), 512);
            storage->readData(seen.data(), 512);
            ASSERT_THAT(std::set<unsigned char>(seen.begin(), seen.end()).size(), 1U);
        }
    };
    storage->init();
    std::thread other(fill, 1);
    fill(2);
    other.join();
}

TEST(SHMStorageMacosx, ThreadsMayRaceForTheInitialisation) {
    const auto storage = makeStorage();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            char byte = 0;
            EXPECT_TRUE(storage->readData(&byte, 1));
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
