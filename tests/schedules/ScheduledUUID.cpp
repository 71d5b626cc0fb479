#include <cstdint>
#include <cstring>

#include "core/runtime/ViewerUUID.h"
#include "tests/schedules/WatchedMemory.h"

// Identifiers that are numbered instead of random. Nothing but their being different counts, so the
// order in which they are made is nobody's business: it is not watched.

namespace velmora {

ViewerUUID makeRandomUUID() {
    const Unwatched guard;
    static std::uint64_t last = 0;
    ++last;
    ViewerUUID uuid{};
    std::memcpy(&uuid, &last, sizeof last);
    return uuid;
}

}  // namespace velmora
