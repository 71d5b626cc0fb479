#include <cstddef>
#include <mutex>
#include <utility>

#include "tests/mac/objc/ReferenceCounts.h"

// Setters and getters of properties that hold objects or blocks.

namespace velmora::bridge {

namespace {

/// One for all atomic properties. Held for reads and swaps only.
std::mutex lock;

void** placeOf(void* self, std::ptrdiff_t offset) {
    return reinterpret_cast<void**>(static_cast<char*>(self) + offset);
}

/// Stores a value whose reference is the property's from now on.
void store(void* self, std::ptrdiff_t offset, void* value) {
    void* previous = nullptr;
    {
        const std::lock_guard guard(lock);
        previous = std::exchange(*placeOf(self, offset), value);
    }
    objc_release(previous);
}

}  // namespace

// NOLINTBEGIN(readability-identifier-naming): the compiler's names
extern "C" {

void* objc_getProperty(void* self, const Selector* /*name*/, std::ptrdiff_t offset, bool isAtomic) {
    if (!isAtomic) {
        return *placeOf(self, offset);
    }
    void* value = nullptr;
    {
        const std::lock_guard guard(lock);
        value = objc_retain(*placeOf(self, offset));
    }
    return objc_autorelease(value);
}

void objc_setProperty_atomic(void* self, const Selector* /*name*/, void* value,
                             std::ptrdiff_t offset) {
    store(self, offset, objc_retain(value));
}

void objc_setProperty_nonatomic(void* self, const Selector* /*name*/, void* value,
                                std::ptrdiff_t offset) {
    store(self, offset, objc_retain(value));
}

void objc_setProperty_atomic_copy(void* self, const Selector* /*name*/, void* value,
                                  std::ptrdiff_t offset) {
    store(self, offset, copied(value));
}

void objc_setProperty_nonatomic_copy(void* self, const Selector* /*name*/, void* value,
                                     std::ptrdiff_t offset) {
    store(self, offset, copied(value));
}
}
// NOLINTEND(readability-identifier-naming)

}  // namespace velmora::bridge
