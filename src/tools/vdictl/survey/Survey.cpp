#include "survey/Survey.h"

#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "Products.h"
#include "Records.h"
#include "survey/Namespaces.h"

namespace vdictl {

namespace {

std::set<uid_t> usersAmong(const std::vector<SharedFile>& files, const Owner& owner) {
    std::set<uid_t> users{owner.userOrSelf(), geteuid()};
    for (const SharedFile& file : files) {
        users.insert(file.owner);
    }
    return users;
}

void addProcess(Survey& survey, std::uint32_t pid) {
    if (pid != 0 && survey.processes.find(pid) == survey.processes.end()) {
        survey.processes.emplace(pid, factsAbout(pid));
    }
}

void addProcesses(Survey& survey) {
    for (const Object& object : survey.objects) {
        for (const std::uint32_t pid : object.slots) {
            addProcess(survey, pid);
        }
        if (const auto owner = survey.lockOwner(object); owner && owner->process) {
            addProcess(survey, static_cast<std::uint32_t>(*owner->process));
        }
        for (const pid_t pid : survey.usersOf(object)) {
            addProcess(survey, static_cast<std::uint32_t>(pid));
        }
    }
}

std::map<pid_t, pid_t> processesApart(const Mappings& mappings) {
    std::set<pid_t> users;
    for (const Mapping& mapping : mappings.all) {
        users.insert(mapping.pid);
    }
    std::map<pid_t, pid_t> apart;
    for (const pid_t pid : users) {
        if (countsOnItsOwn(pid)) {
            apart.emplace(pid, ownNumberOf(pid).value_or(0));
        }
    }
    return apart;
}

}  // namespace

const ProcessFacts& Survey::process(std::uint32_t pid) const {
    static const ProcessFacts unknown;
    const auto found = processes.find(pid);
    return found == processes.end() ? unknown : found->second;
}

const Object* Survey::find(const std::string& fileName) const {
    const auto found =
        std::lower_bound(objects.begin(), objects.end(), fileName,
                         [](const Object& object, const std::string& name) { return object.file.name < name; });
    return found != objects.end() && found->file.name == fileName ? &*found : nullptr;
}

const Object* Survey::guardOf(const Object& storage) const {
    if (!storage.isRecordOfAgents() || storage.product == nullptr || !storage.user) {
        return nullptr;
    }
    return find(fileNameOf(guardNameOf(storage.logicalName, *storage.user, *storage.product)));
}

std::set<pid_t> Survey::usersOfRecord(const Object& storage) const {
    std::set<pid_t> users = usersOf(storage);
    if (const Object* const guard = guardOf(storage)) {
        users.merge(usersOf(*guard));
    }
    return users;
}

bool Survey::anyApart(const std::set<pid_t>& users) const {
    return std::any_of(users.begin(), users.end(), [this](pid_t pid) { return apart.contains(pid); });
}

const ProcessFacts& Survey::agent(const Object& storage, std::uint32_t pid) const {
    const auto users = usersOfRecord(storage);
    if (!users.contains(static_cast<pid_t>(pid))) {
        for (const pid_t user : users) {
            const auto found = apart.find(user);
            if (found != apart.end() && static_cast<std::uint32_t>(found->second) == pid) {
                return process(static_cast<std::uint32_t>(user));
            }
        }
    }
    return process(pid);
}

// Whoever opens a record makes its guard anew, which the system notes as a change of the guard, and keeps the guard in
// its memory. Writing the record itself leaves no trace in its times.
Reuse Survey::reuseOf(const Object& storage, std::uint32_t pid) const {
    const ProcessFacts& facts = agent(storage, pid);
    const auto users = usersOfRecord(storage);
    if (facts.isAlive && users.contains(static_cast<pid_t>(facts.pid))) {
        return Reuse::No;
    }
    if (anyApart(users)) {
        return Reuse::Unknown;  // the number may be one of theirs
    }
    if (!facts.isAlive) {
        return seesAllUsers ? Reuse::None : Reuse::Unknown;
    }
    const Object* const guard = guardOf(storage);
    const bool startedLater = guard != nullptr && facts.started && isLater(*facts.started, guard->file.modified);
    return startedLater && mappings.isReadable(static_cast<pid_t>(pid)) ? Reuse::Yes : Reuse::Unknown;
}

std::optional<LockOwner> Survey::lockOwner(const Object& object) const {
    if (!object.mutex || object.mutex->state != MutexRecord::State::Held || object.mutex->owner == 0) {
        return std::nullopt;
    }
    LockOwner owner;
    owner.thread = object.mutex->owner;
    owner.process = processOfThread(owner.thread);
    // Whoever holds a lock has it in its memory: a thread of another process has only the same number.
    const auto users = usersOf(object);
    if (owner.process && users.contains(*owner.process)) {
        return owner;
    }
    if (anyApart(users) || (!users.empty() && !seesAllUsers)) {
        owner.process = std::nullopt;  // the number may be theirs, or that of one who cannot be seen
        return owner;
    }
    const bool isHidden = owner.process && vdictl::usersOf(*owner.process).empty();
    owner.isDead = !owner.process || (mappings.isReadable(*owner.process) && !isHidden);
    return owner;
}

std::optional<int> Survey::liveWaiters(const Object& event) const {
    if (!event.event || !mappings.areCompleteFor(event.user.value_or(event.file.owner))) {
        return std::nullopt;
    }
    int waiters = 0;
    const std::int32_t numbers = waiterNumbers(event.event->waiters);
    for (std::int32_t number = 0; number < numbers; ++number) {
        waiters += mappings.timesMapped(fileNameOf(event.event->name + std::to_string(number)));
    }
    return waiters;
}

Survey takeSurvey(Look look, const Owner& owner) {
    Survey survey;
    clock_gettime(CLOCK_REALTIME, &survey.time);
    survey.space = spaceOf();
    auto files = readSharedFolder();
    const auto users = usersAmong(files, owner);
    survey.objects = identify(std::move(files), users);
    if (look == Look::WithMappings) {
        survey.mappings = readMappings(survey.space.device);
        survey.apart = processesApart(survey.mappings);
        survey.seesAllUsers = seesAllUsersOfFolder();
    }
    addProcesses(survey);
    return survey;
}

bool belongsTo(const Object& object, const Owner& owner) {
    if (owner.user && object.user.value_or(object.file.owner) != *owner.user) {
        return false;
    }
    return !owner.client || (object.product != nullptr && object.product->prefix == clientPrefix(*owner.client));
}

}  // namespace vdictl
