#pragma once

#include <string>
#include <vector>

/// The calls that the desktop's stand-ins get, as text. Thread-safe.
namespace desktop {

void note(std::string call);

/// The calls since the last call of this function, in order.
std::vector<std::string> takeCalls();

}  // namespace desktop
