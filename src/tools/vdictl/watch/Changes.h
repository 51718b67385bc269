#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "survey/Survey.h"

namespace vdictl {

/// One thing that is otherwise than it was.
struct Change {
    std::string kind;     ///< a fixed word, as "registered"
    std::string product;  ///< empty: not known
    uid_t user = 0;
    std::uint32_t pid = 0;    ///< 0: it is about no process
    std::string program;      ///< of the process; may be empty
    std::string object;       ///< "/123"
    std::string logicalName;  ///< empty: not known
    std::string detail;       ///< what is not in the others
};

/// What happened between two surveys, as far as they show it. What comes and goes between them is not seen.
std::vector<Change> changesBetween(const Survey& before, const Survey& after, const Owner& owner);

/// "OrvexHuddles user 501: runner 4711 (vdi-agent) registered"
std::string textOf(const Change& change);

}  // namespace vdictl
