#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "survey/Products.h"
#include "survey/Records.h"
#include "survey/SharedFolder.h"

namespace vdictl {

/// A shared object: the file, what it is for, and what its bytes say.
struct Object {
    SharedFile file;
    Purpose purpose = Purpose::Unknown;
    Purpose guarded = Purpose::Unknown;  ///< of a guard: what it belongs to
    std::string logicalName;             ///< empty: not known
    const Product* product = nullptr;    ///< null: not known
    std::optional<uid_t> user;           ///< in whose name it is

    std::optional<MutexRecord> mutex;  ///< of a guard, a mutex and an event
    std::optional<EventRecord> event;
    std::vector<std::uint32_t> slots;          ///< of a runner list all, of an active agent its one
    std::optional<std::int32_t> waiterNumber;  ///< of a waiter whose event is known
    std::string eventName;                     ///< of a waiter: the logical name of its event

    bool isRecordOfAgents() const { return purpose == Purpose::ActiveAgent || purpose == Purpose::RunnerList; }

    /// What the object is called: its logical name where that is known.
    std::string title() const;
};

/// Tells what each file is, by its name where that is known for one of the users or for an event that is there, else by
/// its size and bytes. Any names and bytes may come.
std::vector<Object> identify(std::vector<SharedFile> files, const std::set<uid_t>& users);

/// How many numbers of waiters are looked for, for an event that counts so many.
std::int32_t waiterNumbers(std::int32_t counted);

}  // namespace vdictl
