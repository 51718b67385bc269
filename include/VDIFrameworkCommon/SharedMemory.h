#pragma once

#include <string>

#include "VDIFrameworkCommon/Export.h"

/// \file
/// Shared-memory objects by logical name.
///
/// A logical name may be of any length and hold any characters. The system knows the object as "/" and the decimal
/// 64-bit digest of that name, the same in every process. Thread-safe: no state.

/// Opens the object called `name`.
///
/// \param name   logical name
/// \param oflag  the flags of `shm_open` (POSIX.1): `O_RDWR | O_CREAT` and the like
/// \param mode   permissions of an object that is made; the library's own have 0600
/// \return a descriptor that is closed on exec and belongs to the caller, or -1 with `errno` set
VDIFRAMEWORKCOMMON_EXPORT int shm_open_mac(std::string name, int oflag, int mode);

/// Removes the name; processes that have the object open keep it.
///
/// \param name  logical name
/// \return 0, or -1 with `errno` set
VDIFRAMEWORKCOMMON_EXPORT int shm_unlink_mac(std::string name);

/// Sizes a new object to `length` bytes, zero-filled. An object that has a size already keeps it: systems allow an
/// object to be sized once only, so its creator does and later openers pass by. The system promises the memory only
/// when it is touched: where shared memory is full, the first access ends the process by SIGBUS.
///
/// \param fd      descriptor of the object, open for writing
/// \param length  in bytes
/// \return 0, or -1 with `errno` set
VDIFRAMEWORKCOMMON_EXPORT int ftruncate_mac(int fd, long long length);
