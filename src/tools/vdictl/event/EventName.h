#pragma once

#include <string>

#include "Owner.h"
#include "SharedObject.h"

namespace vdictl {

/// An event as it is called on the command line.
struct EventName {
    Owner owner;
    std::string name;

    /// The name as the event functions take it: as it is, or with an owner as a named condition has it.
    std::string full() const;

    /// The event's own object.
    SharedObject object() const;

    /// "event 'x' (/dev/shm/123)"
    std::string description() const;
};

}  // namespace vdictl
