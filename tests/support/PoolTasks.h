#pragma once

#include <VDIFrameworkCommon/ThreadPool.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "support/Background.h"
#include "support/Gate.h"

/// Tasks for tests of pools.
namespace pooltasks {

inline std::shared_ptr<VDIFrameworkCommon::Task> make(std::function<void()> function, std::string name = "task") {
    return std::make_shared<VDIFrameworkCommon::FunctionTask>(std::move(function), std::move(name));
}

/// Tasks that begin, tell so, and end when they are let.
class Blocker {
public:
    std::shared_ptr<VDIFrameworkCommon::Task> task(const std::string& name = "blocker") {
        return make([state = state_] { state->block(); }, name);
    }
    std::function<void()> function() {
        return [state = state_] { state->block(); };
    }
    int begun() const { return state_->begun; }
    int ended() const { return state_->ended; }
    void waitForBegun(int count) const {
        waitUntil([&] { return begun() == count; });
    }
    void waitForEnded(int count) const {
        waitUntil([&] { return ended() == count; });
    }
    void open() { state_->gate.open(); }

private:
    struct State {
        Gate gate;
        std::atomic<int> begun{0};
        std::atomic<int> ended{0};
        void block() {
            ++begun;
            gate.wait();
            ++ended;
        }
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace pooltasks
