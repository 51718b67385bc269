#include "VDIFrameworkCommon/SharedMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ObjectNames.h"

using VDIFrameworkCommon::SystemName;

int shm_open_mac(std::string name, int oflag, int mode) {
    return shm_open(SystemName(name).c_str(), oflag, static_cast<mode_t>(mode));
}

int shm_unlink_mac(std::string name) {
    return shm_unlink(SystemName(name).c_str());
}

int ftruncate_mac(int fd, long long length) {
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        return -1;
    }
    return status.st_size != 0 ? 0 : ftruncate(fd, static_cast<off_t>(length));
}
