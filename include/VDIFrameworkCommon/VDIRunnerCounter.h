#pragma once

#include <memory>
#include <vector>

#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

class SHMStorageMacosx;

/// The list of running agents of one user and one client product, in shared memory: at most 50 process ids.
///
/// An agent adds itself when it starts and removes itself when it ends. Nobody checks whether the listed processes
/// still run: one that dies stays listed. A change is a read and a write of the whole list and takes no lock between
/// processes, so of two changes at the same moment one may be lost.
///
/// Thread-safe as far as each read and each write goes. Never blocks on another process. Failures are records; nothing
/// is thrown.
class VDIFRAMEWORKCOMMON_EXPORT VDIRunnerCounter {
public:
    /// The one object of this process, made on the first call with the client type of that moment. It is released when
    /// the library is unloaded; a caller's copy keeps it alive. A call after that gets an object of its own.
    static std::shared_ptr<VDIRunnerCounter> getInstance();

    VDIRunnerCounter();
    ~VDIRunnerCounter();
    VDIRunnerCounter(const VDIRunnerCounter&) = delete;
    VDIRunnerCounter& operator=(const VDIRunnerCounter&) = delete;

    /// Appends `pid` to the list, unless it is there already or the list is full. 0 is refused with an error record.
    void addRunner(unsigned int pid);

    /// Removes every entry of `pid` and closes the gaps. 0 does nothing.
    void removeRunner(unsigned int pid);

    /// Tells whether any agent is listed; a list that cannot be read counts as one that holds an agent.
    bool hasRunner();

    /// The listed ids in order; empty when the list cannot be read.
    std::vector<unsigned int> getAllRunners();

private:
    class InstanceRelease;
    static std::shared_ptr<VDIRunnerCounter> instance;

    std::unique_ptr<SHMStorageMacosx> storage_;
};

}  // namespace VDIFrameworkCommon
