#pragma once

#include <string>

#include "VDIFrameworkCommon/Export.h"

/// Shared-memory objects by logical name.
///
/// A logical name may be of any length and hold any characters. The system knows the object as "/" and the decimal
/// 64-bit digest of that name, the same in every process. Thread-safe: no state.

/// Opens the object called `name` with the flags and the mode of `shm_open` (POSIX.1).
///
/// \return a descriptor that is closed on exec and belongs to the caller, or -1 with `errno` set
VDIFRAMEWORKCOMMON_EXPORT int shm_open_mac(std::string name, int oflag, int mode);

/// Removes the name; processes that have the object open keep it.
///
/// \return 0, or -1 with `errno` set
VDIFRAMEWORKCOMMON_EXPORT int shm_unlink_mac(std::string name);

/// Sizes a new object to `length` bytes, zero-filled. An object that has a size already keeps it: systems allow an
/// object to be sized once only, so its creator does and later openers pass by.
///
/// \return 0, or -1 with `errno` set
VDIFRAMEWORKCOMMON_EXPORT int ftruncate_mac(int fd, long long length);
