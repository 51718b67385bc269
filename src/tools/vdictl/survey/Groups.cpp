#include "survey/Groups.h"

#include <map>
#include <string_view>
#include <utility>

#include "Objects.h"
#include "Products.h"

namespace vdictl {

namespace {

void addAgents(const Survey& survey, const Object& object, Group& group) {
    for (std::size_t slot = 0; slot < object.slots.size(); ++slot) {
        const std::uint32_t pid = object.slots[slot];
        if (pid == 0) {
            continue;
        }
        const Agent agent{&object, slot, pid, &survey.agent(object, pid), survey.reuseOf(object, pid)};
        if (object.purpose == Purpose::RunnerList) {
            group.runners.push_back(agent);
        } else if (!group.active) {
            group.active = agent;
        }
    }
}

}  // namespace

std::vector<Group> groupsOf(const Survey& survey, const Owner& owner) {
    std::map<std::pair<uid_t, std::string_view>, Group> groups;
    Group others;
    for (const Object& object : survey.objects) {
        if (!belongsTo(object, owner)) {
            continue;
        }
        Group* group = &others;
        if (object.product != nullptr && object.user) {
            group = &groups[{*object.user, object.product->name}];
            group->user = *object.user;
            group->product = object.product;
        }
        group->objects.push_back(&object);
        addAgents(survey, object, *group);
    }
    std::vector<Group> result;
    result.reserve(groups.size() + 1);
    for (auto& [key, group] : groups) {
        result.push_back(std::move(group));
    }
    if (!others.objects.empty()) {
        result.push_back(std::move(others));
    }
    return result;
}

}  // namespace vdictl
