#pragma once

#include <optional>

#include "EventName.h"

namespace vdictl {

// Work on an event through the library, as agents do. An event that does not exist is made. What another process has
// damaged may hold an operation up for good; it is given up then, with a `Failure`.

void setEvent(const EventName& name);

void resetEvent(const EventName& name);

/// Waits until this process gets the signal.
///
/// \param timeout  milliseconds
/// \return an exit code: `exitNo` when there was none in time; 128 and the number of a signal that asked to stop,
/// after the waiting was ended properly
int waitForEvent(const EventName& name, std::optional<unsigned int> timeout);

}  // namespace vdictl
