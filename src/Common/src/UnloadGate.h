#pragma once

#include <string>

/// Lets the library release what it owns during static destruction, when detached threads may still be using it.
///
/// A user marks its thread as busy, which costs two plain stores to a slot of that thread; the one release pays for it:
/// it takes the object out of reach and waits until no slot is busy. Where the system can make every thread execute a
/// memory barrier the users need none.
namespace VDIFrameworkCommon::unload {

struct ThreadSlot;

/// Marks the calling thread as busy from construction to destruction; nests.
///
/// What was found through an atomic pointer that is loaded (sequentially consistent) after the construction stays alive
/// until the destruction. Belongs to one thread.
class Use {
public:
    Use() noexcept;
    ~Use();
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

    /// A text buffer of this thread that keeps its capacity; null while an outer use of this thread may be using it.
    std::string* buffer() const noexcept;

private:
    ThreadSlot* slot_;
};

/// Waits until every other thread's uses that began before the call have ended. False when one did not end within two
/// seconds or this thread itself is in the middle of one: then the object must be kept.
bool waitForUsers();

}  // namespace VDIFrameworkCommon::unload
