#pragma once

#include <unistd.h>

/// Other users, for tests that may change to them.
namespace users {

inline constexpr uid_t nobody = 65534;

/// Tells whether this process may become another user.
inline bool canChange() {
    return geteuid() == 0;
}

/// Becomes `user`, without any privilege, for good.
inline bool become(uid_t user) {
    return setresgid(user, user, user) == 0 && setresuid(user, user, user) == 0;
}

}  // namespace users
