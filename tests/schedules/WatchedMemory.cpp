#include "tests/schedules/WatchedMemory.h"

#include <sys/mman.h>
#include <sys/single_threaded.h>

#include <cstddef>
#include <cstdlib>
#include <new>

#include "core/runtime/ViewerCheck.h"
#include "tests/schedules/MemoryNotes.h"

// Compiled without the watch, and without templates that watched code may share.

#if VIEWER_WATCHED

// The program's variables lie between these.
extern char viewerDataBegin __asm__("__data_start");
extern char viewerDataEnd __asm__("_end");

namespace velmora {

namespace {

constexpr std::size_t arenaBytes = std::size_t{8} << 20U;
/// Most variables that can be written at once lie in no common four bytes.
constexpr unsigned grainShift = 2;
constexpr std::size_t mostPlaces = std::size_t{4} << 20U;
constexpr std::size_t mostTouched = std::size_t{1} << 18U;
constexpr std::size_t alignment = 16;

struct Mark final {
    std::uint32_t step;
    Footprint::Kinds kinds;
};

struct Watch final {
    char* arena = nullptr;
    std::size_t used = 0;
    /// What lies behind belongs to the step that made it.
    std::size_t known = 0;
    std::size_t dataBytes = 0;
    Mark* marks = nullptr;
    std::uint32_t* touched = nullptr;
    std::size_t touchedCount = 0;
    std::uint32_t step = 0;
    bool isNoting = false;
    int watched = 0;
    int unwatched = 0;
};

constinit Watch watch;

template <typename T>
T* reserve(std::size_t count) {
    void* const memory = ::mmap(nullptr, count * sizeof(T), PROT_READ | PROT_WRITE,
                                MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    viewerCheck(memory != MAP_FAILED, "the watch has memory");
    return static_cast<T*>(memory);
}

void prepare() {
    if (watch.arena == nullptr) {
        watch.arena = reserve<char>(arenaBytes);
        watch.marks = reserve<Mark>(mostPlaces);
        watch.touched = reserve<std::uint32_t>(mostTouched);
        watch.dataBytes = static_cast<std::size_t>(&viewerDataEnd - &viewerDataBegin);
        viewerCheck(((arenaBytes + watch.dataBytes) >> grainShift) < mostPlaces,
                    "the watch sees all variables");
        // Owners are counted as where there are several threads.
        __libc_single_threaded = 0;
    }
}

bool isInArena(const void* memory) {
    return static_cast<std::size_t>(static_cast<const char*>(memory) - watch.arena) < arenaBytes;
}

void noteGrain(std::size_t grain, Footprint::Kinds kinds) {
    Mark& mark = watch.marks[grain];
    if (mark.step != watch.step) {
        viewerCheck(watch.touchedCount < mostTouched, "a step touches not too much");
        mark = {watch.step, 0};
        watch.touched[watch.touchedCount++] = static_cast<std::uint32_t>(grain);
    }
    mark.kinds = static_cast<Footprint::Kinds>(mark.kinds | kinds);
}

/// In front of each block, so that what goes is known by its size.
struct Header final {
    std::size_t bytes;
    std::size_t unused;
};

}  // namespace

void noteAccess(const void* memory, std::size_t bytes, Footprint::Kinds kinds) {
    if (!watch.isNoting || watch.unwatched > 0 || bytes == 0) {
        return;
    }
    const auto* const address = static_cast<const char*>(memory);
    auto offset = static_cast<std::size_t>(address - watch.arena);
    if (offset >= watch.known) {
        offset = static_cast<std::size_t>(address - &viewerDataBegin);
        if (offset >= watch.dataBytes) {
            return;  // the stack, or made by this step
        }
        offset += arenaBytes;
    }
    const std::size_t last = (offset + bytes - 1) >> grainShift;
    for (std::size_t grain = offset >> grainShift; grain <= last; ++grain) {
        noteGrain(grain, kinds);
    }
}

void* takeMemory(std::size_t bytes) {
    if (watch.watched == 0 || watch.unwatched > 0) {
        void* const memory = std::malloc(bytes > 0 ? bytes : 1);
        viewerCheck(memory != nullptr, "there is memory");
        return memory;
    }
    const std::size_t whole = sizeof(Header) + (bytes + alignment - 1) / alignment * alignment;
    viewerCheck(watch.used + whole <= arenaBytes, "an execution needs not too much memory");
    auto* const block = watch.arena + watch.used;
    watch.used += whole;
    ::new (block) Header{bytes, 0};
    return block + sizeof(Header);
}

bool giveMemoryBack(void* memory) {
    if (memory == nullptr || !isInArena(memory)) {
        return false;
    }
    const auto* const header = static_cast<const Header*>(memory) - 1;
    noteAccess(memory, header->bytes, Footprint::write);
    return true;
}

bool WatchedMemory::isThere() {
    return true;
}

void WatchedMemory::beginExecution() {
    prepare();
    watch.used = 0;
}

void WatchedMemory::beginStep() {
    watch.known = watch.used;
    watch.touchedCount = 0;
    ++watch.step;
    watch.isNoting = true;
}

Footprint WatchedMemory::endStep() {
    watch.isNoting = false;
    const Unwatched guard;
    Footprint footprint;
    for (std::size_t i = 0; i < watch.touchedCount; ++i) {
        footprint.add(watch.touched[i], watch.marks[watch.touched[i]].kinds);
    }
    return footprint;
}

void beginUnwatched() {
    ++watch.unwatched;
}

void endUnwatched() {
    --watch.unwatched;
}

Watched::Watched() {
    ++watch.watched;
}

Watched::~Watched() {
    --watch.watched;
}

Unwatched::Unwatched() {
    beginUnwatched();
}

Unwatched::~Unwatched() {
    endUnwatched();
}

}  // namespace velmora

#else

namespace velmora {

bool WatchedMemory::isThere() {
    return false;
}

void WatchedMemory::beginExecution() {}
void WatchedMemory::beginStep() {}

Footprint WatchedMemory::endStep() {
    return {};
}

Watched::Watched() = default;
Watched::~Watched() = default;
Unwatched::Unwatched() = default;
Unwatched::~Unwatched() = default;

}  // namespace velmora

#endif
