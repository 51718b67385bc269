#pragma once

#include <string>

namespace VDIFrameworkCommon::platform {

/// Tells whether the program at a path is one that runs other programs: a shell, an interpreter, a wrapper such as
/// `env`. Who executes it says nothing about the application, and unrelated processes of the user execute it too.
bool isSharedProgram(const std::string& path);

}  // namespace VDIFrameworkCommon::platform
