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
    ///
    /// \param name  of any length; the user's id and the product's prefix are added when the objects are opened
    explicit SHMStorageBase(const std::string& name);
    ~SHMStorageBase() override;

    /// Creates the guard and frees its shared mutex, which a process that died may have left locked.
    void createNamedMutex();

    /// Opens or creates the block, unless that was tried before: a failure is not tried again.
    void init();

    /// Copies `size` bytes, 0 to 512, from `data` to the start of the block. False for a larger size, with an error
    /// record and nothing copied, and for a storage whose block could not be opened.
    bool writeData(const void* data, unsigned int size) override;

    /// Copies `size` bytes, 0 to 512, from the start of the block to `buffer`. False as for `writeData`.
    bool readData(void* buffer, unsigned int size) override;

protected:
    /// The name as it was given. Immutable.
    const std::string& name() const { return name_; }

    /// The guard. Its in-process lock is held while the mapping is looked at or changed.
    NamedMutex& guard() { return guard_; }

    /// The mapping of the block, 512 bytes; null without one. The platform part's to unmap.
    void* data() const { return data_; }

    /// Notes the mapping that the transfers use from now on; null: none. It stays the caller's.
    void setData(void* data) { data_ = data; }

private:
    bool hasBlock() const;

    std::string name_;
    NamedMutex guard_;
    void* data_ = nullptr;
    std::atomic<bool> initialised_{false};
    std::string writeRecord_;  // what each transfer records
    std::string readRecord_;
};

}  // namespace VDIFrameworkCommon
