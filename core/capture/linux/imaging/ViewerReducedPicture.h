#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/capture/linux/imaging/ViewerAreaAverage.h"
#include "core/capture/linux/imaging/ViewerRectangle.h"

namespace velmora {

/// A picture reduced by area that is renewed part by part and knows whether it became another one.
/// Belongs to one capture; used on its thread.
class ViewerReducedPicture final {
  public:
    /// Whether all that a reduction changes is to be found, which costs a little more, or only
    /// whether anything changed.
    enum class Search { anyChange, allChanges };
    /// The order of the source's bytes, each followed by one of no meaning.
    enum class Order { blueGreenRed, redGreenBlue };

    /// The picture is black at first.
    explicit ViewerReducedPicture(ViewerAreaAverage average, Order order = Order::blueGreenRed);

    const ViewerAreaAverage& average() const { return average_; }
    ViewerRectangle whole() const;

    /// Renews a rectangle of the picture. `source` is the first pixel of `average().sourceFor` it,
    /// of 4 bytes a pixel, whose rows are `bytesPerRow` apart.
    void reduce(const ViewerRectangle& band, const std::uint8_t* source, std::size_t bytesPerRow,
                Search search);
    /// A rectangle around everything that `allChanges` found since this was last asked.
    ViewerRectangle takeFound() { return std::exchange(found_, ViewerRectangle()); }

    /// Whether it is another picture than when this was last asked; at first it is.
    bool takeChange() { return std::exchange(hasChanged_, false); }

    /// The picture as it is now; valid as long as it is not renewed.
    ViewerPixelBuffer pixels() const;

  private:
    std::uint32_t* pixelsOf(const ViewerRectangle& band, std::int64_t row);
    void keep(const ViewerRectangle& band);
    void swapRedAndBlue(const ViewerRectangle& band);
    /// A rectangle around all of the band that is not as it was kept.
    ViewerRectangle differenceFromKept(const ViewerRectangle& band);

    ViewerAreaAverage average_;
    Order order_;
    std::vector<std::uint32_t> pixels_;
    /// What the band that is being reduced was before.
    std::vector<std::uint32_t> kept_;
    ViewerRectangle found_;
    bool hasChanged_ = true;
};

}  // namespace velmora
