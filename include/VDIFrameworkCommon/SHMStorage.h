#pragma once

#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

/// A block of bytes that the processes of one user and one client product share.
///
/// Process-shared. Which threads may use it is the implementation's to say; `SHMStorageBase` is thread-safe. The order
/// of the virtual operations is part of the interface.
class VDIFRAMEWORKCOMMON_EXPORT SHMStorage {
public:
    SHMStorage() = default;
    virtual ~SHMStorage();
    SHMStorage(const SHMStorage&) = delete;
    SHMStorage& operator=(const SHMStorage&) = delete;

    /// Overwrites the first `size` bytes of the block. False, and nothing copied, when that is not possible.
    virtual bool writeData(const void* data, unsigned int size) = 0;

    /// Copies the first `size` bytes of the block to `buffer`, the caller's. False, and nothing copied, when that is
    /// not possible.
    virtual bool readData(void* buffer, unsigned int size) = 0;

    /// Opens the block, or creates it. Errors are records; the storage is then without a block.
    virtual void initSHMStorage() = 0;
};

}  // namespace VDIFrameworkCommon
