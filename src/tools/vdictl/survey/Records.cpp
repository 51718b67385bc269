#include "survey/Records.h"

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <fmt/format.h>
#include <pthread.h>

#include <algorithm>
#include <cstring>

#include "SharedRecords.h"
#include "Terminal.h"

namespace vdictl {

namespace {

using namespace VDIFrameworkCommon;

// Bits of the kind of a mutex: shared between processes. The library sets no other.
constexpr int sharedKind = 0x80;

template <typename T>
std::optional<T> recordFrom(std::string_view bytes) {
    if (bytes.size() < sizeof(T)) {
        return std::nullopt;
    }
    T record;
    std::memcpy(&record, bytes.data(), sizeof record);
    return record;
}

bool isAllZero(std::string_view bytes) {
    return bytes.find_first_not_of('\0') == std::string_view::npos;
}

MutexRecord::State stateOf(const pthread_mutex_t& mutex, std::string_view bytes) {
    if (isAllZero(bytes)) {
        return MutexRecord::State::Blank;
    }
    // The number of users says nothing: freeing a mutex that is free, as a storage does, counts it below zero.
    const auto lock = static_cast<unsigned int>(mutex.__data.__lock);
    if (lock > 2 || mutex.__data.__count != 0 || mutex.__data.__kind != sharedKind || mutex.__data.__owner < 0) {
        return MutexRecord::State::Damaged;
    }
    return lock == 0 ? MutexRecord::State::Free : MutexRecord::State::Held;
}

std::string hexadecimal(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        text += fmt::format(" {:02x}", static_cast<unsigned char>(byte));
    }
    return text;
}

}  // namespace

std::optional<MutexRecord> decodeMutex(std::string_view bytes) {
    const auto mutex = recordFrom<pthread_mutex_t>(bytes);
    if (!mutex) {
        return std::nullopt;
    }
    return MutexRecord{stateOf(*mutex, bytes.substr(0, sizeof *mutex)), mutex->__data.__owner};
}

std::optional<EventRecord> decodeEvent(std::string_view bytes) {
    // Not read as a whole: the union in it makes the record no plain copy of bytes for every compiler.
    if (bytes.size() < sizeof(t_HANDLE)) {
        return std::nullopt;
    }
    EventRecord event;
    event.mutex = *decodeMutex(bytes);
    const auto signaled = static_cast<unsigned char>(bytes[offsetof(t_HANDLE, signaled)]);
    event.isSignaled = signaled == 1;
    const std::string_view field = bytes.substr(offsetof(t_HANDLE, name), sizeof(t_HANDLE::name));
    event.name = field.substr(0, field.find('\0'));
    std::memcpy(&event.waiters, bytes.data() + offsetof(t_HANDLE, waiterCount), sizeof event.waiters);
    event.isSound = signaled <= 1 && !event.name.empty() && event.name.size() < field.size() && event.waiters >= 0 &&
                    event.mutex.state != MutexRecord::State::Damaged &&
                    isAllZero(bytes.substr(offsetof(t_HANDLE, unusedByName), sizeof(t_HANDLE::unusedByName))) &&
                    isAllZero(bytes.substr(offsetof(t_HANDLE, unused), sizeof(t_HANDLE::unused)));
    return event;
}

std::vector<std::uint32_t> decodeRunners(std::string_view bytes) {
    constexpr std::size_t slotSize = sizeof(std::uint32_t);
    std::vector<std::uint32_t> slots(std::min(bytes.size() / slotSize, records::RunnerList::capacity));
    if (!slots.empty()) {
        std::memcpy(slots.data(), bytes.data(), slots.size() * slotSize);
    }
    return slots;
}

std::optional<std::uint32_t> decodeActiveAgent(std::string_view bytes) {
    const auto agent = recordFrom<records::ActiveAgent>(bytes);
    return agent ? std::optional(agent->pid) : std::nullopt;
}

std::size_t listLength(const std::vector<std::uint32_t>& slots) {
    return static_cast<std::size_t>(std::find(slots.begin(), slots.end(), 0U) - slots.begin());
}

std::string describeBytes(std::string_view bytes, std::uint64_t size) {
    constexpr std::size_t shown = 16;
    constexpr std::size_t mostText = 40;
    if (bytes.empty()) {
        return "empty";
    }
    if (isAllZero(bytes)) {
        return fmt::format("{} of {} bytes are zero", bytes.size(), size);
    }
    const std::string_view text = bytes.substr(0, std::min(bytes.find('\0'), mostText));
    const bool isText =
        text.size() >= 4 && std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
    if (isText) {
        return "text '" + printable(text) + "'";
    }
    return "bytes" + hexadecimal(bytes.substr(0, shown)) + (size > shown ? " …" : "");
}

}  // namespace vdictl
