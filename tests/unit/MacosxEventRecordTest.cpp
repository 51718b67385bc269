// The shared record of an event, byte for byte, as a program of another version would read and write it.

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>

#include "support/Background.h"
#include "support/RawObject.h"

namespace {

using namespace VDIFrameworkCommon;

std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

// The bytes that initialising a process-shared mutex leaves in a slot of that content.
std::string freeMutex(const std::string& slot) {
    alignas(pthread_mutex_t) char bytes[64];
    std::memcpy(bytes, slot.data(), sizeof bytes);
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutex_init(reinterpret_cast<pthread_mutex_t*>(bytes), &attributes);
    pthread_mutexattr_destroy(&attributes);
    return {bytes, sizeof bytes};
}

// The first 176 bytes of an event's object.
class Record {
public:
    explicit Record(const std::string& logicalName) : content_(logicalName) {}

    std::string bytes(std::size_t offset, std::size_t count) const { return {content_->bytes + offset, count}; }
    void fill(std::size_t offset, const std::string& bytes) {
        bytes.copy(content_->bytes + offset, sizeof content_->bytes - offset);
    }
    char& signaled() { return content_->bytes[64]; }
    std::int32_t& waiterCount() { return content_->words[168 / 4]; }
    pthread_mutex_t& mutex() { return content_->mutex; }

private:
    union Content {
        char bytes[176];
        std::int32_t words[44];
        pthread_mutex_t mutex;
    };
    raw::Mapping<Content> content_;
};

TEST(MacosxEventRecord, HasItsSystemName) {
    CreateEventA(nullptr, false, false, "A");
    // As the string hash of libc++ gives it for "A_event".
    EXPECT_EQ(raw::systemNames(), std::set<std::string>{"/17263541968279579252"});
}

TEST(MacosxEventRecord, OfANewEvent) {
    CreateEventA(nullptr, false, true, "A");
    const Record record("A_event");
    EXPECT_EQ(record.bytes(64, 112),
              "\x01"
              "A_event" +
                  zeros(93) + zeros(3) + zeros(4) + zeros(4));
    EXPECT_EQ(raw::status("A_event").st_size, 176);
    EXPECT_EQ(raw::status("A_event").st_mode & 0777U, 0600U);
}

TEST(MacosxEventRecord, MutexFillsItsSlotNoFurtherThanTheSystemDoes) {
    raw::write("A_event", 0, "", 1, 176);
    Record record("A_event");
    record.fill(0, std::string(64, '\x5a'));
    CreateEventA(nullptr, false, false, "A");
    EXPECT_EQ(record.bytes(sizeof(pthread_mutex_t), 64 - sizeof(pthread_mutex_t)),
              std::string(64 - sizeof(pthread_mutex_t), '\x5a'));
    const std::string expected = freeMutex(std::string(64, '\x5a'));
    EXPECT_EQ(pthread_mutex_trylock(&record.mutex()), 0);
    EXPECT_EQ(pthread_mutex_unlock(&record.mutex()), 0);
    EXPECT_EQ(record.bytes(0, 64), expected);
}

TEST(MacosxEventRecord, SignalIsTheByteAt64) {
    t_HANDLE* const event = CreateEventA(nullptr, false, false, "A");
    Record record("A_event");
    SetEvent(event);
    EXPECT_EQ(record.signaled(), 1);
    ResetEvent(event);
    EXPECT_EQ(record.signaled(), 0);
    record.signaled() = 1;
    EXPECT_EQ(WaitForSingleObject(event, 0), 0);
    EXPECT_EQ(record.signaled(), 0);
    EXPECT_EQ(WaitForSingleObject(event, 0), 64);
}

TEST(MacosxEventRecord, NumberOfWaitersIsAt168) {
    t_HANDLE* const event = CreateEventA(nullptr, false, false, "A");
    Record record("A_event");
    {
        const Background waiting([event] { WaitForSingleObject(event, INFINITE); });
        waitUntil([&] { return raw::status("A_event0").st_size == 48; });
        pthread_mutex_lock(&event->mutex);
        EXPECT_EQ(record.bytes(165, 11), zeros(3) + std::string("\1\0\0\0", 4) + zeros(4));
        pthread_mutex_unlock(&event->mutex);
        SetEvent(event);
    }
    EXPECT_EQ(record.bytes(165, 11), zeros(11));
    record.waiterCount() = 1;
    EXPECT_EQ(CloseHandle(event), 0);
}

TEST(MacosxEventRecord, AnyNumberOfWaitersIsTaken) {
    t_HANDLE* const event = CreateEventA(nullptr, false, false, "A");
    Record record("A_event");
    record.waiterCount() = -7;
    EXPECT_EQ(SetEvent(event), 1);
    EXPECT_EQ(WaitForSingleObject(event, 0), 0);
    EXPECT_EQ(record.waiterCount(), -7);
    record.waiterCount() = INT_MAX;
    EXPECT_EQ(WaitForSingleObject(event, 0), 64);
    EXPECT_EQ(record.waiterCount(), INT_MAX);
    EXPECT_EQ(raw::systemNames(), std::set{raw::systemName("A_event")});
}

TEST(MacosxEventRecord, NameMarksAnInitialisedEvent) {
    raw::write("A_event", 0, "", 1, 176);
    Record record("A_event");
    record.signaled() = 1;
    record.waiterCount() = 3;
    record.fill(65, "A_event");
    CreateEventA(nullptr, false, false, "A");
    EXPECT_EQ(record.signaled(), 1);
    EXPECT_EQ(record.waiterCount(), 3);
    record.fill(65, "B_event");
    CreateEventA(nullptr, false, false, "A");
    EXPECT_EQ(record.bytes(64, 112), zeros(1) + "A_event" + zeros(104));
}

TEST(MacosxEventRecord, LongNameIsCutTo99Characters) {
    CreateEventA(nullptr, false, false, std::string(200, 'n').c_str());
    const Record record(std::string(200, 'n') + "_event");
    EXPECT_EQ(record.bytes(65, 103), std::string(99, 'n') + zeros(4));
}

TEST(MacosxEventRecord, NameWithoutAnEndIsNotReadPastItsField) {
    t_HANDLE* const event = CreateEventA(nullptr, false, true, "A");
    Record record("A_event");
    record.fill(65, std::string(103, 'x'));
    EXPECT_EQ(WaitForSingleObject(event, 0), 0);
    record.waiterCount() = 1;
    raw::write(std::string(100, 'x') + "0", 0, "", 1, 48);
    EXPECT_EQ(SetEvent(event), 1);
    EXPECT_EQ(raw::systemNames(), std::set{raw::systemName("A_event")}) << "the waiter's object went by 100 characters";
}

TEST(MacosxEventRecord, ExistingObjectKeepsItsSize) {
    raw::write("A_event", 0, "", 1, 4096);
    EXPECT_NE(CreateEventA(nullptr, false, false, "A"), nullptr);
    EXPECT_EQ(raw::status("A_event").st_size, 4096);
}

TEST(MacosxEventRecord, WaitersConditionFillsItsSlotNoFurtherThanTheSystemDoes) {
    t_HANDLE* const event = CreateEventA(nullptr, false, false, "A");
    const std::string pattern(64, '\x5a');
    raw::write("A_event0", 0, pattern.data(), pattern.size(), pattern.size());
    {
        const raw::Mapping<char[64]> object("A_event0");
        const Background waiting([event] { WaitForSingleObject(event, INFINITE); });
        waitUntil([&] { return raw::read("A_event0")[0] != 0x5a; });
        EXPECT_EQ(std::string(*object + sizeof(pthread_cond_t), 64 - sizeof(pthread_cond_t)),
                  std::string(64 - sizeof(pthread_cond_t), '\x5a'));
        SetEvent(event);
    }
    EXPECT_EQ(raw::systemNames(), std::set{raw::systemName("A_event")});
}

}  // namespace
