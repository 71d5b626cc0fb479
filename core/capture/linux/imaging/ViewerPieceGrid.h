#pragma once

#include <cstddef>
#include <cstdint>

#include "core/capture/linux/imaging/ViewerRectangle.h"

namespace velmora {

/// How a picture is cut into the pieces of its JPEG, each of which can be encoded without the
/// others: every row of 16 × 16 squares, the units in which 4:2:0 is written, is cut into pieces of
/// the same number of units, so that a piece is a rectangle. Pieces are numbered row by row. A
/// plain value.
class ViewerPieceGrid final {
  public:
    static constexpr std::int64_t unitSide = 16;

    ViewerPieceGrid() = default;
    /// Of a picture of so many pixels. REQUIRES: at least 1 × 1.
    ViewerPieceGrid(std::int64_t width, std::int64_t height);

    std::int64_t width() const { return width_; }
    std::int64_t height() const { return height_; }
    /// The width of each piece in pixels, those to which the units of the last one reach past the
    /// picture's edge included.
    std::int64_t pieceWidth() const { return pieceWidth_; }
    std::size_t count() const { return columns_ * rows_; }

    /// The pixels of a piece.
    ViewerRectangle piece(std::size_t index) const;
    /// The columns and rows of pieces that the pixels of a rectangle inside the picture lie in.
    ViewerRectangle piecesOf(const ViewerRectangle& part) const;
    std::size_t indexOf(std::int64_t column, std::int64_t row) const {
        return static_cast<std::size_t>(row) * columns_ + static_cast<std::size_t>(column);
    }

  private:
    std::int64_t width_ = 0;
    std::int64_t height_ = 0;
    std::int64_t pieceWidth_ = 0;
    std::size_t columns_ = 0;
    std::size_t rows_ = 0;
};

}  // namespace velmora
