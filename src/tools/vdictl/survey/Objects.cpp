#include "survey/Objects.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <unordered_map>
#include <utility>

#include "Terminal.h"

namespace vdictl {

namespace {

using Names = std::unordered_map<std::string, KnownName>;

constexpr std::size_t longestEventName = 99;  // what the record keeps of a name

void take(Object& object, const KnownName& known) {
    object.purpose = known.purpose;
    object.guarded = known.guarded;
    object.logicalName = known.logicalName;
    object.product = known.product;
    object.user = known.user;
}

// An event's record holds its name, so that its file name can be checked. A name that fills the field was cut.
void recogniseEvent(Object& object) {
    const auto event = decodeEvent(object.file.bytes);
    if (object.file.size != sizeOf(Purpose::Event) || !event || event->name.empty()) {
        return;
    }
    if (fileNameOf(event->name) == object.file.name) {
        object.purpose = Purpose::Event;
        object.logicalName = event->name;
    } else if (event->name.size() == longestEventName) {
        object.purpose = Purpose::Event;
    }
    if (object.purpose == Purpose::Event) {
        uid_t user = 0;
        if (ownerFromName(event->name, object.product, user)) {
            object.user = user;
        }
    }
}

// Objects of the library have a number for a name.
bool hasDigestForName(const SharedFile& file) {
    return file.name.size() <= 20 && file.name.find_first_not_of("0123456789") == std::string::npos;
}

void recogniseMutex(Object& object) {
    const auto mutex = decodeMutex(object.file.bytes);
    if (object.file.size == sizeOf(Purpose::Mutex) && hasDigestForName(object.file) && mutex &&
        (mutex->state == MutexRecord::State::Free || mutex->state == MutexRecord::State::Held)) {
        object.purpose = Purpose::Mutex;
    }
}

void decode(Object& object) {
    const std::string& bytes = object.file.bytes;
    switch (object.purpose) {
        case Purpose::ActiveAgent:
            if (const auto pid = decodeActiveAgent(bytes)) {
                object.slots.push_back(*pid);
            }
            break;
        case Purpose::RunnerList:
            object.slots = decodeRunners(bytes);
            break;
        case Purpose::Guard:
        case Purpose::Mutex:
            object.mutex = decodeMutex(bytes);
            break;
        case Purpose::Event:
            object.event = decodeEvent(bytes);
            object.mutex = decodeMutex(bytes);
            break;
        default:
            break;
    }
}

Object recognise(SharedFile file, const Names& names) {
    Object object;
    object.file = std::move(file);
    const auto known = names.find(object.file.name);
    if (known != names.end()) {
        take(object, known->second);
    } else if (object.file.isRegular) {
        recogniseEvent(object);
        if (object.purpose == Purpose::Unknown) {
            recogniseMutex(object);
        }
    }
    decode(object);
    return object;
}

// The waiters of an event are called after it and numbered.
void recogniseWaiters(const Object& event, std::unordered_map<std::string, Object*>& unknown) {
    std::string name = event.event->name;
    const std::size_t length = name.size();
    const std::int32_t numbers = waiterNumbers(event.event->waiters);
    for (std::int32_t number = 0; number < numbers && !unknown.empty(); ++number) {
        name.resize(length);
        name += std::to_string(number);
        const auto found = unknown.find(fileNameOf(name));
        if (found != unknown.end()) {
            Object& waiter = *found->second;
            waiter.purpose = Purpose::Waiter;
            waiter.logicalName = name;
            waiter.eventName = event.event->name;
            waiter.waiterNumber = number;
            waiter.product = event.product;
            waiter.user = event.user;
            unknown.erase(found);
        }
    }
}

void recogniseWaiters(std::vector<Object>& objects) {
    std::unordered_map<std::string, Object*> unknown;
    for (Object& object : objects) {
        if (object.purpose == Purpose::Unknown && object.file.isRegular && hasDigestForName(object.file)) {
            unknown.emplace(object.file.name, &object);
        }
    }
    for (const Object& object : objects) {
        if (object.event && !object.event->name.empty()) {
            recogniseWaiters(object, unknown);
        }
    }
    // One whose event is not known is told by its size.
    for (const auto& [name, object] : unknown) {
        if (object->file.size == sizeOf(Purpose::Waiter)) {
            object->purpose = Purpose::Waiter;
        }
    }
}

}  // namespace

std::string Object::title() const {
    return logicalName.empty() ? "/" + printable(file.name) : printable(logicalName);
}

std::int32_t waiterNumbers(std::int32_t counted) {
    // Objects of waiters that were killed may have higher numbers than the event counts now; damaged counts mean
    // nothing.
    constexpr std::int32_t beyond = 64;
    constexpr std::int32_t most = 4096;
    return std::clamp(counted, 0, most) + beyond;
}

std::vector<Object> identify(std::vector<SharedFile> files, const std::set<uid_t>& users) {
    Names names;
    for (const uid_t user : users) {
        addKnownNames(user, names);
    }
    std::vector<Object> objects;
    objects.reserve(files.size());
    for (SharedFile& file : files) {
        objects.push_back(recognise(std::move(file), names));
    }
    recogniseWaiters(objects);
    return objects;
}

}  // namespace vdictl
