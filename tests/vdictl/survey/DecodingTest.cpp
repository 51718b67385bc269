// Files become objects by their names and bytes, whatever these are.

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "survey/ArbitraryFiles.h"
#include "survey/Mappings.h"
#include "survey/Objects.h"
#include "survey/SurveyJson.h"
#include "survey/SurveyText.h"

namespace {

using namespace vdictl;
using testing::ElementsAre;
using testing::HasSubstr;

SharedFile file(const std::string& name, std::string bytes) {
    SharedFile result;
    result.name = name;
    result.isRegular = true;
    result.type = S_IFREG;
    result.size = bytes.size();
    result.mode = 0600;
    result.bytes = std::move(bytes);
    return result;
}

std::string mutexBytes(int lock, int owner) {
    pthread_mutex_t mutex{};
    mutex.__data.__lock = lock;
    mutex.__data.__owner = owner;
    mutex.__data.__kind = 0x80;
    std::string bytes(64, '\0');
    std::memcpy(bytes.data(), &mutex, sizeof mutex);
    return bytes;
}

std::string eventBytes(const std::string& name, bool isSignaled, std::int32_t waiters) {
    std::string bytes = mutexBytes(0, 0);
    bytes.resize(176, '\0');
    bytes[64] = isSignaled ? 1 : 0;
    name.copy(&bytes[65], 99);
    std::memcpy(&bytes[168], &waiters, sizeof waiters);
    return bytes;
}

Object only(SharedFile one) {
    std::vector<SharedFile> files;
    files.push_back(std::move(one));
    return identify(std::move(files), {501}).front();
}

TEST(VdictlDecoding, KnowsTheStoragesOfAUserByName) {
    const std::string name = "501HDVDI_TavixHuddleVDIRunnerCounter";
    std::string bytes(512, '\0');
    const std::uint32_t pids[] = {11, 12, 0, 13};
    std::memcpy(bytes.data(), pids, sizeof pids);
    const Object object = only(file(fileNameOf(name), bytes));
    EXPECT_EQ(object.purpose, Purpose::RunnerList);
    EXPECT_EQ(object.logicalName, name);
    EXPECT_EQ(object.product->name, "OrvexHuddles");
    EXPECT_EQ(*object.user, 501U);
    EXPECT_EQ(object.slots.size(), 50U);
    EXPECT_EQ(listLength(object.slots), 2U);
    EXPECT_EQ(object.slots[3], 13U) << "behind the end of the list";
}

TEST(VdictlDecoding, KnowsTheGuardOfAStorageByName) {
    const std::string name = "501CRVDI_B3AA2F75-88F6-41D3-A399-B58B79308164_TavixCrewsVDIRunnerCounter_mutex";
    const Object object = only(file(fileNameOf(name), mutexBytes(1, 77)));
    EXPECT_EQ(object.purpose, Purpose::Guard);
    EXPECT_EQ(object.guarded, Purpose::RunnerList);
    EXPECT_EQ(object.logicalName, name);
    EXPECT_EQ(object.mutex->state, MutexRecord::State::Held);
    EXPECT_EQ(object.mutex->owner, 77);
}

TEST(VdictlDecoding, KnowsAnEventAndItsWaitersByTheNameInTheRecord) {
    const std::string name = "501HDVDI_door_event";
    const auto objects =
        identify({file(fileNameOf(name), eventBytes(name, true, 2)), file(fileNameOf(name + "1"), std::string(48, 'c')),
                  file(fileNameOf(name + "70"), std::string(48, '\0'))},
                 {});
    EXPECT_EQ(objects[0].purpose, Purpose::Event);
    EXPECT_EQ(objects[0].logicalName, name);
    EXPECT_EQ(objects[0].product->name, "OrvexHuddles");
    EXPECT_TRUE(objects[0].event->isSignaled);
    EXPECT_TRUE(objects[0].event->isSound);
    EXPECT_EQ(objects[0].event->waiters, 2);
    EXPECT_EQ(objects[1].purpose, Purpose::Waiter);
    EXPECT_EQ(*objects[1].waiterNumber, 1);
    EXPECT_EQ(objects[1].eventName, name);
    EXPECT_EQ(objects[2].purpose, Purpose::Waiter) << "by its size";
    EXPECT_FALSE(objects[2].waiterNumber) << "higher than any that is looked for";
}

TEST(VdictlDecoding, AnEventWithACutNameHasNoLogicalName) {
    const std::string name(99, 'n');
    const Object object = only(file("123", eventBytes(name, false, 0)));
    EXPECT_EQ(object.purpose, Purpose::Event);
    EXPECT_EQ(object.logicalName, "");
}

TEST(VdictlDecoding, TellsAMutexOfAnUnknownNameByItsBytes) {
    EXPECT_EQ(only(file("123", mutexBytes(0, 0))).purpose, Purpose::Mutex);
    EXPECT_EQ(only(file("name", mutexBytes(0, 0))).purpose, Purpose::Unknown);
    EXPECT_EQ(only(file("123", std::string(64, 'x'))).purpose, Purpose::Unknown);
}

TEST(VdictlDecoding, TellsTheStatesOfAMutex) {
    EXPECT_EQ(decodeMutex(std::string(64, '\0'))->state, MutexRecord::State::Blank);
    EXPECT_EQ(decodeMutex(mutexBytes(0, 0))->state, MutexRecord::State::Free);
    EXPECT_EQ(decodeMutex(mutexBytes(2, 5))->state, MutexRecord::State::Held);
    EXPECT_EQ(decodeMutex(mutexBytes(3, 5))->state, MutexRecord::State::Damaged);
    EXPECT_FALSE(decodeMutex(std::string(39, '\0')));
}

TEST(VdictlDecoding, AnEventThatNobodyLeavesSoIsNotSound) {
    EXPECT_TRUE(decodeEvent(eventBytes("e_event", false, 0))->isSound);
    EXPECT_FALSE(decodeEvent(eventBytes("e_event", false, -1))->isSound);
    EXPECT_FALSE(decodeEvent(eventBytes("", false, 0))->isSound);
    std::string odd = eventBytes("e_event", false, 0);
    odd[175] = 1;
    EXPECT_FALSE(decodeEvent(odd)->isSound);
}

TEST(VdictlDecoding, DescribesBytesThatMeanNothing) {
    EXPECT_EQ(describeBytes("", 0), "empty");
    EXPECT_EQ(describeBytes(std::string(48, '\0'), 48), "48 of 48 bytes are zero");
    EXPECT_EQ(describeBytes("hello\0x", 7), "text 'hello'");
    EXPECT_EQ(describeBytes("\x1f\x8b", 2), "bytes 1f 8b");
}

TEST(VdictlDecoding, ARecordThatIsCutShortGivesWhatThereIsOfIt) {
    EXPECT_EQ(decodeRunners(std::string(11, '\1')).size(), 2U);
    EXPECT_FALSE(decodeActiveAgent("abc"));
    EXPECT_FALSE(decodeEvent(std::string(175, 'x')));
}

TEST(VdictlDecoding, FindsTheMappingsOfOneFileSystem) {
    const std::string maps =
        "7f0000000000-7f0000001000 rw-s 00000000 00:1a 42                         /dev/shm/123\n"
        "7f0000001000-7f0000002000 rw-s 00000000 00:1b 43                         /dev/shm/124\n"
        "7f0000002000-7f0000003000 rw-s 00000000 00:1a 44                         /dev/shm/125 (deleted)\n"
        "7f0000003000-7f0000004000 r-xp 00000000 08:01 42                         /bin/true";
    std::vector<Mapping> mappings;
    parseMappings(maps, 0x1a, 7, mappings);
    ASSERT_EQ(mappings.size(), 2U);
    EXPECT_EQ(mappings[0].inode, 42U);
    EXPECT_EQ(mappings[0].name, "123");
    EXPECT_FALSE(mappings[0].isRemoved);
    EXPECT_EQ(mappings[1].name, "125");
    EXPECT_TRUE(mappings[1].isRemoved);
}

void expectListed(const Survey& survey) {
    const auto json = surveyJson(survey, Owner{});
    std::size_t listed = json["others"].size();
    for (const auto& product : json["products"]) {
        listed += product["objects"].size();
    }
    ASSERT_EQ(listed, survey.objects.size());
    ASSERT_FALSE(json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::strict).empty());
    const std::string text = surveyText(survey, Owner{}, Terminal());
    ASSERT_TRUE(arbitrary::isPrintable(text)) << text;
    ASSERT_TRUE(arbitrary::isPrintable(arbitrary::findingsText(survey)));
}

// Every file ends in a listing, once, whatever it is called and holds.
TEST(VdictlDecoding, AnyHundredThousandObjectsAreListed) {
    std::mt19937 random(20261121);
    const auto known = arbitrary::knownNames(0);
    std::size_t files = 0;
    while (files < 100'000) {
        std::vector<std::uint8_t> bytes(random() % 3000);
        const bool isSparse = random() % 2 == 0;
        for (std::uint8_t& byte : bytes) {
            byte = isSparse && random() % 4 != 0 ? 0 : static_cast<std::uint8_t>(random());
        }
        arbitrary::Source source(bytes.data(), bytes.size());
        const Survey survey = arbitrary::survey(source, known);
        files += survey.objects.size();
        // Writing it out takes much longer than reading it.
        if (random() % 4 == 0) {
            expectListed(survey);
        }
    }
}

}  // namespace
