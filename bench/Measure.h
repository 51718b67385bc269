#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>

namespace bench {

/// Registers a benchmark that runs an operation over a few inputs in turn, so that no branch is learnt by heart. Its
/// name starts with that of the operation and ends with who does it: ours, the bare floor, the literal mechanism or a
/// peer.
template <typename Inputs, typename Operation>
void add(const char* name, const Inputs& inputs, Operation operation) {
    benchmark::RegisterBenchmark(name, [inputs, operation](benchmark::State& state) {
        std::size_t next = 0;
        for (auto _ : state) {
            benchmark::DoNotOptimize(operation(inputs[next]));
            next = next + 1 == inputs.size() ? 0 : next + 1;
        }
    });
}

}  // namespace bench
