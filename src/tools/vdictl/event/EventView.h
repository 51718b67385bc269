#pragma once

#include "Command.h"
#include "EventName.h"

namespace vdictl {

/// Prints an event's state as its bytes say; `exitNo` when there is no such event.
void showEvent(const EventName& name, Context& context);

}  // namespace vdictl
