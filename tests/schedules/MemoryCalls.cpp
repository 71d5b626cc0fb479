#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "tests/schedules/MemoryNotes.h"
#include "tests/schedules/WatchedMemory.h"

// What the compiler calls at each access to memory when it prepares a program for a race detector,
// and the functions of the system that make, move and drop memory. Compiled without the watch.

#if VIEWER_WATCHED

using velmora::Footprint;
using velmora::noteAccess;

namespace {

/// One of the program's counts, which only counts of owners change by addition.
template <typename T>
T added(volatile T* number, T change) {
    const T before = __atomic_fetch_add(number, change, __ATOMIC_SEQ_CST);
    const bool isLast = static_cast<T>(before + change) == 0;
    noteAccess(const_cast<const T*>(number), sizeof(T),
               isLast ? Footprint::write : Footprint::count);
    return before;
}

template <typename T>
bool exchanged(volatile T* number, T* expected, T desired) {
    const bool isExchanged = __atomic_compare_exchange_n(number, expected, desired, false,
                                                         __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
    noteAccess(const_cast<const T*>(number), sizeof(T),
               isExchanged ? Footprint::write : Footprint::read);
    return isExchanged;
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the compiler's names.
extern "C" {

void __tsan_init() {}
void __tsan_func_entry(void*) {}
void __tsan_func_exit() {}

#define VIEWER_NOTED(size)                                            \
    void __tsan_read##size(void* memory) {                            \
        noteAccess(memory, size, Footprint::read);                    \
    }                                                                 \
    void __tsan_write##size(void* memory) {                           \
        noteAccess(memory, size, Footprint::write);                   \
    }                                                                 \
    void __tsan_unaligned_read##size(void* memory) {                  \
        noteAccess(memory, size, Footprint::read);                    \
    }                                                                 \
    void __tsan_unaligned_write##size(void* memory) {                 \
        noteAccess(memory, size, Footprint::write);                   \
    }                                                                 \
    void __tsan_read_write##size(void* memory) {                      \
        noteAccess(memory, size, Footprint::read | Footprint::write); \
    }                                                                 \
    void __tsan_unaligned_read_write##size(void* memory) {            \
        noteAccess(memory, size, Footprint::read | Footprint::write); \
    }

VIEWER_NOTED(1)
VIEWER_NOTED(2)
VIEWER_NOTED(4)
VIEWER_NOTED(8)
VIEWER_NOTED(16)

void __tsan_read_range(void* memory, std::size_t bytes) {
    noteAccess(memory, bytes, Footprint::read);
}
void __tsan_write_range(void* memory, std::size_t bytes) {
    noteAccess(memory, bytes, Footprint::write);
}
void __tsan_vptr_read(void** memory) {
    noteAccess(static_cast<const void*>(memory), sizeof(void*), Footprint::read);
}
void __tsan_vptr_update(void** memory, void*) {
    noteAccess(static_cast<const void*>(memory), sizeof(void*), Footprint::write);
}

#define VIEWER_CHANGED(bits, name, builtin)                                                       \
    std::uint##bits##_t __tsan_atomic##bits##_##name(volatile std::uint##bits##_t* number,        \
                                                     std::uint##bits##_t change, int) {           \
        noteAccess(const_cast<const std::uint##bits##_t*>(number), (bits) / 8, Footprint::write); \
        return builtin(number, change, __ATOMIC_SEQ_CST);                                         \
    }

