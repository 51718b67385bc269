#pragma once

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/Eventually.h"
#include "support/RawObject.h"
#include "vdictl/ToolProgram.h"
#include "vdictl/survey/AgentProcess.h"

/// Runs `vdictl doctor` over what tests have made, and looks at what it left.
namespace doctoring {

inline const std::string listName = raw::logicalName("HDVDI_", "TavixHuddleVDIRunnerCounter");
inline const std::string activeName = raw::logicalName("HDVDI_", "TavixHuddleActiveVirtualChannelAgentRecorder");
inline const std::string guardName =
    raw::logicalName("HDVDI_", "B3AA2F75-88F6-41D3-A399-B58B79308164_TavixHuddleVDIRunnerCounter") + "_mutex";

inline const std::string doorName = raw::logicalName("HDVDI_", "door");

// Every test has a private folder: that finding is made by all of them.
inline tool::Words doctor(tool::Words more = {}) {
    tool::Words words{"doctor", "--ignore", "folder-private"};
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

inline std::vector<nlohmann::json> findings(const nlohmann::json& result, const std::string& kind) {
    std::vector<nlohmann::json> found;
    for (const nlohmann::json& finding : result["findings"]) {
        if (finding["kind"] == kind) {
            found.push_back(finding);
        }
    }
    return found;
}

inline nlohmann::json look(int expectedExitCode) {
    return tool::facts(doctor(), expectedExitCode);
}

inline nlohmann::json fix(int expectedExitCode = 0) {
    return tool::facts(doctor({"--fix", "--yes"}), expectedExitCode);
}

inline std::vector<std::uint32_t> listed() {
    const raw::Mapping<std::uint32_t[50]> list(listName);
    std::vector<std::uint32_t> pids;
    for (const std::uint32_t pid : *list) {
        if (pid != 0) {
            pids.push_back(pid);
        }
    }
    return pids;
}

inline std::vector<std::uint32_t> pidsOf(std::initializer_list<const AgentProcess*> agents) {
    std::vector<std::uint32_t> pids;
    for (const AgentProcess* const agent : agents) {
        pids.push_back(static_cast<std::uint32_t>(agent->pid()));
    }
    return pids;
}

/// Made as agents make it, which also frees its lock.
inline VDIFrameworkCommon::t_HANDLE* openEvent(const std::string& name = doorName) {
    return VDIFrameworkCommon::CreateEventA(nullptr, false, false, name.c_str());
}

/// Waits until so many wait for the event, and none of them is busy with it.
inline bool wait(const VDIFrameworkCommon::t_HANDLE& event, int waiters) {
    return eventually([&] {
        return __atomic_load_n(&event.waiterCount, __ATOMIC_SEQ_CST) == waiters &&
               __atomic_load_n(&event.mutex.__data.__lock, __ATOMIC_SEQ_CST) == 0;
    });
}

inline int lockWord(const std::string& mutexName) {
    const raw::Mapping<pthread_mutex_t> mutex(mutexName);
    return __atomic_load_n(&mutex->__data.__lock, __ATOMIC_SEQ_CST);
}

inline int shell(const std::string& command) {
    // NOLINTNEXTLINE(cert-env33-c): the command is the test's own
    return std::system(command.c_str());
}

/// Before a command of the shell: it counts processes on its own.
inline const std::string apart = "unshare --pid --fork --mount-proc ";

inline bool canBeApart() {
    return shell(apart + "true 2>/dev/null") == 0;
}

}  // namespace doctoring
