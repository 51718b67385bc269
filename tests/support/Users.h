#pragma once

#include <unistd.h>

#include <fstream>

/// Other users, for tests that may change to them.
namespace users {

inline constexpr uid_t nobody = 65534;

/// Tells whether this process may become another user. The superuser of a user namespace may be the only user there.
inline bool canChange() {
    std::ifstream mappings("/proc/self/uid_map");
    unsigned long first = 0;
    unsigned long outside = 0;
    unsigned long count = 0;
    while (geteuid() == 0 && mappings >> first >> outside >> count) {
        if (first <= nobody && nobody - first < count) {
            return true;
        }
    }
    return false;
}

/// Becomes `user`, without any privilege, for good.
inline bool become(uid_t user) {
    return setresgid(user, user, user) == 0 && setresuid(user, user, user) == 0;
}

/// Tells whether this process can be refused what the superuser may do: it is another user, or may become one.
inline bool canBeRefused() {
    return geteuid() != 0 || canChange();
}

/// Why a test of a refusal is skipped otherwise.
inline constexpr const char* noRefusal = "the superuser is refused nothing, and there is no other user";

}  // namespace users
