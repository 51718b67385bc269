#pragma once

#include <string>
#include <vector>

#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

/// Tells who this process is and whether others run; starts and stops applications.
///
/// An application is named by a process id or by a bundle identifier. On Linux the bundle identifier "org.example.App"
/// names the desktop entry "org.example.App.desktop".
///
/// Thread-safe: no operation keeps state. None throws or reports a failure other than by its result and by records.
class VDIFRAMEWORKCOMMON_EXPORT ProcessUtils {
public:
    ProcessUtils() = delete;

    /// The id of this process.
    static int getCurrentProcessId();

    /// The id of the process that started this one, or of the one that took over when it ended.
    static int getParentProcessId();

    /// Ends this process at once, without any clean-up. Returns only if that fails: −1, with the reason in `errno`.
    static int killCurrentProcess();

    /// Tells whether an application with this process id is running. On Linux every process counts, whoever owns it,
    /// from its start until its last thread has ended; zombies, ids of threads and ids that were never used do not.
    static bool isProcessRunning(unsigned int pid);

    /// Tells whether at least one application with this bundle identifier is running. On Linux these are the processes
    /// of this user that run the program of the desktop entry or that were launched from the entry. A shell,
    /// interpreter or launcher that many entries name is no application's program: it counts only where it was launched
    /// from the entry.
    static bool isProcessRunning(const std::string& bundleId);

    /// Force-terminates every running application with this bundle identifier, this process last if it is one of them.
    /// Does not wait until they have ended.
    static void terminateProcess(const std::string& bundleId);

    /// Launches the application with this bundle identifier; a record tells whether that succeeded.
    static void createProcess(const std::string& bundleId);

    /// Launches the application at a path as a new process, even if it runs already, and returns at once. A record that
    /// another thread writes later tells whether that succeeded.
    ///
    /// \param path  on Linux an executable file, or a folder `NAME.app` with its program in `Contents/Linux/NAME` or in
    ///     `Contents/MacOS/NAME`; valid UTF-8
    /// \param args  what the program gets after its own name
    static void createProcessAtURL(const std::string& path, const std::vector<std::string>& args);
};

}  // namespace VDIFrameworkCommon
