#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/capture/linux/imaging/ViewerAreaAverage.h"
#include "core/capture/linux/imaging/ViewerKeptJPEG.h"
#include "core/capture/linux/imaging/ViewerRectangle.h"

namespace velmora {

/// A picture reduced by area that is renewed part by part, knows whether it became another one, and
/// keeps what was encoded of it. Belongs to one capture; used on its thread.
class ViewerReducedPicture final {
  public:
    /// Whether the place of everything that a reduction changes is to be found, which costs a
    /// little more, or only whether, and in which of the JPEG's pieces, anything changed.
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

    /// The picture as it is now, with what was encoded of it; valid as long as it is not renewed.
    ViewerPixelBuffer pixels();

  private:
    std::uint32_t* pixelsAt(std::int64_t x, std::int64_t y);
    /// The same for rows of the picture that lie in one row of the JPEG's pieces.
    void reduceRows(const ViewerRectangle& rows, const std::uint8_t* source,
                    std::size_t bytesPerRow, Search search);
    void keep(const ViewerRectangle& rows);
    void swapRedAndBlue(const ViewerRectangle& rows);
    /// Outdates the pieces in which the rows are not as they were kept.
    void findChanges(const ViewerRectangle& rows, Search search);
    /// A rectangle in `part` of the rows: around all that is not as it was kept, or, where any
    /// change will do, `part` itself; empty when there is none.
    ViewerRectangle differenceFromKept(const ViewerRectangle& rows, const ViewerRectangle& part,
                                       Search search);

    ViewerAreaAverage average_;
    Order order_;
    std::vector<std::uint32_t> pixels_;
    /// What the rows that are being reduced were before.
    std::vector<std::uint32_t> kept_;
    ViewerKeptJPEG jpeg_;
    ViewerRectangle found_;
    bool hasChanged_ = true;
};

}  // namespace velmora
