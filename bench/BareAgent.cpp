// The system calls of a short agent's life and nothing else: two storages and their guards opened, sized and mapped,
// the list and the record changed. Linked as our programs are, against the C++ library.

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void* openObject(const std::string& name, std::size_t size) {
    const int fd = shm_open(name.c_str(), O_RDWR | O_CREAT, 0600);
    struct stat status {};
    if (fd < 0 || fstat(fd, &status) != 0 || (status.st_size == 0 && ftruncate(fd, static_cast<off_t>(size)) != 0)) {
        std::exit(1);
    }
    return mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
}

void initialiseGuard(void* guard) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutex_init(static_cast<pthread_mutex_t*>(guard), &attributes);
}

}  // namespace

int main() {
    const std::string user = std::to_string(geteuid());
    initialiseGuard(openObject("/vdi-bench-" + user + "-runners-guard", 64));
    auto* const runners = static_cast<std::uint32_t*>(openObject("/vdi-bench-" + user + "-runners", 512));
    initialiseGuard(openObject("/vdi-bench-" + user + "-active-guard", 64));
    auto* const active = static_cast<std::uint32_t*>(openObject("/vdi-bench-" + user + "-active", 512));
    runners[0] = static_cast<std::uint32_t>(getpid());
    active[0] = runners[0];
    active[0] = 0;
    std::memset(runners, 0, 200);
    munmap(active, 512);
    munmap(runners, 512);
}
