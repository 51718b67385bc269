#pragma once

#include <chrono>
#include <thread>

/// Waits until the condition holds, which another thread or process brings about; false if it does not come to hold for
/// as long as only a hang takes.
template <typename Condition>
bool eventually(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
