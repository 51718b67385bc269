#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

namespace generated {

/// Random numbers for generated inputs. The same ones in every run.
class Random {
public:
    std::uint64_t bits() { return engine_(); }

    std::size_t below(std::size_t limit) { return static_cast<std::size_t>(engine_() % limit); }

    template <typename Value, std::size_t count>
    const Value& oneOf(const Value (&values)[count]) {
        return values[below(count)];
    }

private:
    std::mt19937_64 engine_{20'240'229};
};

}  // namespace generated
