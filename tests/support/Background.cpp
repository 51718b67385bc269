#include "support/Background.h"

#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

namespace {

// The state letter follows the command's name, which is in brackets.
char stateOf(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    const std::string stat{std::istreambuf_iterator<char>(file), {}};
    const std::size_t bracket = stat.rfind(") ");
    return bracket == std::string::npos ? '\0' : stat.at(bracket + 2);
}

}  // namespace

Background::Background(std::function<void()> body)
    : thread_([this, body = std::move(body)] {
          id_ = gettid();
          body();
          ended_ = true;
      }) {
}

Background::~Background() {
    join();
}

void Background::waitUntilAsleep() const {
    waitUntil([this] { return ended_ || (id_ != 0 && stateOf(id_) == 'S'); });
}

void Background::join() {
    if (thread_.joinable()) {
        thread_.join();
    }
}

void waitUntil(const std::function<bool()>& condition) {
    while (!condition()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}
