#include <VDIFrameworkCommon/ProcessUtils.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "SharedRecords.h"
#include "doctor/AgentRecord.h"
#include "doctor/Finding.h"
#include "doctor/OpenObject.h"
#include "doctor/Unseen.h"
#include "survey/Mappings.h"
#include "survey/ProcFile.h"
#include "survey/Processes.h"
#include "survey/Products.h"
#include "survey/Records.h"
#include "survey/SharedFolder.h"
#include "survey/Words.h"

namespace vdictl {

namespace {

using VDIFrameworkCommon::ProcessUtils;
using Outcome = RepairResult::Outcome;

/// An id in a record that belongs to no living agent, with all that is needed to show it again.
struct Stale {
    Object storage;
    std::uint32_t pid = 0;
    std::optional<std::timespec> started;  ///< of the other process that has the id now; none: there was no process
    dev_t device = 0;
    ino_t guard = 0;
    std::set<pid_t> users;  ///< processes that use the record
};

bool isSameTime(const std::optional<std::timespec>& a, const std::optional<std::timespec>& b) {
    // Derived from two clocks each time.
    constexpr double tolerance = 0.1;
    return a && b &&
           std::abs(static_cast<double>(a->tv_sec - b->tv_sec) + static_cast<double>(a->tv_nsec - b->tv_nsec) / 1e9) <
               tolerance;
}

// Whether the process with the id uses the record, so that it is the agent that the record means.
bool usesRecord(const Stale& stale) {
    std::vector<Mapping> mappings;
    const bool isReadable = readMappings(static_cast<pid_t>(stale.pid), stale.device, mappings);
    return !isReadable || std::any_of(mappings.begin(), mappings.end(), [&](const Mapping& mapping) {
        return mapping.inode == stale.storage.file.inode || mapping.inode == stale.guard;
    });
}

bool isStillStale(const Stale& stale) {
    if (!ProcessUtils::isProcessRunning(stale.pid)) {
        return true;
    }
    return stale.started && isSameTime(factsAbout(stale.pid).started, stale.started) && !usesRecord(stale);
}

// A new agent may have got the id and found itself recorded just before it was taken out.
RepairResult putBackIfAlive(const Stale& stale, std::uint32_t* slots) {
    if (isStillStale(stale)) {
        return {};
    }
    if (stale.storage.purpose == Purpose::RunnerList) {
        addRunner(slots, stale.pid);
    } else {
        exchange(*slots, 0, stale.pid);
    }
    return {Outcome::Gone, {}};
}

RepairResult remove(const Stale& stale) {
    OpenObject object(stale.storage);
    if (object.isGone()) {
        return {Outcome::Gone, {}};
    }
    const bool isList = stale.storage.purpose == Purpose::RunnerList;
    if (const std::string reason = whyNumbersMeanNothing(stale.users, object.fd()); !reason.empty()) {
        return {Outcome::Refused, reason};
    }
    using namespace VDIFrameworkCommon::records;
    auto* const slots = static_cast<std::uint32_t*>(object.map(isList ? sizeof(RunnerList) : sizeof(ActiveAgent)));
    if (isList ? !isListed(slots, stale.pid) : __atomic_load_n(slots, __ATOMIC_SEQ_CST) != stale.pid) {
        return {Outcome::Gone, {}};
    }
    if (!isStillStale(stale)) {
        return {Outcome::Refused, fmt::format("process {} is not as it was found", stale.pid)};
    }
    if (!isList) {
        return exchange(*slots, stale.pid, 0) ? putBackIfAlive(stale, slots) : RepairResult{Outcome::Gone, {}};
    }
    if (!removeRunner(slots, stale.pid)) {
        return {Outcome::Refused, "agents keep writing the list; try again"};
    }
    return putBackIfAlive(stale, slots);
}

Stale staleEntry(const Survey& survey, const Object& object, const ProcessFacts& process) {
    const Object* const guard = survey.guardOf(object);
    const ino_t guardInode = guard != nullptr ? guard->file.inode : 0;
    return {object, process.pid, process.started, survey.space.device, guardInode, survey.usersOfRecord(object)};
}

Finding deadAgent(const Object& object, const std::string& role, std::uint32_t pid) {
    const bool isList = object.purpose == Purpose::RunnerList;
    return findingAbout(object, isList ? "dead-runner" : "dead-active-agent",
                        fmt::format("process {}, recorded as {}, does not run", pid, role));
}

Finding reusedPid(const Survey& survey, const Object& object, const std::string& role, const ProcessFacts& process) {
    const Object* const guard = survey.guardOf(object);
    return findingAbout(
        object, "reused-pid",
        fmt::format("process {}, recorded as {}, is another one: it started at {}, after the record was opened for the "
                    "last time, at {}, and does not use it",
                    processText(process), role, localTime(*process.started), localTime(guard->file.modified)));
}

Finding doubtfulPid(const Object& object, const std::string& role, const ProcessFacts& process) {
    return findingAbout(object, "doubtful-pid",
                        fmt::format("process {}, recorded as {}, runs and is not seen to use the record; whether it is "
                                    "the one that was recorded cannot be shown",
                                    processText(process), role),
                        "look whether this program is an agent; if it is not, restart the agents when it has ended");
}

// Why it is not known whether a process that does not run here runs elsewhere; empty when it cannot.
std::string whyUnknown(const Survey& survey, const Object& object) {
    const auto users = survey.usersOfRecord(object);
    for (const pid_t user : users) {
        if (survey.apart.contains(user)) {
            return fmt::format("process {} uses the record and counts processes on its own",
                               processText(survey.process(static_cast<std::uint32_t>(user))));
        }
    }
    return mayBeUsedUnseen(users, object)
               ? "processes outside of this container or sandbox, which cannot be seen, may use the record"
               : "";
}

Finding unseenAgent(const Object& object, const std::string& role, std::uint32_t pid, const std::string& why) {
    return findingAbout(
        object, "doubtful-pid",
        fmt::format("process {}, recorded as {}, is not seen from here; whether it runs is not known: {}", pid, role,
                    why),
        "run this program where agents have the numbers that they record");
}

void findAgent(const Survey& survey, const Object& object, std::size_t slot, std::vector<Finding>& findings) {
    const ProcessFacts& process = survey.process(object.slots[slot]);
    Reuse reuse = survey.reuseOf(object, process.pid);
    const bool isList = object.purpose == Purpose::RunnerList;
    const std::string role = isList ? "a runner" : "the active agent";
    Finding finding;
    if (!process.isAlive && reuse != Reuse::No) {
        if (const std::string why = whyUnknown(survey, object); !why.empty()) {
            findings.push_back(unseenAgent(object, role, process.pid, why));
            return;
        }
        reuse = Reuse::None;
    }
    switch (reuse) {
        case Reuse::No:
            return;
        case Reuse::Unknown:
            findings.push_back(doubtfulPid(object, role, process));
            return;
        case Reuse::Yes:
            finding = reusedPid(survey, object, role, process);
            break;
        case Reuse::None:
            finding = deadAgent(object, role, process.pid);
            break;
    }
    finding.plan = isList ? fmt::format("take {} out of the list", process.pid) : "record that no agent is active";
    finding.repair = [stale = staleEntry(survey, object, process)] { return remove(stale); };
    findings.push_back(std::move(finding));
}

}  // namespace

void findAgents(const Survey& survey, const Object& object, std::vector<Finding>& findings) {
    std::set<std::uint32_t> seen;
    for (std::size_t slot = 0; slot < object.slots.size(); ++slot) {
        const std::uint32_t pid = object.slots[slot];
        if (pid == 0 || !seen.insert(pid).second) {
            continue;
        }
        findAgent(survey, object, slot, findings);
        if (slot > listLength(object.slots) && survey.process(pid).isAlive) {
            findings.push_back(findingAbout(object, "hidden-runner",
                                            fmt::format("process {} is recorded behind the end of the list, where no "
                                                        "agent sees it",
                                                        pid),
                                            "it is in the list again as soon as any agent leaves"));
        }
    }
}

}  // namespace vdictl
