#include "core/capture/linux/imaging/ViewerAreaBands.h"

#include <algorithm>

namespace velmora {

ViewerAreaBands::ViewerAreaBands(const ViewerAreaAverage& average,
                                 const std::vector<ViewerRectangle>& parts,
                                 std::size_t maximumPixels)
    : average_(average), parts_(parts), maximumPixels_(static_cast<std::int64_t>(maximumPixels)) {}

std::optional<ViewerRectangle> ViewerAreaBands::next() {
    while (part_ < parts_.size() && parts_[part_].isEmpty()) {
        ++part_;
    }
    if (part_ == parts_.size()) {
        return std::nullopt;
    }
    const ViewerRectangle& part = parts_[part_];
    const ViewerRectangle band = bandAt(part.x + x_, part.y + y_, part);
    y_ += band.height;
    if (y_ == part.height) {
        y_ = 0;
        x_ += band.width;
    }
    if (x_ == part.width) {
        x_ = 0;
        ++part_;
    }
    return band;
}

ViewerRectangle ViewerAreaBands::bandAt(std::int64_t x, std::int64_t y,
                                        const ViewerRectangle& part) const {
    // Narrower than the part only where even a single row has too much source. The width does not
    // depend on the row, so that the bands fit together.
    const std::int64_t sourceRowsOfOne = average_.sourceHeight() / average_.targetHeight() + 2;
    ViewerRectangle band{x, y, part.right() - x, 1};
    while (band.width > 1 && average_.sourceFor(band).width * sourceRowsOfOne > maximumPixels_) {
        band.width = (band.width + 1) / 2;
    }
    const std::int64_t sourceRows = maximumPixels_ / average_.sourceFor(band).width;
    band.height = std::clamp<std::int64_t>(
        sourceRows * average_.targetHeight() / average_.sourceHeight(), 1, part.bottom() - y);
    while (band.height > 1 && average_.sourceFor(band).area() > maximumPixels_) {
        --band.height;
    }
    return band;
}

}  // namespace velmora
