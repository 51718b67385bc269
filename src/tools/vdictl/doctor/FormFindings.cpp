#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <utility>

#include "Report.h"
#include "doctor/Finding.h"
#include "doctor/OpenObject.h"
#include "survey/Products.h"
#include "survey/SharedFolder.h"
#include "survey/Words.h"

namespace vdictl {

namespace {

using Outcome = RepairResult::Outcome;

constexpr mode_t rightMode = 0600;

Failure failure(const Object& object, const char* call) {
    return {object.title(), call, errno, fmt::format("run as its owner, user {}, or as root", object.file.owner)};
}

RepairResult unlessInUse(const Exclusion& exclusion) {
    return {Outcome::Refused, exclusion.state() == Exclusion::State::InUse
                                  ? "a process has it open"
                                  : "the system does not tell whether a process has it open"};
}

RepairResult resize(const Object& surveyed) {
    const OpenObject object(surveyed);
    if (object.isGone()) {
        return {Outcome::Gone, {}};
    }
    const Exclusion exclusion(object.fd());
    const auto size = static_cast<off_t>(sizeOf(surveyed.purpose));
    if (object.status().st_size == size) {
        return {Outcome::Gone, {}};
    }
    if (exclusion.state() != Exclusion::State::Held) {
        return unlessInUse(exclusion);
    }
    if (ftruncate(object.fd(), size) != 0) {
        throw failure(surveyed, "ftruncate");
    }
    return {};
}

// Also for an object that its mode keeps even its owner from opening.
RepairResult setMode(const Object& surveyed) {
    const std::string path = std::string(sharedFolderPath) + "/" + surveyed.file.name;
    const Descriptor fd(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!fd.isOpen() || fstat(fd.get(), &status) != 0 || status.st_ino != surveyed.file.inode ||
        (status.st_mode & 07777U) == rightMode) {
        return {Outcome::Gone, {}};
    }
    if (chmod(fmt::format("/proc/self/fd/{}", fd.get()).c_str(), rightMode) != 0) {
        throw failure(surveyed, "chmod");
    }
    return {};
}

RepairResult setOwner(const Object& surveyed) {
    const OpenObject object(surveyed);
    if (object.isGone() || object.status().st_uid == *surveyed.user) {
        return {Outcome::Gone, {}};
    }
    const Exclusion exclusion(object.fd());
    if (exclusion.state() != Exclusion::State::Held) {
        return unlessInUse(exclusion);
    }
    if (fchown(object.fd(), *surveyed.user, static_cast<gid_t>(-1)) != 0) {
        throw failure(surveyed, "fchown");
    }
    return {};
}

void findSize(const Object& object, std::vector<Finding>& findings) {
    if (object.file.size == sizeOf(object.purpose)) {
        return;
    }
    Finding finding = findingAbout(object, "wrong-size",
                                   fmt::format("its size is {} bytes; a {} has {}", object.file.size,
                                               nameOf(object.purpose), sizeOf(object.purpose)),
                                   "it can be repaired while no process has it open");
    finding.plan = fmt::format("give it {} bytes", sizeOf(object.purpose));
    finding.repair = [object] { return resize(object); };
    findings.push_back(std::move(finding));
}

void findMode(const Object& object, std::vector<Finding>& findings) {
    if (object.file.mode == rightMode) {
        return;
    }
    Finding finding = findingAbout(
        object, "wrong-mode", fmt::format("its mode is {}, not {}", modeText(object.file.mode), modeText(rightMode)));
    finding.plan = fmt::format("set its mode to {}", modeText(rightMode));
    finding.repair = [object] { return setMode(object); };
    findings.push_back(std::move(finding));
}

void findOwner(const Object& object, std::vector<Finding>& findings) {
    if (!object.user || object.file.owner == *object.user) {
        return;
    }
    Finding finding = findingAbout(object, "wrong-owner",
                                   fmt::format("it belongs to user {} and bears a name of user {}, whose agents cannot "
                                               "use it",
                                               object.file.owner, *object.user),
                                   "find out which program made it");
    if (geteuid() == 0) {
        finding.plan = fmt::format("give it to user {}", *object.user);
        finding.repair = [object] { return setOwner(object); };
    } else {
        finding.advice += "; root can repair it";
    }
    findings.push_back(std::move(finding));
}

}  // namespace

void findForms(const Object& object, std::vector<Finding>& findings) {
    if (object.purpose == Purpose::Unknown) {
        return;
    }
    findOwner(object, findings);
    findMode(object, findings);
    findSize(object, findings);
}

}  // namespace vdictl
