#include "VDIFrameworkCommon/SHMStorageMacosx.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "Log.h"
#include "NoCancellation.h"
#include "ObjectNames.h"
#include "SharedRecords.h"
#include "VDIFrameworkCommon/Mutex.h"
#include "VDIFrameworkCommon/NamedMutex.h"
#include "VDIFrameworkCommon/SharedMemory.h"

namespace VDIFrameworkCommon {

namespace {

const log::Source logSource("SHMStorage", __FILE__);

}  // namespace

SHMStorageMacosx::SHMStorageMacosx(const std::string& name) : SHMStorageBase(name) {
}

SHMStorageMacosx::~SHMStorageMacosx() {
    const NoCancellation noCancellation;
    // Also when nothing is mapped, and descriptor 0 when nothing was opened: kept as it has always been.
    // Test: SHMStorageMacosx.DestructionOfAnUnusedOneClosesDescriptorZero.
    if (munmap(data(), records::storageSize) != 0) {
        VDI_LOG(DPL_ERROR, "Unpaming shared memory failure.");  // wording relied on by log readers
    }
    setData(nullptr);
    if (close(descriptor_) != 0) {
        VDI_LOG(DPL_ERROR, "Closing the shared memory failure.");
    }
    descriptor_ = 0;
}

void SHMStorageMacosx::initSHMStorage() {
    const ScopedLock lock(guard());
    const std::string logicalName = clientObjectName(name());
    bool created = false;
    descriptor_ = shm_open_mac(logicalName, O_RDWR, 0600);
    if (descriptor_ < 0) {
        VDI_LOG(DPL_INFO, "Failed to open shared memory!");
        descriptor_ = shm_open_mac(logicalName, O_RDWR | O_CREAT, 0600);
        if (descriptor_ < 0) {
            VDI_LOG(DPL_ERROR, "create shared memory failed!");
            return;
        }
        VDI_LOG(DPL_INFO, "create shared memory succeeded!");
        created = true;
    } else {
        VDI_LOG(DPL_INFO, "open shared memory succeeded!");
    }
    if (ftruncate_mac(descriptor_, records::storageSize) == -1) {
        // The stray ",:" is relied on by log readers.
        VDI_LOG(DPL_ERROR, "ftruncate function failure, failed to set size for shared memory,: ", logicalName);
        discard(logicalName, created);
        return;
    }
    setData(mmap(nullptr, records::storageSize, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, 0));
    if (data() == MAP_FAILED) {
        VDI_LOG(DPL_DEBUG, "mmap failure, failed to map shared memory: ", logicalName);  // at DEBUG, unlike the others
        discard(logicalName, created);
        return;
    }
    if (created) {
        std::memset(data(), 0, records::storageSize);
    }
}

// After a failed initialisation: leaves no object behind that this process created, and no descriptor. The number is
// made invalid, so that the destructor closes nobody else's descriptor and reports that it closed none.
void SHMStorageMacosx::discard(const std::string& logicalName, bool created) {
    close(descriptor_);
    descriptor_ = -1;
    if (created) {
        shm_unlink_mac(logicalName);
    }
}

}  // namespace VDIFrameworkCommon
