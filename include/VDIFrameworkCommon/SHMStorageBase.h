#pragma once

#include <atomic>
#include <string>

#include "VDIFrameworkCommon/Export.h"
#include "VDIFrameworkCommon/NamedMutex.h"
#include "VDIFrameworkCommon/SHMStorage.h"

namespace VDIFrameworkCommon {

/// The portable part of a storage of 512 bytes: its name, its guard, the size limit and the transfers.
///
/// Thread-safe within a process. Between processes, transfers are not excluded from each other: one is a single copy of
/// at most 512 bytes. The guard's shared mutex is made and freed at construction and never taken.
class VDIFRAMEWORKCOMMON_EXPORT SHMStorageBase : public SHMStorage {
public:
    /// Creates the guard at once. The block is opened by `init` or by the first transfer.
    explicit SHMStorageBase(const std::string& name);
    ~SHMStorageBase() override;

    /// Creates the guard and frees its shared mutex, which a process that died may have left locked.
    void createNamedMutex();

    /// Opens or creates the block, unless that was tried before.
    void init();

    /// Copies `size` bytes, 0 to 512, from `data` to the start of the block. False for a larger size, with an error
    /// record and nothing copied, and for a storage whose block could not be opened.
    bool writeData(const void* data, unsigned int size) override;

    /// Copies `size` bytes, 0 to 512, from the start of the block to `buffer`. False as for `writeData`.
    bool readData(void* buffer, unsigned int size) override;

protected:
    /// Name, guard and mapping, for the platform part; everything but the name is guarded by the guard's in-process
    /// lock.
    const std::string& name() const { return name_; }
    NamedMutex& guard() { return guard_; }
    void* data() const { return data_; }
    void setData(void* data) { data_ = data; }

private:
    bool hasBlock() const;

    std::string name_;
    NamedMutex guard_;
    void* data_ = nullptr;
    std::atomic<bool> initialised_{false};
};

}  // namespace VDIFrameworkCommon
