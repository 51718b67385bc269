#pragma once

#include <pthread.h>

#include <cstddef>
#include <cstdint>

/// The records that processes share, byte for byte. Processes of every version read and write them, so nothing here
/// changes.
namespace VDIFrameworkCommon::records {

/// A named mutex's object: the system's mutex in a slot of fixed size.
inline constexpr std::size_t namedMutexSize = 64;
static_assert(sizeof(pthread_mutex_t) <= namedMutexSize, "the system's mutex does not fit the shared record");

/// A storage's object: the payload, without header, length or version.
inline constexpr std::size_t storageSize = 512;

/// The payload of the active agent's storage; the rest of the storage stays zero.
struct ActiveAgent {
    std::uint32_t pid;  ///< native byte order; 0: no agent is active
};
static_assert(sizeof(ActiveAgent) == 4 && offsetof(ActiveAgent, pid) == 0);

/// The payload of the runner registry's storage: occupied slots first, the first slot of 0 ends the list. The rest of
/// the storage is not used.
struct RunnerList {
    static constexpr std::size_t capacity = 50;
    std::uint32_t pids[capacity];  ///< native byte order
};
static_assert(sizeof(RunnerList) == 200 && offsetof(RunnerList, pids) == 0);

}  // namespace VDIFrameworkCommon::records
