#include "core/protocol/ViewerHostDisplay.h"

#include <utility>

namespace velmora {

ViewerHostDisplay::ViewerHostDisplay(std::string displayId, std::string displayName,
                                     std::int64_t pixelWidth, std::int64_t pixelHeight)
    : id(std::move(displayId)),
      name(std::move(displayName)),
      width(pixelWidth),
      height(pixelHeight) {}

}  // namespace velmora
