#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "doctor/Finding.h"
#include "doctor/LockRepair.h"
#include "doctor/OpenObject.h"
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

RepairResult freeLock(const Object& surveyed, pid_t thread, dev_t device, bool isUsed) {
    OpenObject object(surveyed);
    if (object.isGone()) {
        return {Outcome::Gone, {}};
    }
    if (!isUsed && Exclusion(object.fd()).state() == Exclusion::State::InUse) {
        return {Outcome::Refused, "processes that cannot be seen from here use it"};
    }
    auto* const mutex = static_cast<pthread_mutex_t*>(object.map(sizeof(pthread_mutex_t)));
    if (!isDead(surveyed, thread, device)) {
        return {Outcome::Refused, fmt::format("there is a thread {} that may hold it", thread)};
    }
    return {freeLockOf(mutex, thread) ? Outcome::Repaired : Outcome::Gone, {}};
}

}  // namespace

void findLocks(const Survey& survey, const Object& object, std::vector<Finding>& findings) {
    if (object.mutex && object.mutex->state == MutexRecord::State::Damaged && object.purpose != Purpose::Unknown) {
        findings.push_back(findingAbout(object, "damaged-lock", "its lock is not what the library leaves there",
                                        "stop the agents that use it and remove the object"));
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
    finding.repair = [object, thread = owner->thread, device = survey.space.device,
                      isUsed = !survey.usersOf(object).empty()] { return freeLock(object, thread, device, isUsed); };
    findings.push_back(std::move(finding));
}

}  // namespace vdictl
