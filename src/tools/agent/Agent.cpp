#include "Agent.h"

#include <VDIFrameworkCommon/ProcessUtils.h>
#include <VDIFrameworkCommon/StringConversion.h>
#include <VDIFrameworkCommon/TaskDispatcher.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Output.h"

namespace agent {

namespace {

using VDIFrameworkCommon::ProcessMonitor;
using VDIFrameworkCommon::ProcessUtils;
using VDIFrameworkCommon::TaskDispatcher;
using VDIFrameworkCommon::TimerHelper;
using VDIFrameworkCommon::toString;
using VDIFrameworkCommon::VDIRunnerCounter;

constexpr unsigned int heartbeatMs = 1000;

// How often a change of the list is made again when another agent's change at the same moment undid it.
constexpr int mostTries = 20;
constexpr std::chrono::milliseconds betweenTries{5};

// After so many claims in a row that did not take, the next one waits until something changes.
constexpr int mostClaims = 5;

// Never runs: the monitor's first pass reports it, and so tells that the monitor's thread is there and may be stopped.
constexpr unsigned int noProcess = 0;

unsigned int ownPid() {
    return static_cast<unsigned int>(ProcessUtils::getCurrentProcessId());
}

std::vector<unsigned int> runners() {
    return VDIRunnerCounter::getInstance()->getAllRunners();
}

bool isRegistered(unsigned int pid) {
    const auto registered = runners();
    return std::find(registered.begin(), registered.end(), pid) != registered.end();
}

std::string runnersText() {
    std::string text;
    for (const unsigned int pid : runners()) {
        text += ' ';
        text += toString(pid);
    }
    return text.empty() ? " none" : text;
}

}  // namespace

Agent::~Agent() {
    leave();
}

bool Agent::start() {
    if (!event_.isOpen()) {
        printError("the event of the active role cannot be opened; see the log");
        return false;
    }
    for (int tries = 0; tries < mostTries && !isRegistered(ownPid()); ++tries) {
        VDIRunnerCounter::getInstance()->addRunner(ownPid());
        std::this_thread::sleep_for(tries * betweenTries);
    }
    if (!isRegistered(ownPid())) {
        printError("cannot register: the shared list is full or cannot be opened; see the log");
        return false;
    }
    printLine(about() + "registered, runners:" + runnersText());
    monitor_ = std::make_unique<ProcessMonitor>([this](const std::set<unsigned int>& ended) { reportEnded(ended); });
    monitor_->addProcessId(noProcess);
    watchOthers(runners());
    thread_ = std::thread(&Agent::runRole, this);
    if (TimerHelper::scheduleTimer(heartbeat_, this, heartbeatMs, true) != 0) {
        printError("no heartbeat: the timer cannot be set");
    }
    return true;
}

void Agent::leave() {
    if (!thread_.joinable()) {
        return;
    }
    stopping_ = true;
    TimerHelper::invalidateTimer(heartbeat_);
    if (check_ != nullptr) {
        check_->takeBack();
    }
    event_.set();
    thread_.join();
    monitorRuns_.wait();
    monitor_.reset();
    // The list has no lock between processes: another agent's change may have brought the entry back.
    for (int tries = 0; tries < mostTries && isRegistered(ownPid()); ++tries) {
        VDIRunnerCounter::getInstance()->removeRunner(ownPid());
        std::this_thread::sleep_for(tries * betweenTries);
    }
    if (recorder_.getActiveVirtualChannelAgentPid() == ownPid()) {
        recorder_.clearActiveVirtualChannelAgent();
    }
    event_.setAndSend();
    printLine(about() + "left, runners:" + runnersText());
}

// On the run loop, which other timers wait for: the work is done elsewhere, unless nobody has begun with it a beat
// later.
void Agent::onTimeout(TimerHelper* /*timer*/) {
    if (check_ != nullptr && !check_->isOver()) {
        check_->run();
        return;
    }
    check_ = std::make_shared<Job>([this] { checkPlace(); });
    TaskDispatcher::getInstance()->enqueue([check = check_] { check->run(); }, "heartbeat");
}

void Agent::checkPlace() {
    // Two agents that register at the same moment can lose one entry.
    if (!isRegistered(ownPid()) && !stopping_) {
        VDIRunnerCounter::getInstance()->addRunner(ownPid());
        printLine(about() + "registered again, runners:" + runnersText());
    }
    watchOthers(runners());
    if (recorder_.getActiveVirtualChannelAgentPid() != seenActivePid_) {
        event_.set();
    }
}

void Agent::watchOthers(const std::vector<unsigned int>& runners) {
    std::set<unsigned int> others(runners.begin(), runners.end());
    others.erase(ownPid());
    for (const unsigned int pid : others) {
        if (!watched_.contains(pid)) {
            monitor_->addProcessId(pid);
        }
    }
    for (const unsigned int pid : watched_) {
        if (!others.contains(pid)) {
            monitor_->removeProcessId(pid);
        }
    }
    watched_ = std::move(others);
}

// On the monitor's thread.
void Agent::reportEnded(const std::set<unsigned int>& ended) {
    for (const unsigned int pid : ended) {
        if (pid == noProcess) {
            monitorRuns_.set();
            continue;
        }
        event_.heal();
        if (isRegistered(pid)) {
            printLine(about() + "agent " + toString(pid) + " died without leaving");
        }
    }
    event_.set();
}

void Agent::runRole() {
    while (!stopping_) {
        evaluateRole();
        if (!stopping_) {
            event_.wait();
        }
    }
}

void Agent::evaluateRole() {
    // A claim is looked at again after it was made: of two agents that claim the role at the same moment the last has
    // it.
    int claims = 0;
    for (; claims < mostClaims && !stopping_ && !recorder_.hasOtherActiveVirtualChannelAgent(); ++claims) {
        if (recorder_.getActiveVirtualChannelAgentPid() == ownPid()) {
            become(Role::Active, ownPid());
            return;
        }
        recorder_.markCurrentVirtualChannelAgentAsActive();
    }
    const unsigned int pid = recorder_.getActiveVirtualChannelAgentPid();
    if (claims == mostClaims && pid == 0 && !reportedFailure_) {
        printError("the record of the active agent cannot be read or written; see the log");
        reportedFailure_ = true;
    }
    if (pid != 0 && pid != ownPid()) {
        become(Role::Standby, pid);
    }
}

void Agent::become(Role role, unsigned int activePid) {
    const unsigned int before = seenActivePid_.exchange(activePid);
    if (role == role_ && activePid == before) {
        return;
    }
    role_ = role;
    if (role == Role::Active) {
        printLine(about() + "active");
    } else {
        monitor_->addProcessId(activePid);
        printLine(about() + "standing by, active is " + toString(activePid));
    }
}

}  // namespace agent
