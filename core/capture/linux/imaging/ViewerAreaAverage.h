#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "core/capture/linux/imaging/ViewerAreaAxis.h"
#include "core/capture/linux/imaging/ViewerAreaPlan.h"
#include "core/capture/linux/imaging/ViewerRectangle.h"

namespace velmora {

/// Reduces a picture to a smaller one in which each pixel is the average of the area it covers,
/// rectangle by rectangle: the result does not depend on how the target is cut. It holds the plan
/// for one source size and one target size, never changes after construction, and may be used from
/// any thread. Pictures are rows of 4 bytes a pixel: blue, green, red, unused; the fourth byte of
/// what is written has no meaning.
class ViewerAreaAverage final {
  public:
    /// Sizes in pixels. REQUIRES in both directions: 1 <= target <= source <= 2^27.
    ViewerAreaAverage(std::int64_t sourceWidth, std::int64_t sourceHeight, std::int64_t targetWidth,
                      std::int64_t targetHeight);

    std::int64_t sourceWidth() const { return columns_.sourceLength(); }
    std::int64_t sourceHeight() const { return rows_.sourceLength(); }
    std::int64_t targetWidth() const { return columns_.targetLength(); }
    std::int64_t targetHeight() const { return rows_.targetLength(); }

    /// The source pixels that the target pixels of `target` depend on. What lies outside the target
    /// picture counts for nothing; of an empty rectangle the result is empty.
    ViewerRectangle sourceFor(const ViewerRectangle& target) const;

    /// The target pixels that the source pixels of `source` have a part in. What lies outside the
    /// source picture counts for nothing; of an empty rectangle the result is empty.
    ViewerRectangle targetFor(const ViewerRectangle& source) const;

    /// Computes the target pixels of `target`, which lies inside the target picture. `source` is
    /// the first pixel of `sourceFor(target)`, whose rows are `sourceBytesPerRow` apart;
    /// `targetPixels` is the first pixel of the whole target picture. Nothing else is read or
    /// written. Does not allocate.
    void reduce(const ViewerRectangle& target, const std::uint8_t* source,
                std::size_t sourceBytesPerRow, std::uint8_t* targetPixels,
                std::size_t targetBytesPerRow) const;

  private:
    ViewerAreaAxis columns_;
    ViewerAreaAxis rows_;
    /// Nothing when the picture is reduced further than the plan's arithmetic allows.
    std::optional<ViewerAreaPlan> plan_;
};

}  // namespace velmora
