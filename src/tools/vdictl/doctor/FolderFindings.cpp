#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <unordered_map>

#include "Owner.h"
#include "doctor/Finding.h"
#include "survey/Mappings.h"
#include "survey/Objects.h"
#include "survey/ProcFile.h"
#include "survey/Processes.h"
#include "survey/Products.h"
#include "survey/SharedFolder.h"
#include "survey/Words.h"

namespace vdictl {

namespace {

Finding findingAboutFolder(const std::string& kind, const std::string& text, const std::string& advice) {
    Finding finding;
    finding.kind = kind;
    finding.object = sharedFolderPath;
    finding.text = text;
    finding.advice = advice;
    return finding;
}

void findFull(const FolderSpace& space, std::vector<Finding>& findings) {
    constexpr std::uint64_t lastPart = 20;  // one twentieth
    const bool isFull = space.bytes != 0 && space.freeBytes < space.bytes / lastPart;
    const bool hasNoFiles = space.files != 0 && space.freeFiles < space.files / lastPart;
    if (isFull || hasNoFiles) {
        findings.push_back(findingAboutFolder(
            "folder-full",
            fmt::format("{} is nearly full: less than 5 % of its {} {} are free. An "
                        "agent that writes to a new object may be killed by SIGBUS",
                        sharedFolderPath, isFull ? space.bytes : space.files, isFull ? "bytes" : "files"),
            "remove what is not needed, or remount it with a larger size"));
    }
}

pid_t parentOf(pid_t pid) {
    const std::string stat = readProcFile(pid, "stat");
    std::istringstream rest(stat.substr(std::min(stat.rfind(')'), stat.size() - 1) + 1));
    std::string state;
    pid_t parent = 0;
    return rest >> state >> parent ? parent : 0;
}

// Whoever started this program, directly or not, and sees another folder.
std::optional<pid_t> ancestorElsewhere(dev_t device) {
    pid_t pid = getppid();
    while (pid > 0) {
        struct stat theirs {};
        const std::string path = procPath(pid, "root") + sharedFolderPath;
        if (stat(path.c_str(), &theirs) == 0 && theirs.st_dev != device) {
            return pid;
        }
        pid = parentOf(pid);
    }
    return std::nullopt;
}

void findPrivate(const FolderSpace& space, std::vector<Finding>& findings) {
    if (const auto pid = ancestorElsewhere(space.device)) {
        findings.push_back(findingAboutFolder(
            "folder-private",
            fmt::format(
                "this {} is private: process {}, which this program descends from, has another one. Agents that "
                "were started there share nothing with those that were started here",
                sharedFolderPath, processText(factsAbout(static_cast<std::uint32_t>(*pid)))),
            "run this program, and the agents, outside of the sandbox or service that makes it private"));
    }
}

}  // namespace

void findFolder(const Survey& survey, std::vector<Finding>& findings) {
    findFull(survey.space, findings);
    findPrivate(survey.space, findings);
}

void findRemoved(const Survey& survey, const Owner& owner, std::vector<Finding>& findings) {
    std::set<uid_t> users{owner.userOrSelf(), geteuid()};
    for (const Object& object : survey.objects) {
        users.insert(object.file.owner);
    }
    for (const Mapping& mapping : survey.mappings.all) {
        users.merge(mapping.isRemoved ? usersOf(mapping.pid) : std::set<uid_t>());
    }
    std::unordered_map<std::string, KnownName> names;
    for (const uid_t user : users) {
        addKnownNames(user, names);
    }
    std::map<pid_t, std::set<std::string>> removed;
    for (const Mapping& mapping : survey.mappings.all) {
        const auto known = mapping.isRemoved ? names.find(mapping.name) : names.end();
        if (known != names.end() && (!owner.user || known->second.user == *owner.user) &&
            (!owner.client || known->second.product->prefix == clientPrefix(*owner.client))) {
            removed[mapping.pid].insert(known->second.logicalName);
        }
    }
    for (const auto& [pid, objects] : removed) {
        findings.push_back(findingAboutFolder(
            "removed-in-use",
            fmt::format(
                "{} objects, '{}' among them, were removed while process {} uses them: agents that start now do "
                "not meet it",
                objects.size(), *objects.begin(), processText(factsAbout(static_cast<std::uint32_t>(pid)))),
            "restart this agent; if that happens when its user logs out, set RemoveIPC=no in logind.conf or let the "
            "user linger"));
    }
}

}  // namespace vdictl
