#include "LaunchSlots.h"

#include <array>
#include <cstdlib>
#include <mutex>
#include <utility>

namespace desktop {

namespace {

using VDIFrameworkCommon::platform::LaunchCompletion;

constexpr std::size_t slotCount = 256;

struct Slots {
    std::mutex mutex;
    std::array<std::function<void(const char*)>, slotCount> functions;
};

Slots& slots() {
    static auto& instance = *new Slots;
    return instance;
}

template <std::size_t Slot>
void complete(const char* error) {
    std::function<void(const char*)> function;
    {
        const std::lock_guard lock(slots().mutex);
        function = std::exchange(slots().functions[Slot], {});
    }
    function(error);
}

template <std::size_t... Slot>
constexpr std::array<LaunchCompletion, slotCount> completions(std::index_sequence<Slot...> /*all*/) {
    return {complete<Slot>...};
}

}  // namespace

LaunchCompletion completionFor(std::function<void(const char* error)> function) {
    static constexpr auto all = completions(std::make_index_sequence<slotCount>());
    const std::lock_guard lock(slots().mutex);
    for (std::size_t i = 0; i < slotCount; ++i) {
        if (!slots().functions[i]) {
            slots().functions[i] = std::move(function);
            return all[i];
        }
    }
    std::abort();
}

}  // namespace desktop
