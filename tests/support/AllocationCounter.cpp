#include "support/AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> count{0};
std::atomic<void (*)()> hook{nullptr};

}  // namespace

long allocations() {
    return count;
}

void setAllocationHook(void (*function)()) {
    hook = function;
}

void* operator new(std::size_t size) {
    ++count;
    if (const auto function = hook.load()) {
        function();
    }
    if (void* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
