#pragma once

#include <string>

/// A desktop that does real work: a main run loop with a thread, processes that are started, found and killed. Its work
/// is that of this system's back end, whose own symbols stay inside.
namespace desktop {

/// Makes the program at a path the application of a bundle identifier. Its processes are those that this process
/// launches by that identifier. Before the first use, on one thread.
void install(const std::string& bundleId, const std::string& program);

}  // namespace desktop
