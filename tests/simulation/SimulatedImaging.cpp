#include <string>

#include "core/capture/ViewerImaging.h"
#include "core/capture/ViewerLocalizedOrder.h"

// The platform's imaging and its order of names, for a host whose pictures are their own encodings.

namespace velmora {

std::optional<ViewerImage> ViewerImaging::scaled(const ViewerPixelBuffer& buffer,
                                                 std::int64_t width, std::int64_t height) {
    ViewerPixelBuffer picture = buffer;
    picture.width = width;
    picture.height = height;
    return ViewerImage{picture, nullptr};
}

std::optional<ViewerImage> ViewerImaging::redrawn(const ViewerPixelBuffer& image,
                                                  std::int64_t width, std::int64_t height) {
    return scaled(image, width, height);
}

std::optional<std::vector<std::uint8_t>> ViewerImaging::jpeg(const ViewerPixelBuffer& image,
                                                             double) {
    const auto& text = *static_cast<const std::string*>(image.native);
    return std::vector<std::uint8_t>(text.begin(), text.end());
}

bool ViewerLocalizedOrder::comesBefore(const std::string& a, const std::string& b) {
    return a < b;
}

}  // namespace velmora
