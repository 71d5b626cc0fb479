#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "core/capture/linux/imaging/ViewerAreaAverage.h"
#include "core/capture/linux/imaging/ViewerRectangle.h"

namespace velmora {

/// Cuts rectangles of a reduced picture into bands whose source is small enough to be fetched at
/// once. Refers to what it is given, which outlives it; one thread.
class ViewerAreaBands final {
  public:
    /// `maximumPixels` is how much source a band may have. REQUIRES: enough for one pixel's source.
    ViewerAreaBands(const ViewerAreaAverage& average, const std::vector<ViewerRectangle>& parts,
                    std::size_t maximumPixels);

    /// The next band, never empty, or nothing when all parts are through.
    std::optional<ViewerRectangle> next();

  private:
    ViewerRectangle bandAt(std::int64_t x, std::int64_t y, const ViewerRectangle& part) const;

    const ViewerAreaAverage& average_;
    const std::vector<ViewerRectangle>& parts_;
    const std::int64_t maximumPixels_;
    std::size_t part_ = 0;
    /// Where the next band of the current part starts, relative to the part.
    std::int64_t x_ = 0;
    std::int64_t y_ = 0;
};

}  // namespace velmora
