#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "survey/Survey.h"

namespace vdictl {

/// An id in a record of agents, and what is known of its process.
struct Agent {
    const Object* storage = nullptr;
    std::size_t slot = 0;
    std::uint32_t pid = 0;  ///< as recorded; the process may have another number here
    const ProcessFacts* process = nullptr;
    Reuse reuse = Reuse::None;

    /// It may be one of those who count on their own, and live.
    bool isUnknown() const { return !process->isAlive && reuse == Reuse::Unknown; }
};

/// What one user's agents of one product share.
struct Group {
    uid_t user = 0;
    const Product* product = nullptr;  ///< null: of these objects no product is known
    std::optional<Agent> active;
    std::vector<Agent> runners;
    std::vector<const Object*> objects;
};

/// The owner's objects by user and product; what has none comes last, in a group without product.
std::vector<Group> groupsOf(const Survey& survey, const Owner& owner);

}  // namespace vdictl
