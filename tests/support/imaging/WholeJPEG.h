#pragma once

#include <cstdint>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"

namespace velmora {

/// The JPEG that another encoder, TurboJPEG's, makes of a picture at once, without pieces, from the
/// same planes and with the same kind of transform: a viewer has to see the same pixels in ours.
std::vector<std::uint8_t> wholeJPEG(const ViewerPixelBuffer& picture, int libraryQuality);

}  // namespace velmora
