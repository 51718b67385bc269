#pragma once

#include <VDIFrameworkCommon/ActiveVirtualChannelAgentRecorder.h>
#include <VDIFrameworkCommon/Event.h>
#include <VDIFrameworkCommon/ProcessMonitor.h>
#include <VDIFrameworkCommon/TimerHelper.h>

#include <atomic>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include "Job.h"
#include "RoleEvent.h"

namespace agent {

/// One agent's life: registered with the others from `start` to `leave`, active or standing by in between.
///
/// A thread of its own evaluates the role whenever something may have changed: the active agent leaves and sets the
/// role event, the monitor finds that it died, or the heartbeat finds that the shared state is not what this agent last
/// saw.
class Agent : private VDIFrameworkCommon::TimerCallback {
public:
    Agent() = default;
    ~Agent() override;
    Agent(const Agent&) = delete;
    Agent& operator=(const Agent&) = delete;

    /// Registers and begins to take part. False, after a line on standard error, if that is not possible.
    bool start();

    /// Stops taking part, gives the role up if this agent has it, and unregisters.
    void leave();

private:
    enum class Role { None, Standby, Active };

    void onTimeout(VDIFrameworkCommon::TimerHelper* timer) override;
    void checkPlace();
    void watchOthers(const std::vector<unsigned int>& runners);
    void reportEnded(const std::set<unsigned int>& ended);
    void runRole();
    void evaluateRole();
    void become(Role role, unsigned int activePid);

    VDIFrameworkCommon::ActiveVirtualChannelAgentRecorder recorder_;
    RoleEvent event_;
    std::unique_ptr<VDIFrameworkCommon::ProcessMonitor> monitor_;
    VDIFrameworkCommon::TimerHelper* heartbeat_ = nullptr;
    std::thread thread_;
    std::atomic<bool> stopping_{false};
    VDIFrameworkCommon::Event monitorRuns_{false};
    std::shared_ptr<Job> check_;                  // the run loop's while the heartbeat is on
    std::set<unsigned int> watched_;              // the check's
    bool reportedFailure_ = false;                // the role thread's
    Role role_ = Role::None;                      // the role thread's
    std::atomic<unsigned int> seenActivePid_{0};  // what the role was last evaluated on
};

}  // namespace agent
