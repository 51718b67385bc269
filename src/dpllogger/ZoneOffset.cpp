#include "ZoneOffset.h"

#include <spdlog/details/os.h>

#include <atomic>
#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

namespace DPL::dpllogger {

namespace {

std::atomic<int> latest{0};
std::atomic<bool> isKept{false};
bool isKeptInChild = false;  // asked for before the fork, as the child has one thread in any case

bool mayHaveOtherThreads() noexcept {
#if __has_include(<sys/single_threaded.h>)
    return __libc_single_threaded == 0;
#else
    return true;
#endif
}

}  // namespace

int zoneOffset(std::time_t time) noexcept {
    if (isKept.load(std::memory_order_relaxed)) {
        return latest.load(std::memory_order_relaxed);
    }
    const int offset = spdlog::details::os::utc_minutes_offset(spdlog::details::os::localtime(time));
    latest.store(offset, std::memory_order_relaxed);
    return offset;
}

void prepareZoneOffsetForFork() noexcept {
    isKeptInChild = mayHaveOtherThreads();
    if (isKeptInChild) {
        zoneOffset(std::time(nullptr));
    }
}

void settleZoneOffsetInChild() noexcept {
    if (isKeptInChild) {
        isKept.store(true, std::memory_order_relaxed);
    }
}

}  // namespace DPL::dpllogger
