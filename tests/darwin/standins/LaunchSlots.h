#pragma once

#include <functional>

#include "platform/AppServices.h"

namespace desktop {

/// A completion that does what a function says, which a launch's own cannot: it is no more than an address. For one
/// call. There are enough for all launches that are ever under way in a test.
VDIFrameworkCommon::platform::LaunchCompletion completionFor(std::function<void(const char* error)> function);

}  // namespace desktop
