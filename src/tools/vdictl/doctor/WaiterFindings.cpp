#include <VDIFrameworkCommon/MacosxEvent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "Report.h"
#include "Terminal.h"
#include "doctor/Finding.h"
#include "doctor/LockRepair.h"
#include "doctor/OpenObject.h"
#include "doctor/Unseen.h"
#include "survey/Mappings.h"
#include "survey/Products.h"
#include "survey/SharedFolder.h"
#include "survey/Words.h"

namespace vdictl {

namespace {

using Outcome = RepairResult::Outcome;
using VDIFrameworkCommon::t_HANDLE;

/// The smallest number that an event may count without losing a waiter: signals go to the waiters whose numbers are
/// below it.
std::optional<std::int32_t> leastCount(const Mappings& mappings, const Object& event) {
    if (!event.event || !mappings.areCompleteFor(event.user.value_or(event.file.owner))) {
        return std::nullopt;
    }
    std::int32_t live = 0;
    std::int32_t beyond = 0;
    const std::int32_t numbers = waiterNumbers(event.event->waiters);
    for (std::int32_t number = 0; number < numbers; ++number) {
        const int times = mappings.timesMapped(fileNameOf(event.event->name + std::to_string(number)));
        live += times;
        beyond = times > 0 ? number + 1 : beyond;
    }
    return std::max(live, beyond);
}

bool exchangeCount(t_HANDLE& event, std::int32_t expected, std::int32_t count) {
    return __atomic_compare_exchange_n(&event.waiterCount, &expected, count, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
}

// A create makes the lock anew, so that somebody may have registered although it is held here: looked at once more,
// and raised again if need be.
RepairResult settleCount(t_HANDLE& event, const Object& surveyed, dev_t device, std::int32_t count) {
    const auto least = leastCount(readMappings(device), surveyed);
    if (least && *least > count && exchangeCount(event, count, *least)) {
        return {Outcome::Refused, "a thread began to wait meanwhile"};
    }
    return {};
}

// A waiter that no process is seen to have in its memory lives all the same if somebody has its object open.
bool mayWait(const Mappings& mappings, const std::string& fileName) {
    if (mappings.timesMapped(fileName) > 0) {
        return false;  // it is seen, and counted
    }
    const std::string path = std::string(sharedFolderPath) + "/" + fileName;
    const Descriptor fd(open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    return fd.isOpen() ? Exclusion(fd.get()).state() != Exclusion::State::Held : errno != ENOENT;
}

// Numbers of waiters that cannot be seen from here, and still count.
bool mayHaveUnseenWaiters(const Mappings& mappings, const Object& event) {
    const std::int32_t numbers = waiterNumbers(event.event->waiters);
    for (std::int32_t number = 0; number < numbers; ++number) {
        if (mayWait(mappings, fileNameOf(event.event->name + std::to_string(number)))) {
            return true;
        }
    }
    return false;
}

RepairResult lowerCount(const Object& surveyed, dev_t device, const std::set<pid_t>& users) {
    OpenObject object(surveyed);
    if (object.isGone()) {
        return {Outcome::Gone, {}};
    }
    if (isUsedUnseen(users, object.fd())) {
        return {Outcome::Refused, "processes that cannot be seen from here use it"};
    }
    auto* const event = static_cast<t_HANDLE*>(object.map(sizeof(t_HANDLE)));
    const TimedLock lock(event->mutex);
    if (!lock.isHeld()) {
        return {Outcome::Refused, "its lock is held; free it first, or try again"};
    }
    const Mappings mappings = readMappings(device);
    const auto least = leastCount(mappings, surveyed);
    if (!least) {
        return {Outcome::Refused, "some processes of its user cannot be looked into; run as root"};
    }
    if (mayHaveUnseenWaiters(mappings, surveyed)) {
        return {Outcome::Refused, "a process that cannot be seen from here may wait for it; run as root"};
    }
    const std::int32_t counted = __atomic_load_n(&event->waiterCount, __ATOMIC_SEQ_CST);
    if (counted >= 0 && counted <= *least) {
        return {Outcome::Gone, {}};
    }
    if (surveyed.event->name != std::string(event->name, strnlen(event->name, sizeof event->name)) ||
        !exchangeCount(*event, counted, *least)) {
        return {Outcome::Refused, "agents use it at this moment; try again"};
    }
    return settleCount(*event, surveyed, device, *least);
}

// Without its name nobody can open the object; who was about to has it back.
RepairResult removeUnused(const OpenObject& object, const Exclusion& exclusion) {
    const std::string aside = object.path() + ".removed";
    if (renameat2(AT_FDCWD, object.path().c_str(), AT_FDCWD, aside.c_str(), RENAME_NOREPLACE) != 0) {
        throw Failure(object.path(), "rename", errno, "run as its owner or as root");
    }
    // Who had found the name before comes to wait for the object now.
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (exclusion.isWanted()) {
        renameat2(AT_FDCWD, aside.c_str(), AT_FDCWD, object.path().c_str(), RENAME_NOREPLACE);
        return {Outcome::Refused, "it is being opened"};
    }
    if (unlink(aside.c_str()) != 0) {
        throw Failure(aside, "unlink", errno, "remove it by hand");
    }
    return {};
}

RepairResult removeWaiter(const Object& surveyed, const std::optional<Object>& event) {
    // As the library does, under the lock of the event.
    std::optional<OpenObject> opened;
    std::optional<TimedLock> lock;
    if (event) {
        opened.emplace(*event);
        if (!opened->isGone()) {
            lock.emplace(static_cast<t_HANDLE*>(opened->map(sizeof(t_HANDLE)))->mutex);
            if (!lock->isHeld()) {
                return {Outcome::Refused, "the lock of its event is held; free it first, or try again"};
            }
        }
    }
    const OpenObject object(surveyed);
    if (object.isGone()) {
        return {Outcome::Gone, {}};
    }
    const Exclusion exclusion(object.fd());
    switch (exclusion.state()) {
        case Exclusion::State::InUse:
            return {Outcome::Refused, "a process has it open"};
        case Exclusion::State::Unavailable:
            return {Outcome::Refused,
                    "the system does not tell whether a process has it open; run as its owner or as root"};
        default:
            return removeUnused(object, exclusion);
    }
}

void findCount(const Survey& survey, const Object& object, std::vector<Finding>& findings) {
    const auto live = survey.liveWaiters(object);
    const std::int32_t counted = object.event->waiters;
    if (!live || (counted >= 0 && counted <= *live)) {
        return;
    }
    Finding finding = findingAbout(object, "waiter-count",
                                   fmt::format("the event counts {} waiters, and {} are seen to wait", counted, *live));
    const auto least = leastCount(survey.mappings, object);
    if (least && (counted < 0 || *least < counted)) {
        finding.plan = fmt::format("let it count {}", *least);
        finding.repair = [object, device = survey.space.device, users = survey.usersOf(object)] {
            return lowerCount(object, device, users);
        };
    } else {
        finding.advice = "a living waiter has a higher number than there are waiters; try again when it has left";
    }
    findings.push_back(std::move(finding));
}

void findLeftOver(const Survey& survey, const Object& object, std::vector<Finding>& findings) {
    if (!survey.usersOf(object).empty() || !survey.mappings.areCompleteFor(object.user.value_or(object.file.owner))) {
        return;
    }
    const std::string what =
        object.waiterNumber ? fmt::format("waiter {} of event '{}'", *object.waiterNumber, printable(object.eventName))
                            : "a waiter of an event that is not there";
    Finding finding =
        findingAbout(object, "leftover-waiter", fmt::format("the object of {} is in the memory of no process", what));
    const Object* const event = object.eventName.empty() ? nullptr : survey.find(fileNameOf(object.eventName));
    finding.plan = "remove the object";
    finding.repair = [object, event = event == nullptr ? std::optional<Object>() : std::optional(*event)] {
        return removeWaiter(object, event);
    };
    findings.push_back(std::move(finding));
}

}  // namespace

void findWaiters(const Survey& survey, const Object& object, std::vector<Finding>& findings) {
    if (object.purpose == Purpose::Event && object.event && object.file.size == sizeof(t_HANDLE)) {
        findCount(survey, object, findings);
    }
    if (object.purpose == Purpose::Waiter) {
        findLeftOver(survey, object, findings);
    }
}

}  // namespace vdictl
