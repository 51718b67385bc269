#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <set>
#include <thread>

#include "VDIFrameworkCommon/Event.h"
#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

/// Watches processes on a thread of its own and reports, once, those that have stopped running.
///
/// A pass over the processes is made every two seconds, the first one two seconds after the start. The ids may be
/// changed and read from any thread, the callback included; `start`, `stop` and destruction belong to the owner, and
/// the callback must do none of them. `stop` and destruction wait for the thread.
///
/// A monitor must not be stopped before its thread runs: the thread would not notice, and `stop` would wait for ever.
class VDIFRAMEWORKCOMMON_EXPORT ProcessMonitor {
public:
    /// Starts watching.
    ///
    /// \param callback  called on the monitor's thread, with no lock held, with the ids of all processes that a pass
    /// found stopped; these are no longer watched by then. May be empty.
    explicit ProcessMonitor(std::function<void(const std::set<unsigned int>&)> callback);

    /// Stops.
    ~ProcessMonitor();
    ProcessMonitor(const ProcessMonitor&) = delete;
    ProcessMonitor& operator=(const ProcessMonitor&) = delete;

    /// Starts the thread again after `stop`. Ends the process if it was not stopped. Throws `std::system_error` if
    /// there is no thread to be had.
    void start();

    /// Lets the thread make one last pass, in which the callback may be called once more, and waits for its end.
    void stop();

    /// Watches one more process; from the next pass on. Fine for one that is watched already. One that does not run is
    /// reported by that pass.
    void monitorProcess(unsigned int pid);

    /// As `monitorProcess`.
    void addProcessId(unsigned int pid);

    /// Stops watching a process; fine for one that is not watched.
    void removeProcessId(unsigned int pid);

    /// A copy of the ids that are watched.
    std::set<unsigned int> getProcessIds();

    /// Tells whether a process runs, as `ProcessUtils::isProcessRunning` does.
    bool checkIfProcessRunning(unsigned int pid);

    /// The body of the thread; not to be called by hosts.
    void monitorProcesses();

private:
    std::mutex mutex_;
    std::set<unsigned int> pids_;  // guarded by mutex_
    std::thread thread_;
    std::atomic<bool> running_{false};
    std::function<void(const std::set<unsigned int>&)> callback_;
    Event stopEvent_;
};

}  // namespace VDIFrameworkCommon
