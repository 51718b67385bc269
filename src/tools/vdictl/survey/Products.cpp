#include "survey/Products.h"

#include <VDIFrameworkCommon/MacosxEvent.h>
#include <VDIFrameworkCommon/VDIClientInfo.h>

#include <charconv>
#include <iterator>
#include <system_error>
#include <utility>

#include "CityHash64.h"
#include "SharedRecords.h"

namespace vdictl {

namespace {

using namespace VDIFrameworkCommon;

constexpr std::string_view guardPrefix = "B3AA2F75-88F6-41D3-A399-B58B79308164_";
constexpr std::string_view roleEvent = "_VDIAgentRole";

struct StorageName {
    std::string_view name;
    Purpose purpose;
};
constexpr StorageName storageNames[] = {{"TavixUniversalActiveVirtualChannelAgentRecorder", Purpose::ActiveAgent},
                                        {"TavixCrewsActiveVirtualChannelAgentRecorder", Purpose::ActiveAgent},
                                        {"TavixHuddleActiveVirtualChannelAgentRecorder", Purpose::ActiveAgent},
                                        {"TavixUniversalVDIRunnerCounter", Purpose::RunnerList},
                                        {"TavixCrewsVDIRunnerCounter", Purpose::RunnerList},
                                        {"TavixHuddleVDIRunnerCounter", Purpose::RunnerList}};

const Product& productOf(std::size_t client) {
    return client == VDIClientType::OrvexCrews ? products[1] : products[client == VDIClientType::OrvexHuddles ? 2 : 0];
}

bool startsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

}  // namespace

std::string_view nameOf(Purpose purpose) {
    constexpr std::string_view names[] = {"unknown", "active agent", "runner list", "guard",
                                          "mutex",   "event",        "waiter"};
    return names[static_cast<std::size_t>(purpose)];
}

std::size_t sizeOf(Purpose purpose) {
    switch (purpose) {
        case Purpose::ActiveAgent:
        case Purpose::RunnerList:
            return records::storageSize;
        case Purpose::Guard:
        case Purpose::Mutex:
            return records::namedMutexSize;
        case Purpose::Event:
            return sizeof(t_HANDLE);
        case Purpose::Waiter:
            return sizeof(t_list_element);
        default:
            return 0;
    }
}

std::string fileNameOf(std::string_view logicalName) {
    return std::to_string(cityHash64(logicalName));
}

std::string guardNameOf(std::string_view storage, uid_t user, const Product& product) {
    std::string name = std::to_string(user);
    name += product.prefix;
    const std::size_t before = name.size();
    name += guardPrefix;
    name += storage.substr(before);
    return name + "_mutex";
}

void addKnownNames(uid_t user, std::unordered_map<std::string, KnownName>& names) {
    const std::string id = std::to_string(user);
    const auto add = [&](KnownName known) { names.emplace(fileNameOf(known.logicalName), std::move(known)); };
    // Every product with every storage: a host that changes its product in between mixes them.
    for (const Product& product : products) {
        const std::string prefix = id + std::string(product.prefix);
        for (const StorageName& storage : storageNames) {
            const std::string name(storage.name);
            add({storage.purpose, Purpose::Unknown, prefix + name, &product, user});
            add({Purpose::Guard, storage.purpose, guardNameOf(prefix + name, user, product), &product, user});
        }
    }
    for (std::size_t client = 0; client < std::size(VDIClientTypeNames); ++client) {
        const std::string event = id + "_" + std::string(VDIClientTypeNames[client]) + std::string(roleEvent);
        add({Purpose::Event, Purpose::Unknown, event + "_event", &productOf(client), user});
    }
}

bool ownerFromName(std::string_view logicalName, const Product*& product, uid_t& user) {
    const char* const end = logicalName.data() + logicalName.size();
    uid_t id = 0;
    const auto [stop, error] = std::from_chars(logicalName.data(), end, id);
    if (error != std::errc()) {
        return false;
    }
    const std::string_view rest(stop, static_cast<std::size_t>(end - stop));
    const Product* found = nullptr;
    for (const Product& candidate : products) {
        found = startsWith(rest, candidate.prefix) ? &candidate : found;
    }
    for (std::size_t client = 0; client < std::size(VDIClientTypeNames); ++client) {
        const std::string start = "_" + std::string(VDIClientTypeNames[client]) + std::string(roleEvent);
        found = startsWith(rest, start) ? &productOf(client) : found;
    }
    if (found != nullptr) {
        product = found;
        user = id;
    }
    return found != nullptr;
}

}  // namespace vdictl
