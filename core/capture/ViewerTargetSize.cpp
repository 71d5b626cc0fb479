#include "core/capture/ViewerTargetSize.h"

#include <algorithm>
#include <cmath>

namespace velmora {

ViewerTargetSize ViewerJPEGEncoder::targetSize(std::int64_t width, std::int64_t height) {
    if (width < 1 || height < 1) {
        return {1, 1};
    }
    const auto sourceWidth = static_cast<double>(width);
    const auto sourceHeight = static_cast<double>(height);
    const double scale = std::min({static_cast<double>(maxPreviewWidth) / sourceWidth,
                                   static_cast<double>(maxPreviewHeight) / sourceHeight, 1.0});
    return {std::max(std::floor(scale * sourceWidth), 1.0),
            std::max(std::floor(scale * sourceHeight), 1.0)};
}

}  // namespace velmora
