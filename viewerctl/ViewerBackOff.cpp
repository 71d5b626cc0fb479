#include "viewerctl/ViewerBackOff.h"

#include <algorithm>

namespace velmora {

ViewerBackOff::ViewerBackOff(std::chrono::milliseconds most, std::uint32_t seed)
    : most_(most), chance_(seed) {}

std::chrono::milliseconds ViewerBackOff::next() {
    std::uniform_int_distribution<std::chrono::milliseconds::rep> part(whole_.count() / 2,
                                                                       whole_.count());
    whole_ = std::min(2 * whole_, most_);
    return std::chrono::milliseconds(part(chance_));
}

}  // namespace velmora
