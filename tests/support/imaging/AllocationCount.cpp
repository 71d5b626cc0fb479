#include "tests/support/imaging/AllocationCount.h"

#include <cstdlib>
#include <new>

namespace {
thread_local std::size_t allocations = 0;
thread_local std::size_t alignedAllocations = 0;
}  // namespace

// The program is linked so that its own calls come here, under these names.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" {
void* __real_aligned_alloc(std::size_t alignment, std::size_t size);
void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size) {
    ++alignedAllocations;
    return __real_aligned_alloc(alignment, size);
}
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

void* operator new(std::size_t size) {
    ++allocations;
    void* memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new[](std::size_t size) {
    return operator new(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace velmora {

AllocationCount::AllocationCount() : before_(allocations), alignedBefore_(alignedAllocations) {}

std::size_t AllocationCount::sinceConstruction() const {
    return allocations - before_;
}

std::size_t AllocationCount::alignedSinceConstruction() const {
    return alignedAllocations - alignedBefore_;
}

}  // namespace velmora
