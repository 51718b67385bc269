#include "watch/Changes.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "Terminal.h"
#include "survey/Objects.h"
#include "survey/Processes.h"
#include "survey/Products.h"
#include "survey/SharedFolder.h"
#include "survey/Words.h"

namespace vdictl {

namespace {

/// Collects the changes of one object.
class ObjectChanges {
public:
    ObjectChanges(const Object& object, std::vector<Change>& changes) : object_(object), changes_(changes) {}

    Change& add(const std::string& kind, const std::string& detail = {}) const {
        Change change;
        change.kind = kind;
        change.product = object_.product == nullptr ? std::string() : std::string(object_.product->name);
        change.user = object_.user.value_or(object_.file.owner);
        change.object = "/" + printable(object_.file.name);
        change.logicalName = printable(object_.logicalName);
        change.detail = detail;
        changes_.push_back(std::move(change));
        return changes_.back();
    }

    void add(const std::string& kind, const ProcessFacts& process, const std::string& detail = {}) const {
        Change& change = add(kind, detail);
        change.pid = process.pid;
        change.program = printable(shortName(process.program));
    }

private:
    const Object& object_;
    std::vector<Change>& changes_;
};

std::set<std::uint32_t> pidsIn(const Object* object) {
    std::set<std::uint32_t> pids;
    if (object != nullptr) {
        pids.insert(object->slots.begin(), object->slots.end());
    }
    pids.erase(0);
    return pids;
}

// What was known of a process before it ended.
const ProcessFacts& knownOf(const Survey& before, const Survey& after, std::uint32_t pid) {
    const ProcessFacts& now = after.process(pid);
    const ProcessFacts& then = before.process(pid);
    return now.program.empty() && then.pid != 0 ? then : (now.pid != 0 ? now : then);
}

void compareAgents(const Survey& before, const Survey& after, const Object* was, const Object* is,
                   std::vector<Change>& changes) {
    const Object& object = is != nullptr ? *is : *was;
    const ObjectChanges told(object, changes);
    const auto old = pidsIn(was);
    const auto now = pidsIn(is);
    const bool isList = object.purpose == Purpose::RunnerList;
    for (const std::uint32_t pid : old) {
        if (!now.contains(pid)) {
            told.add(isList ? "left" : "inactive", knownOf(before, after, pid),
                     before.process(pid).isAlive ? "" : "it was dead");
        }
    }
    for (const std::uint32_t pid : now) {
        const ProcessFacts& process = knownOf(before, after, pid);
        if (!old.contains(pid)) {
            told.add(isList ? "registered" : "active", process);
        }
        const bool hasDied = !after.process(pid).isAlive && (!old.contains(pid) || before.process(pid).isAlive);
        if (hasDied) {
            told.add("died", process, isList ? "it is still listed" : "it is still recorded as active");
        }
    }
}

void compareEvents(const Object* was, const Object* is, std::vector<Change>& changes) {
    if (is == nullptr || !is->event) {
        return;
    }
    const ObjectChanges told(*is, changes);
    const bool wasSet = was != nullptr && was->event && was->event->isSignaled;
    if (is->event->isSignaled != wasSet) {
        told.add(is->event->isSignaled ? "event-set" : "event-reset");
    }
    const std::int32_t waiters = was != nullptr && was->event ? was->event->waiters : 0;
    if (is->event->waiters != waiters) {
        told.add("waiters", fmt::format("{}, before {}", is->event->waiters, waiters));
    }
}

void compareFiles(const Object* was, const Object* is, std::vector<Change>& changes) {
    if (is == nullptr) {
        ObjectChanges(*was, changes).add("object-removed", std::string(nameOf(was->purpose)));
        return;
    }
    const ObjectChanges told(*is, changes);
    if (was == nullptr || was->file.inode != is->file.inode) {
        told.add("object-created", std::string(nameOf(is->purpose)));
    } else if (was->file.size != is->file.size || was->file.mode != is->file.mode ||
               was->file.owner != is->file.owner) {
        told.add("object-changed",
                 fmt::format("size {}, mode {}, owner {}", is->file.size, modeText(is->file.mode), is->file.owner));
    }
}

void compare(const Survey& before, const Survey& after, const Object* was, const Object* is,
             std::vector<Change>& changes) {
    compareFiles(was, is, changes);
    if ((is != nullptr ? is : was)->isRecordOfAgents()) {
        compareAgents(before, after, was, is, changes);
    }
    compareEvents(was, is, changes);
}

std::string wordsFor(const Change& change) {
    static const std::map<std::string, std::string> words{{"registered", "registered"},
                                                          {"left", "left"},
                                                          {"died", "died"},
                                                          {"active", "became active"},
                                                          {"inactive", "is no longer active"},
                                                          {"event-set", "was set"},
                                                          {"event-reset", "was reset or consumed"},
                                                          {"waiters", "has another number of waiters"},
                                                          {"object-created", "was created"},
                                                          {"object-removed", "was removed"},
                                                          {"object-changed", "was changed"}};
    return words.at(change.kind);
}

}  // namespace

std::vector<Change> changesBetween(const Survey& before, const Survey& after, const Owner& owner) {
    std::vector<Change> changes;
    for (const Object& was : before.objects) {
        if (belongsTo(was, owner) && after.find(was.file.name) == nullptr) {
            compare(before, after, &was, nullptr, changes);
        }
    }
    for (const Object& is : after.objects) {
        if (belongsTo(is, owner)) {
            compare(before, after, before.find(is.file.name), &is, changes);
        }
    }
    return changes;
}

std::string textOf(const Change& change) {
    std::string text = change.product.empty() ? "" : change.product + " ";
    text += fmt::format("user {}: ", change.user);
    if (change.pid != 0) {
        text += fmt::format("agent {}{}", change.pid, change.program.empty() ? "" : " (" + change.program + ")");
    } else {
        text += change.logicalName.empty() ? change.object : change.logicalName;
    }
    text += " " + wordsFor(change);
    return change.detail.empty() ? text : text + ", " + change.detail;
}

}  // namespace vdictl
