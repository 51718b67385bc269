#include "VDIFrameworkCommon/ProcessMonitor.h"

#include <utility>

#include "VDIFrameworkCommon/ProcessUtils.h"

namespace VDIFrameworkCommon {

namespace {

constexpr long passIntervalMs = 2000;

}  // namespace

ProcessMonitor::ProcessMonitor(std::function<void(const std::set<unsigned int>&)> callback)
    : callback_(std::move(callback)), stopEvent_(true) {
    start();
}

ProcessMonitor::~ProcessMonitor() {
    stop();
}

void ProcessMonitor::start() {
    thread_ = std::thread(&ProcessMonitor::monitorProcesses, this);
}

void ProcessMonitor::stop() {
    running_ = false;
    stopEvent_.set();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void ProcessMonitor::monitorProcess(unsigned int pid) {
    const std::lock_guard lock(mutex_);
    pids_.insert(pid);
}

void ProcessMonitor::addProcessId(unsigned int pid) {
    monitorProcess(pid);
}

void ProcessMonitor::removeProcessId(unsigned int pid) {
    const std::lock_guard lock(mutex_);
    pids_.erase(pid);
}

std::set<unsigned int> ProcessMonitor::getProcessIds() {
    const std::lock_guard lock(mutex_);
    return pids_;
}

bool ProcessMonitor::checkIfProcessRunning(unsigned int pid) {
    return ProcessUtils::isProcessRunning(pid);
}

void ProcessMonitor::monitorProcesses() {
    // Set here and not by `start`: a stop that comes before this line is undone by it. Owners know that a monitor runs
    // before they stop it; setting it earlier would change which passes are made after a stop and a start.
    running_ = true;
    while (running_) {
        stopEvent_.timedWait(passIntervalMs);
        std::set<unsigned int> stopped;
        for (const unsigned int pid : getProcessIds()) {
            if (!ProcessUtils::isProcessRunning(pid)) {
                stopped.insert(pid);
            }
        }
        for (const unsigned int pid : stopped) {
            removeProcessId(pid);
        }
        if (callback_ && !stopped.empty()) {
            callback_(stopped);
        }
    }
}

}  // namespace VDIFrameworkCommon
