#include "ProcessIdentity.h"

#include <spdlog/details/os.h>

#include <atomic>

namespace DPL::dpllogger {

namespace {

std::atomic<int> keptProcessId{0};
std::atomic<unsigned> generation{1};  // of processes: one more in each forked child

struct KeptThreadId {
    unsigned generation;
    std::size_t id;
};

// Trivially destructible, so that it holds in the destructors of other thread-local objects too.
thread_local KeptThreadId keptThreadId{0, 0};

}  // namespace

int processId() noexcept {
    int id = keptProcessId.load(std::memory_order_relaxed);
    if (id == 0) {
        id = spdlog::details::os::pid();
        keptProcessId.store(id, std::memory_order_relaxed);
    }
    return id;
}

std::size_t threadId() noexcept {
    KeptThreadId& kept = keptThreadId;
    const unsigned now = generation.load(std::memory_order_relaxed);
    if (kept.generation != now) {
        kept = {now, spdlog::details::os::_thread_id()};
    }
    return kept.id;
}

void renewProcessIdentity() noexcept {
    keptProcessId.store(0, std::memory_order_relaxed);
    generation.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace DPL::dpllogger
