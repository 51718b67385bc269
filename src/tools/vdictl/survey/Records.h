#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vdictl {

// What the bytes of an object say. Any bytes may come: a record that is cut short gives what there is of it.

/// A mutex of the system's C library, which keeps the thread that holds it.
struct MutexRecord {
    enum class State {
        Blank,   ///< never initialised
        Free,    ///< nobody holds it
        Held,    ///< by `owner`, which is 0 for a moment while it is being taken
        Damaged  ///< not what the library leaves there
    };
    State state = State::Blank;
    std::int32_t owner = 0;  ///< a thread's id
};
std::optional<MutexRecord> decodeMutex(std::string_view bytes);

struct EventRecord {
    MutexRecord mutex;
    bool isSignaled = false;
    std::string name;  ///< up to its first zero; any bytes
    std::int32_t waiters = 0;
    bool isSound = false;  ///< every byte is such as the library writes
};
std::optional<EventRecord> decodeEvent(std::string_view bytes);

/// The slots of a runner list, up to the last one that is whole.
std::vector<std::uint32_t> decodeRunners(std::string_view bytes);

std::optional<std::uint32_t> decodeActiveAgent(std::string_view bytes);

/// How many slots are in the list: those before the first 0.
std::size_t listLength(const std::vector<std::uint32_t>& slots);

/// What bytes that mean nothing look like, for people: "48 bytes of zero", "text 'abc'", "bytes 1f 8b 08 …".
std::string describeBytes(std::string_view bytes, std::uint64_t size);

}  // namespace vdictl
