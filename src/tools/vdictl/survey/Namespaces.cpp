#include "survey/Namespaces.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <sstream>
#include <string>

#include "survey/Processes.h"
#include "survey/SharedFolder.h"

namespace vdictl {

namespace {

std::string namespaceOf(const std::string& process) {
    std::array<char, 64> text{};
    const std::string path = "/proc/" + process + "/ns/pid";
    const ssize_t length = readlink(path.c_str(), text.data(), text.size());
    return {text.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}

// The one that the system begins with has a fixed number, and contains all others.
bool isInFirstNamespace() {
    constexpr ino_t first = 0xEFFFFFFCU;
    struct stat own {};
    return stat("/proc/self/ns/pid", &own) == 0 && own.st_ino == first;
}

bool wasFolderMadeWithin() {
    constexpr unsigned int birth = STATX_BTIME;
    struct statx folder {};
    const auto begin = factsAbout(1).started;
    return begin && statx(AT_FDCWD, sharedFolderPath, 0, birth, &folder) == 0 && (folder.stx_mask & birth) != 0 &&
           isLater({folder.stx_btime.tv_sec, folder.stx_btime.tv_nsec}, *begin);
}

}  // namespace

std::optional<pid_t> ownNumberOf(pid_t pid) {
    std::istringstream numbers(statusField(pid, "NSpid"));
    std::optional<pid_t> own;
    for (pid_t number = 0; numbers >> number;) {
        own = number;
    }
    return own;
}

bool seesAllUsersOfFolder() {
    static const bool seesAll = isInFirstNamespace() || wasFolderMadeWithin();
    return seesAll;
}

bool countsOnItsOwn(pid_t pid) {
    const std::string theirs = namespaceOf(std::to_string(pid));
    return !theirs.empty() && theirs != namespaceOf("self");
}

}  // namespace vdictl
