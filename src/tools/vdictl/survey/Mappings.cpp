#include "survey/Mappings.h"

#include <fmt/format.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstddef>

#include "survey/ProcFile.h"
#include "survey/Processes.h"

namespace vdictl {

namespace {

constexpr std::string_view removedMark = " (deleted)";

// Behind the device: "4711     /dev/shm/name (deleted)".
Mapping parseMapping(std::string_view text, pid_t pid) {
    Mapping mapping;
    mapping.pid = pid;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), mapping.inode);
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
    const std::size_t slash = text.rfind('/');
    if (slash != std::string_view::npos) {
        text.remove_prefix(slash + 1);
        mapping.isRemoved =
            text.size() > removedMark.size() && text.substr(text.size() - removedMark.size()) == removedMark;
        text.remove_suffix(mapping.isRemoved ? removedMark.size() : 0);
        mapping.name = text;
    }
    return mapping;
}

}  // namespace

std::set<pid_t> Mappings::usersOf(ino_t inode) const {
    const auto found = users_.find(inode);
    return found == users_.end() ? std::set<pid_t>() : found->second;
}

int Mappings::timesMapped(const std::string& name) const {
    const auto found = times_.find(name);
    return found == times_.end() ? 0 : found->second;
}

void Mappings::index() {
    users_.clear();
    times_.clear();
    for (const Mapping& mapping : all) {
        users_[mapping.inode].insert(mapping.pid);
        ++times_[mapping.name];
    }
}

void parseMappings(std::string_view text, dev_t device, pid_t pid, std::vector<Mapping>& mappings) {
    const std::string key = fmt::format(" {:02x}:{:02x} ", major(device), minor(device));
    for (std::size_t at = text.find(key); at != std::string_view::npos; at = text.find(key, at)) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        at += key.size();
        mappings.push_back(parseMapping(text.substr(at, end - at), pid));
        at = end;
    }
}

bool readMappings(pid_t pid, dev_t device, std::vector<Mapping>& mappings) {
    const std::string text = readProcFile(pid, "maps");
    if (text.empty() && errno != 0) {
        return false;
    }
    parseMappings(text, device, pid, mappings);
    return true;
}

Mappings readMappings(dev_t device) {
    Mappings mappings;
    const pid_t self = getpid();
    for (const pid_t pid : allProcesses()) {
        if (pid != self && !readMappings(pid, device, mappings.all) && errno != ENOENT && errno != ESRCH) {
            mappings.unreadable.insert(pid);
            // The first process starts the others and is no agent; systems may hide it even from root.
            mappings.unreadableUsers.merge(pid == 1 ? std::set<uid_t>() : usersOf(pid));
        }
    }
    mappings.areRead = true;
    mappings.index();
    return mappings;
}

}  // namespace vdictl
