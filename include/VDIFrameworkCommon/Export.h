#pragma once

/// Marks a declaration as part of the interface of libVDIFrameworkCommon; everything else is hidden.
#define VDIFRAMEWORKCOMMON_EXPORT __attribute__((visibility("default")))
