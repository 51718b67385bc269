#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace bench {

/// Collects times and reports their median and 99th percentile, in microseconds, as counters.
class Percentiles {
public:
    void add(std::chrono::nanoseconds time) {
        times_.push_back(std::chrono::duration<double, std::micro>(time).count());
    }

    void report(benchmark::State& state) {
        std::sort(times_.begin(), times_.end());
        state.counters["p50_us"] = at(50);
        state.counters["p99_us"] = at(99);
    }

private:
    double at(std::size_t percent) const { return times_.empty() ? 0 : times_[times_.size() * percent / 100]; }

    std::vector<double> times_;
};

}  // namespace bench
