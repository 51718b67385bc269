#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "doctor/Finding.h"
#include "doctor/LockRepair.h"
#include "doctor/OpenObject.h"
#include "doctor/Unseen.h"
#include "survey/Mappings.h"
#include "survey/Processes.h"
#include "survey/Products.h"
#include "survey/Records.h"
#include "survey/SharedFolder.h"
#include "survey/Words.h"

namespace vdictl {

namespace {

using Outcome = RepairResult::Outcome;

// A thread that holds a lock has it in its memory, also when its number has become another's.
bool isDead(const Object& object, pid_t thread, dev_t device) {
    const auto process = processOfThread(thread);
    std::vector<Mapping> mappings;
    if (!process) {
        return true;
    }
    if (!readMappings(*process, device, mappings)) {
        return false;
    }
    const auto isOfTheObject = [&](const Mapping& mapping) { return mapping.inode == object.file.inode; };
    return std::none_of(mappings.begin(), mappings.end(), isOfTheObject);
}

RepairResult freeLock(const Object& surveyed, pid_t thread, dev_t device, const std::set<pid_t>& users) {
    OpenObject object(surveyed);
    if (object.isGone()) {
        return {Outcome::Gone, {}};
    }
    if (const std::string reason = whyNumbersMeanNothing(users, object.fd()); !reason.empty()) {
        return {Outcome::Refused, reason};
    }
    auto* const mutex = static_cast<pthread_mutex_t*>(object.map(sizeof(pthread_mutex_t)));
    if (!isDead(surveyed, thread, device)) {
        return {Outcome::Refused, fmt::format("there is a thread {} that may hold it", thread)};
    }
    return {freeLockOf(mutex, thread) ? Outcome::Repaired : Outcome::Gone, {}};
}

// Nobody can show that its holder is dead, except where nobody has it at all.
RepairResult freeUnusedLock(const Object& surveyed) {
    OpenObject object(surveyed);
    if (object.isGone()) {
        return {Outcome::Gone, {}};
    }
    const Exclusion exclusion(object.fd());
    if (exclusion.state() != Exclusion::State::Held) {
        return {Outcome::Refused, "a process has it open, or the system does not tell"};
    }
    auto* const mutex = static_cast<pthread_mutex_t*>(object.map(sizeof(pthread_mutex_t)));
    return {freeOwnerlessLock(mutex) ? Outcome::Repaired : Outcome::Gone, {}};
}

// A process that is killed in the middle of taking a lock has not said yet that it holds it, and one in the middle of
// giving it back no longer does.
void findOwnerless(const Survey& survey, const Object& object, std::vector<Finding>& findings) {
    Finding finding = findingAbout(object, "ownerless-lock",
                                   "its lock is held and does not say by whom: a process was killed, or is stopped, "
                                   "while it took the lock or gave it back");
    if (survey.usersOf(object).empty()) {
        finding.plan = "free the lock, if nobody has the object open";
        finding.repair = [object] { return freeUnusedLock(object); };
    } else {
        finding.advice = "if none of the processes that use it is stopped, restart them: the first makes the lock anew";
    }
    findings.push_back(std::move(finding));
}

}  // namespace

void findLocks(const Survey& survey, const Object& object, std::vector<Finding>& findings) {
    if (object.mutex && object.mutex->state == MutexRecord::State::Damaged && object.purpose != Purpose::Unknown) {
        findings.push_back(findingAbout(object, "damaged-lock", "its lock is not what the library leaves there",
                                        "stop the agents that use it and remove the object"));
    }
    if (object.mutex && object.mutex->state == MutexRecord::State::Held && object.mutex->owner == 0) {
        findOwnerless(survey, object, findings);
    }
    const auto owner = survey.lockOwner(object);
    if (!owner || !owner->isDead) {
        return;
    }
    const std::string why =
        owner->process ? fmt::format("its number is now one of process {}'s, which has no use for it", *owner->process)
                       : "there is no such thread";
    Finding finding = findingAbout(object, "dead-lock-owner",
                                   fmt::format("its lock is held by thread {}, which is dead: {}", owner->thread, why));
    finding.plan = "free the lock";
    finding.repair = [object, thread = owner->thread, device = survey.space.device, users = survey.usersOf(object)] {
        return freeLock(object, thread, device, users);
    };
    findings.push_back(std::move(finding));
}

}  // namespace vdictl
