#include "VDIFrameworkCommon/SHMStorageBase.h"

#include <sys/mman.h>

#include <cstring>

#include "Log.h"
#include "SharedRecords.h"
#include "VDIFrameworkCommon/Mutex.h"

namespace VDIFrameworkCommon {

namespace {

const log::Source logSource("SHMStorageBase", __FILE__);

constexpr const char* guardPrefix = "B3AA2F75-88F6-41D3-A399-B58B79308164_";

}  // namespace

SHMStorage::~SHMStorage() = default;

SHMStorageBase::SHMStorageBase(const std::string& name)
    : name_(name),
      writeRecord_("WriteData to SHMStorageBase: " + name),
      readRecord_("ReadData from SHMStorageBase: " + name) {
    createNamedMutex();
}

SHMStorageBase::~SHMStorageBase() = default;

void SHMStorageBase::createNamedMutex() {
    const std::string guardName = guardPrefix + name_;
    if (guard_.create(guardName.c_str())) {
        VDI_LOG(DPL_INFO, "CreateMutex for SHMStorageBase start succeed: ", guardName);
    } else {
        VDI_LOG(DPL_ERROR, "CreateMutex for SHMStorageBase start failed: ", guardName);
    }
    // Unlocked though nobody here locked it, and also after a failure: the shared mutex must be free whatever happened
    // before.
    guard_.unlock();
}

// Marked whatever the outcome, so a failed initialisation is not tried again. Two threads may both find the mark
// missing and both initialise; the second one's mapping is then the one in use.
void SHMStorageBase::init() {
    if (!initialised_.load()) {
        initSHMStorage();
        initialised_.exchange(true);
    }
}

bool SHMStorageBase::writeData(const void* data, unsigned int size) {
    init();
    if (size > records::storageSize) {
        VDI_LOG(DPL_ERROR, "data size is too large, can not write");
        return false;
    }
    VDI_LOG_KEPT(DPL_TRACE, writeRecord_);
    const ScopedLock lock(guard_);
    if (!hasBlock()) {
        return false;
    }
    if (size != 0) {
        std::memcpy(data_, data, size);
    }
    return true;
}

bool SHMStorageBase::readData(void* buffer, unsigned int size) {
    init();
    if (size > records::storageSize) {
        VDI_LOG(DPL_ERROR, "data size is too large, can not read");
        return false;
    }
    VDI_LOG_KEPT(DPL_TRACE, readRecord_);
    const ScopedLock lock(guard_);
    if (!hasBlock()) {
        return false;
    }
    if (size != 0) {
        std::memcpy(buffer, data_, size);
    }
    return true;
}

bool SHMStorageBase::hasBlock() const {
    return data_ != nullptr && data_ != MAP_FAILED;
}

}  // namespace VDIFrameworkCommon
