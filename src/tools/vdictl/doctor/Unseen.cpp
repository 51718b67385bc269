#include "doctor/Unseen.h"

#include <fmt/format.h>

#include <algorithm>

#include "Report.h"
#include "doctor/OpenObject.h"
#include "survey/Namespaces.h"

namespace vdictl {

bool isUsedUnseen(const std::set<pid_t>& users, int fd) {
    return users.empty() && Exclusion(fd).state() == Exclusion::State::InUse;
}

bool mayBeUsedUnseen(const std::set<pid_t>& users, const Object& object) {
    if (seesAllUsersOfFolder() || !users.empty()) {
        return !seesAllUsersOfFolder();
    }
    try {
        const OpenObject opened(object);
        return !opened.isGone() && isUsedUnseen(users, opened.fd());
    } catch (const Failure&) {
        return true;
    }
}

std::string whyNumbersMeanNothing(const std::set<pid_t>& users, int fd) {
    const auto apart = std::find_if(users.begin(), users.end(), countsOnItsOwn);
    if (apart != users.end()) {
        return fmt::format("process {} uses it and counts processes on its own", *apart);
    }
    if (isUsedUnseen(users, fd)) {
        return "processes that cannot be seen from here use it";
    }
    return users.empty() || seesAllUsersOfFolder()
               ? ""
               : "processes outside of this container or sandbox may use it, too; run this program there, or when "
                 "nobody uses it";
}

}  // namespace vdictl
