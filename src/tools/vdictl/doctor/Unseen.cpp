#include "doctor/Unseen.h"

#include <fmt/format.h>

#include <algorithm>

#include "doctor/OpenObject.h"
#include "survey/Namespaces.h"

namespace vdictl {

bool isUsedUnseen(const std::set<pid_t>& users, int fd) {
    return users.empty() && Exclusion(fd).state() == Exclusion::State::InUse;
}

std::string whyNumbersMeanNothing(const std::set<pid_t>& users, int fd) {
    const auto apart = std::find_if(users.begin(), users.end(), countsOnItsOwn);
    if (apart != users.end()) {
        return fmt::format("process {} uses it and counts processes on its own", *apart);
    }
    return isUsedUnseen(users, fd) ? "processes that cannot be seen from here use it" : "";
}

}  // namespace vdictl
