#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <thread>
#include <utility>

/// Runs a call that must end on a thread of its own and returns its result. A call that is still running long after any
/// linear one has ended on the slowest machine, is named by its line and ends the test.
template <typename Call>
auto withinLimit(Call call, int line = __builtin_LINE()) {
    constexpr std::chrono::seconds limit{100};
    std::packaged_task<decltype(call())()> task(std::move(call));
    auto result = task.get_future();
    std::thread worker(std::move(task));
    if (result.wait_for(limit) != std::future_status::ready) {
        std::fprintf(stderr, "the call in line %d does not end\n", line);
        std::abort();
    }
    worker.join();
    return result.get();
}
