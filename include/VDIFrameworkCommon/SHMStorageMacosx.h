#pragma once

#include <string>

#include "VDIFrameworkCommon/Export.h"
#include "VDIFrameworkCommon/SHMStorageBase.h"

namespace VDIFrameworkCommon {

/// A storage in a POSIX shared-memory object.
///
/// The object is made by the first process that uses the name, filled with zeros, and outlives every process. User id
/// and client product are read when the guard's name is formed, at construction, and again when the block is opened.
/// Thread-safe as its base is, except for `initSHMStorage` and destruction; owns its mapping and its descriptor.
class VDIFRAMEWORKCOMMON_EXPORT SHMStorageMacosx : public SHMStorageBase {
public:
    /// Makes the guard at once and the block when it is first used.
    ///
    /// \param name  of any length
    explicit SHMStorageMacosx(const std::string& name);

    /// Unmaps the block and closes the descriptor, which is 0 for a storage that was never used. Failures are error
    /// records.
    ~SHMStorageMacosx() override;

    /// Opens or creates, sizes and maps the block. `init` and the transfers call it once; called again it opens a
    /// second mapping and loses the first.
    void initSHMStorage() override;

private:
    void discard(const std::string& logicalName, bool created);

    int descriptor_ = 0;
};

}  // namespace VDIFrameworkCommon
