#include "core/capture/linux/imaging/ViewerReducedPicture.h"

#include <algorithm>

#include "core/capture/linux/imaging/ViewerDifferenceKernels.h"

namespace velmora {

ViewerReducedPicture::ViewerReducedPicture(ViewerAreaAverage average, Order order)
    : average_(std::move(average)),
      order_(order),
      jpeg_(average_.targetWidth(), average_.targetHeight()) {
    pixels_.resize(static_cast<std::size_t>(whole().area()));
}

ViewerRectangle ViewerReducedPicture::whole() const {
    return {0, 0, average_.targetWidth(), average_.targetHeight()};
}

ViewerPixelBuffer ViewerReducedPicture::pixels() {
    ViewerPixelBuffer result;
    result.width = average_.targetWidth();
    result.height = average_.targetHeight();
    result.pixels = reinterpret_cast<const std::uint8_t*>(pixels_.data());
    result.bytesPerRow = static_cast<std::size_t>(average_.targetWidth()) * sizeof(std::uint32_t);
    result.jpeg = &jpeg_;
    return result;
}

void ViewerReducedPicture::reduce(const ViewerRectangle& band, const std::uint8_t* source,
                                  std::size_t bytesPerRow, Search search) {
    // What is compared is then still in the innermost cache.
    ViewerRectangle rows = band;
    while (rows.y < band.bottom()) {
        const std::int64_t pieceBottom =
            (rows.y / ViewerPieceGrid::unitSide + 1) * ViewerPieceGrid::unitSide;
        rows.height = std::min(pieceBottom, band.bottom()) - rows.y;
        const std::int64_t above = average_.sourceFor(rows).y - average_.sourceFor(band).y;
        reduceRows(rows, source + static_cast<std::size_t>(above) * bytesPerRow, bytesPerRow,
                   search);
        rows.y = rows.bottom();
    }
}

void ViewerReducedPicture::reduceRows(const ViewerRectangle& rows, const std::uint8_t* source,
                                      std::size_t bytesPerRow, Search search) {
    keep(rows);
    average_.reduce(rows, source, bytesPerRow, reinterpret_cast<std::uint8_t*>(pixels_.data()),
                    pixels().bytesPerRow);
    if (order_ == Order::redGreenBlue) {
        swapRedAndBlue(rows);
    }
    findChanges(rows, search);
}

std::uint32_t* ViewerReducedPicture::pixelsAt(std::int64_t x, std::int64_t y) {
    return pixels_.data() + y * average_.targetWidth() + x;
}

void ViewerReducedPicture::keep(const ViewerRectangle& rows) {
    kept_.resize(static_cast<std::size_t>(rows.area()));
    for (std::int64_t row = 0; row < rows.height; ++row) {
        std::copy_n(pixelsAt(rows.x, rows.y + row), rows.width, kept_.data() + row * rows.width);
    }
}

void ViewerReducedPicture::swapRedAndBlue(const ViewerRectangle& rows) {
    constexpr std::size_t blue = 0;
    constexpr std::size_t red = 2;
    for (std::int64_t row = 0; row < rows.height; ++row) {
        std::uint32_t* const pixels = pixelsAt(rows.x, rows.y + row);
        for (std::int64_t column = 0; column < rows.width; ++column) {
            auto* const bytes = reinterpret_cast<std::uint8_t*>(pixels + column);
            std::swap(bytes[blue], bytes[red]);
        }
    }
}

void ViewerReducedPicture::findChanges(const ViewerRectangle& rows, Search search) {
    const ViewerRectangle pieces = jpeg_.grid().piecesOf(rows);
    for (std::int64_t column = pieces.x; column < pieces.right(); ++column) {
        const std::size_t piece = jpeg_.grid().indexOf(column, pieces.y);
        if (search == Search::anyChange && jpeg_.isOutdated(piece) && hasChanged_) {
            continue;
        }
        const ViewerRectangle part = intersection(jpeg_.grid().piece(piece), rows);
        const ViewerRectangle changes = differenceFromKept(rows, part, search);
        if (!changes.isEmpty()) {
            jpeg_.outdate(piece);
            hasChanged_ = true;
        }
        if (search == Search::allChanges) {
            found_ = boundingBox(found_, changes);
        }
    }
}

ViewerRectangle ViewerReducedPicture::differenceFromKept(const ViewerRectangle& rows,
                                                         const ViewerRectangle& part,
                                                         Search search) {
    const ViewerDifferenceKernels::Rows now{pixelsAt(part.x, part.y),
                                            static_cast<std::size_t>(average_.targetWidth())};
    const ViewerDifferenceKernels::Rows before{
        kept_.data() + (part.y - rows.y) * rows.width + (part.x - rows.x),
        static_cast<std::size_t>(rows.width)};
    const auto width = static_cast<std::size_t>(part.width);
    const auto height = static_cast<std::size_t>(part.height);
    if (search == Search::anyChange) {
        return ViewerDifferenceKernels::isDifferent(now, before, width, height) ? part
                                                                                : ViewerRectangle();
    }
    ViewerRectangle result = ViewerDifferenceKernels::difference(now, before, width, height);
    result.x += part.x;
    result.y += part.y;
    return result;
}

}  // namespace velmora
