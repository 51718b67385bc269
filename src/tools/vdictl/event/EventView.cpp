#include "EventView.h"

#include <sys/stat.h>

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "Json.h"
#include "Report.h"
#include "SharedObject.h"
#include "Table.h"
#include "survey/Records.h"

namespace vdictl {

namespace {

// Numbers above the count are left over from waiters that died; they are few.
constexpr int mostWaiterObjects = 1024;
constexpr int gapBetweenNumbers = 16;

std::vector<int> waiterObjectsOf(const std::string& eventObject) {
    std::vector<int> numbers;
    for (int number = 0, gap = 0; number < mostWaiterObjects && gap < gapBetweenNumbers; ++number) {
        const bool exists = SharedObject(eventObject + std::to_string(number)).exists();
        gap = exists ? 0 : gap + 1;
        if (exists) {
            numbers.push_back(number);
        }
    }
    return numbers;
}

bool mayBeHeldApart(const MutexRecord& mutex, const struct stat& object) {
    return mutex.state == MutexRecord::State::Held && mayCountOnItsOwn(mutex.owner, object);
}

nlohmann::ordered_json lockFacts(const MutexRecord& mutex) {
    switch (mutex.state) {
        case MutexRecord::State::Free:
            return {{"state", "free"}};
        case MutexRecord::State::Held:
            return {{"state", "held"}, {"thread", mutex.owner}, {"alive", isThreadAlive(mutex.owner)}};
        case MutexRecord::State::Blank:
            return {{"state", "never initialised"}};
        default:
            return {{"state", "damaged"}};
    }
}

nlohmann::ordered_json factsOf(const EventName& name, const ObjectContent& content) {
    const SharedObject object = name.object();
    nlohmann::ordered_json facts{{"name", name.full()},
                                 {"logicalName", object.logicalName},
                                 {"objectName", object.systemName},
                                 {"exists", true},
                                 {"size", content.status.st_size},
                                 {"owner", content.status.st_uid},
                                 {"mode", fmt::format("{:04o}", content.status.st_mode & 07777U)}};
    const auto event = decodeEvent(content.bytes);
    facts["isEvent"] = event && event->isSound;
    if (event) {
        facts["signaled"] = event->isSignaled;
        facts["waiters"] = event->waiters;
        facts["waiterObjects"] = waiterObjectsOf(event->name);
        facts["lock"] = lockFacts(event->mutex);
        if (mayBeHeldApart(event->mutex, content.status)) {
            facts["lock"]["alive"] = nullptr;
        }
        facts["storedName"] = printable(event->name);
    }
    return facts;
}

std::string describeLock(const MutexRecord& mutex, const struct stat& object) {
    if (mayBeHeldApart(mutex, object)) {
        return "held by " + describeThreadApart(mutex.owner);
    }
    if (mutex.state == MutexRecord::State::Held) {
        return "held by " + describeThread(mutex.owner);
    }
    return lockFacts(mutex)["state"];
}

Style styleOf(const MutexRecord& mutex, const struct stat& object) {
    const bool isDead = mutex.state == MutexRecord::State::Held && !isThreadAlive(mutex.owner) &&
                        !mayCountOnItsOwn(mutex.owner, object);
    return isDead || mutex.state == MutexRecord::State::Damaged ? Style::Bad : Style::Plain;
}

void print(const EventName& name, const ObjectContent& content, const Terminal& terminal) {
    Table table({{"EVENT"}, {printable(name.full()), Table::Align::Left, Table::Shrink::Name}});
    const SharedObject object = name.object();
    table.add({"object", object.systemName});
    table.add({"size", std::to_string(content.status.st_size)});
    table.add({"owner", std::to_string(content.status.st_uid)});
    table.add({"mode", fmt::format("{:04o}", content.status.st_mode & 07777U)});
    if (const auto event = decodeEvent(content.bytes)) {
        table.add({"signaled", event->isSignaled ? Table::Cell("yes", Style::Good) : Table::Cell("no")});
        table.add({"waiters", std::to_string(event->waiters)});
        table.add({"waiter objects", fmt::format("{}", fmt::join(waiterObjectsOf(event->name), " "))});
        table.add({"lock", {describeLock(event->mutex, content.status), styleOf(event->mutex, content.status)}});
        table.add({"stored name", printable(event->name)});
        if (!event->isSound) {
            table.add({"finding", {"not every byte is such as the library writes", Style::Bad}});
        }
    } else {
        table.add({"finding",
                   {"too small for an event: " +
                        describeBytes(content.bytes, static_cast<std::uint64_t>(content.status.st_size)),
                    Style::Bad}});
    }
    vdictl::print(table.text(terminal));
}

}  // namespace

void showEvent(const EventName& name, Context& context) {
    const auto content = lookAt(name.object(), sizeof(VDIFrameworkCommon::t_HANDLE));
    if (!content) {
        if (context.json) {
            printJson({{"name", name.full()},
                       {"logicalName", name.object().logicalName},
                       {"objectName", name.object().systemName},
                       {"exists", false}});
        } else {
            complain(name.description() + ": no such event; 'vdictl status' lists what there is");
        }
        context.exitCode = exitNo;
    } else if (context.json) {
        printJson(factsOf(name, *content));
    } else {
        print(name, *content, context.terminal);
    }
}

}  // namespace vdictl
