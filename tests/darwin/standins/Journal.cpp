#include "Journal.h"

#include <mutex>
#include <utility>

namespace desktop {

namespace {

struct Journal {
    std::mutex mutex;
    std::vector<std::string> calls;
};

Journal& journal() {
    static auto& instance = *new Journal;
    return instance;
}

}  // namespace

void note(std::string call) {
    const std::lock_guard lock(journal().mutex);
    journal().calls.push_back(std::move(call));
}

std::vector<std::string> takeCalls() {
    const std::lock_guard lock(journal().mutex);
    return std::exchange(journal().calls, {});
}

}  // namespace desktop
