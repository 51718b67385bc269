#include "survey/SurveyJson.h"

#include <set>
#include <utility>

#include "Mappings.h"
#include "Objects.h"
#include "Processes.h"
#include "Products.h"
#include "SharedFolder.h"
#include "Terminal.h"
#include "survey/Groups.h"
#include "survey/Words.h"

namespace vdictl {

namespace {

using Json = nlohmann::ordered_json;

Json agentJson(const Agent& agent) {
    const ProcessFacts& process = *agent.process;
    Json json;
    json["pid"] = agent.pid;
    json["pidHere"] = process.isAlive ? Json(process.pid) : Json();
    json["alive"] = agent.isUnknown() ? Json() : Json(process.isAlive);
    json["reused"] = textOrNull(std::string(nameOf(agent.reuse)));
    json["started"] = process.started ? Json(utcTime(*process.started)) : Json();
    json["program"] = textOrNull(printable(process.program));
    return json;
}

Json lockJson(const Survey& survey, const Object& object) {
    Json json;
    json["state"] = nameOf(object.mutex->state);
    const auto owner = survey.lockOwner(object);
    json["ownerThread"] = owner ? Json(owner->thread) : Json();
    json["ownerProcess"] = owner && owner->process ? Json(*owner->process) : Json();
    json["ownerDead"] = owner ? Json(owner->isDead) : Json();
    return json;
}

Json pidsJson(const std::set<pid_t>& pids) {
    Json json = Json::array();
    for (const pid_t pid : pids) {
        json.push_back(pid);
    }
    return json;
}

void addContent(const Survey& survey, const Object& object, Json& json) {
    if (object.isRecordOfAgents()) {
        json["pids"] = Json::array();
        for (const std::uint32_t pid : object.slots) {
            if (pid != 0) {
                json["pids"].push_back(pid);
            }
        }
    }
    if (object.event) {
        const auto live = survey.liveWaiters(object);
        json["signalled"] = object.event->isSignaled;
        json["waitersCounted"] = object.event->waiters;
        json["waitersLive"] = live ? Json(*live) : Json();
        json["sound"] = object.event->isSound;
    }
    if (object.mutex) {
        json["lock"] = lockJson(survey, object);
    }
    if (object.purpose == Purpose::Waiter) {
        json["event"] = textOrNull(printable(object.eventName));
        json["number"] = object.waiterNumber ? Json(*object.waiterNumber) : Json();
    }
    if (object.purpose == Purpose::Unknown) {
        json["looksLike"] = contentText(survey, object);
    }
}

Json objectJson(const Survey& survey, const Object& object) {
    Json json;
    json["name"] = "/" + printable(object.file.name);
    json["kind"] = nameOf(object.purpose);
    json["guards"] = object.purpose == Purpose::Guard ? Json(nameOf(object.guarded)) : Json();
    json["logicalName"] = textOrNull(printable(object.logicalName));
    json["size"] = object.file.size;
    json["owner"] = object.file.owner;
    json["mode"] = modeText(object.file.mode);
    json["modified"] = utcTime(object.file.modified);
    json["ageSeconds"] = survey.time.tv_sec - object.file.modified.tv_sec;
    json["error"] = object.file.error != 0 ? Json(object.file.error) : Json();
    json["mappedBy"] = survey.mappings.areRead ? pidsJson(survey.usersOf(object)) : Json();
    addContent(survey, object, json);
    return json;
}

Json groupJson(const Survey& survey, const Group& group) {
    Json json;
    json["product"] = group.product->name;
    json["user"] = group.user;
    json["active"] = group.active ? agentJson(*group.active) : Json();
    json["runners"] = Json::array();
    for (const Agent& runner : group.runners) {
        Json entry;
        entry["slot"] = runner.slot;
        entry.update(agentJson(runner));
        json["runners"].push_back(std::move(entry));
    }
    json["objects"] = Json::array();
    for (const Object* const object : group.objects) {
        json["objects"].push_back(objectJson(survey, *object));
    }
    return json;
}

}  // namespace

Json textOrNull(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

Json surveyJson(const Survey& survey, const Owner& owner) {
    Json json;
    json["time"] = utcTime(survey.time);
    json["folder"] = {{"path", sharedFolderPath},
                      {"bytes", survey.space.bytes},
                      {"freeBytes", survey.space.freeBytes},
                      {"files", survey.space.files},
                      {"freeFiles", survey.space.freeFiles}};
    json["products"] = Json::array();
    json["others"] = Json::array();
    for (const Group& group : groupsOf(survey, owner)) {
        if (group.product != nullptr) {
            json["products"].push_back(groupJson(survey, group));
        } else {
            for (const Object* const object : group.objects) {
                json["others"].push_back(objectJson(survey, *object));
            }
        }
    }
    return json;
}

}  // namespace vdictl
