#include "core/capture/linux/imaging/ViewerPieceGrid.h"

#include <cstdlib>

namespace velmora {

namespace {

/// Smaller pieces are encoded more exactly where something changed, but each makes the JPEG 2 to 4
/// bytes longer and begins its colours anew.
constexpr std::int64_t wantedUnits = 10;
constexpr std::int64_t leastUnits = 5;

/// How many sections of a length it takes to cover another one.
std::int64_t sectionsOf(std::int64_t length, std::int64_t section) {
    return (length + section - 1) / section;
}

/// The length that divides the row and is nearest to what is wanted; the whole row, if none is long
/// enough.
std::int64_t unitsPerPiece(std::int64_t unitsPerRow) {
    std::int64_t best = unitsPerRow;
    for (std::int64_t units = leastUnits; units < unitsPerRow; ++units) {
        if (unitsPerRow % units == 0 &&
            std::abs(units - wantedUnits) < std::abs(best - wantedUnits)) {
            best = units;
        }
    }
    return best;
}

}  // namespace

ViewerPieceGrid::ViewerPieceGrid(std::int64_t width, std::int64_t height)
    : width_(width), height_(height) {
    const std::int64_t unitsPerRow = sectionsOf(width, unitSide);
    pieceWidth_ = unitsPerPiece(unitsPerRow) * unitSide;
    columns_ = static_cast<std::size_t>(sectionsOf(width, pieceWidth_));
    rows_ = static_cast<std::size_t>(sectionsOf(height, unitSide));
}

ViewerRectangle ViewerPieceGrid::piece(std::size_t index) const {
    const auto column = static_cast<std::int64_t>(index % columns_);
    const auto row = static_cast<std::int64_t>(index / columns_);
    return intersection({column * pieceWidth_, row * unitSide, pieceWidth_, unitSide},
                        {0, 0, width_, height_});
}

ViewerRectangle ViewerPieceGrid::piecesOf(const ViewerRectangle& part) const {
    if (part.isEmpty()) {
        return {};
    }
    const std::int64_t left = part.x / pieceWidth_;
    const std::int64_t top = part.y / unitSide;
    return {left, top, sectionsOf(part.right(), pieceWidth_) - left,
            sectionsOf(part.bottom(), unitSide) - top};
}

}  // namespace velmora
