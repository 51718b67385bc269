#pragma once

/// \file
/// What makes a declaration part of the library's interface.

/// Marks a declaration as part of the interface of libVDIFrameworkCommon; everything else is hidden.
#define VDIFRAMEWORKCOMMON_EXPORT __attribute__((visibility("default")))
