#pragma once

#include <memory>
#include <mutex>

#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

class SHMStorageMacosx;

/// Which of a user's and a client product's agents is the active one: its process id, in shared memory.
///
/// The record outlives every process. An agent that died as the active one stays recorded until another agent asks.
/// Thread-safe within a process; between processes the last writer wins. No operation waits for another process, except
/// as `markCurrentVirtualChannelAgentAsActive` says. Failures are records; nothing is thrown.
class VDIFRAMEWORKCOMMON_EXPORT ActiveVirtualChannelAgentRecorder {
public:
    /// Opens the record of the client type of this moment.
    ActiveVirtualChannelAgentRecorder();
    ~ActiveVirtualChannelAgentRecorder();
    ActiveVirtualChannelAgentRecorder(const ActiveVirtualChannelAgentRecorder&) = delete;
    ActiveVirtualChannelAgentRecorder& operator=(const ActiveVirtualChannelAgentRecorder&) = delete;

    /// The recorded process id, running or not; 0 when none is recorded or the record cannot be read.
    unsigned int getActiveVirtualChannelAgentPid();

    /// Records any process id, running or not; 0 for none. A failure is a record.
    void setActiveVirtualChannelAgentPid(unsigned int pid);

    /// Records that no agent is active.
    void clearActiveVirtualChannelAgent();

    /// Tells whether another process is recorded and still running; the record of one that is not is cleared. False
    /// when the record cannot be read.
    bool hasOtherActiveVirtualChannelAgent();

    /// Records this process, whoever is recorded now. When two or more agents are registered it then blocks for one
    /// second, in which the other one can notice.
    void markCurrentVirtualChannelAgentAsActive();

private:
    std::mutex mutex_;  // guards the two below
    std::unique_ptr<SHMStorageMacosx> storage_;
    unsigned int lastReadPid_ = 0;
};

}  // namespace VDIFrameworkCommon