#define VIEWER_ATOMIC(bits)                                                                       \
    std::uint##bits##_t __tsan_atomic##bits##_load(const volatile std::uint##bits##_t* number,    \
                                                   int) {                                         \
        noteAccess(const_cast<const std::uint##bits##_t*>(number), (bits) / 8, Footprint::read);  \
        return __atomic_load_n(number, __ATOMIC_SEQ_CST);                                         \
    }                                                                                             \
    void __tsan_atomic##bits##_store(volatile std::uint##bits##_t* number,                        \
                                     std::uint##bits##_t value, int) {                            \
        noteAccess(const_cast<const std::uint##bits##_t*>(number), (bits) / 8, Footprint::write); \
        __atomic_store_n(number, value, __ATOMIC_SEQ_CST);                                        \
    }                                                                                             \
    std::uint##bits##_t __tsan_atomic##bits##_fetch_add(volatile std::uint##bits##_t* number,     \
                                                        std::uint##bits##_t change, int) {        \
        return added(number, change);                                                             \
    }                                                                                             \
    std::uint##bits##_t __tsan_atomic##bits##_fetch_sub(volatile std::uint##bits##_t* number,     \
                                                        std::uint##bits##_t change, int) {        \
        return added(number, static_cast<std::uint##bits##_t>(-change));                          \
    }                                                                                             \
    VIEWER_CHANGED(bits, exchange, __atomic_exchange_n)                                           \
    VIEWER_CHANGED(bits, fetch_and, __atomic_fetch_and)                                           \
    VIEWER_CHANGED(bits, fetch_or, __atomic_fetch_or)                                             \
    VIEWER_CHANGED(bits, fetch_xor, __atomic_fetch_xor)                                           \
    int __tsan_atomic##bits##_compare_exchange_strong(volatile std::uint##bits##_t* number,       \
                                                      std::uint##bits##_t* expected,              \
                                                      std::uint##bits##_t desired, int, int) {    \
        return exchanged(number, expected, desired) ? 1 : 0;                                      \
    }                                                                                             \
    std::uint##bits##_t __tsan_atomic##bits##_compare_exchange_val(                               \
        volatile std::uint##bits##_t* number, std::uint##bits##_t expected,                       \
        std::uint##bits##_t desired, int, int) {                                                  \
        (void)exchanged(number, &expected, desired); /* the value tells */                        \
        return expected;                                                                          \
    }                                                                                             \
    int __tsan_atomic##bits##_compare_exchange_weak(volatile std::uint##bits##_t* number,         \
                                                    std::uint##bits##_t* expected,                \
                                                    std::uint##bits##_t desired, int, int) {      \
        return exchanged(number, expected, desired) ? 1 : 0;                                      \
    }

VIEWER_ATOMIC(8)
VIEWER_ATOMIC(16)
VIEWER_ATOMIC(32)
VIEWER_ATOMIC(64)

void __tsan_atomic_thread_fence(int) {}
void __tsan_atomic_signal_fence(int) {}

// The linker sends calls of the functions of these names here.
void* __real_memcpy(void* to, const void* from, std::size_t bytes);
void* __real_memmove(void* to, const void* from, std::size_t bytes);
void* __real_memset(void* to, int value, std::size_t bytes);
void* __real_aligned_alloc(std::size_t alignment, std::size_t bytes);
void __real_free(void* memory);
int __real___cxa_guard_acquire(std::uint64_t* guard);
void __real___cxa_guard_release(std::uint64_t* guard);

void* __wrap_memcpy(void* to, const void* from, std::size_t bytes) {
    noteAccess(from, bytes, Footprint::read);
    noteAccess(to, bytes, Footprint::write);
    return __real_memcpy(to, from, bytes);
}
void* __wrap_memmove(void* to, const void* from, std::size_t bytes) {
    noteAccess(from, bytes, Footprint::read);
    noteAccess(to, bytes, Footprint::write);
    return __real_memmove(to, from, bytes);
}
void* __wrap_memset(void* to, int value, std::size_t bytes) {
    noteAccess(to, bytes, Footprint::write);
    return __real_memset(to, value, bytes);
}
// clang's own.
void* __tsan_memcpy(void* to, const void* from, std::size_t bytes) {
    return __wrap_memcpy(to, from, bytes);
}
void* __tsan_memmove(void* to, const void* from, std::size_t bytes) {
    return __wrap_memmove(to, from, bytes);
}
void* __tsan_memset(void* to, int value, std::size_t bytes) {
    return __wrap_memset(to, value, bytes);
}

void* __wrap_aligned_alloc(std::size_t, std::size_t bytes) {
    return velmora::takeMemory(bytes);  // as aligned as any type of ours
}
void __wrap_free(void* memory) {
    if (!velmora::giveMemoryBack(memory)) {
        __real_free(memory);
    }
}

// What is made once for the process outlives the execution that is the first to need it.
int __wrap___cxa_guard_acquire(std::uint64_t* guard) {
    const int isMine = __real___cxa_guard_acquire(guard);
    if (isMine != 0) {
        velmora::beginUnwatched();
    }
    return isMine;
}
void __wrap___cxa_guard_release(std::uint64_t* guard) {
    velmora::endUnwatched();
    __real___cxa_guard_release(guard);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

void* operator new(std::size_t bytes) {
    return velmora::takeMemory(bytes);
}
void operator delete(void* memory) noexcept {
    __wrap_free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    __wrap_free(memory);
}

#endif
