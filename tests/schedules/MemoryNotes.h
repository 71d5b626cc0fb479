#pragma once

#include <cstddef>

#include "tests/schedules/Footprint.h"

namespace velmora {

/// What the compiler's calls and the allocation functions tell the watch. One thread.
void noteAccess(const void* memory, std::size_t bytes, Footprint::Kinds kinds);
void* takeMemory(std::size_t bytes);
/// False when it is the system's, who shall have it back.
bool giveMemoryBack(void* memory);
void beginUnwatched();
void endUnwatched();

}  // namespace velmora
