#pragma once

#include <memory>
#include <optional>
#include <string>

#include "viewerctl/ViewerDecodedPicture.h"
#include "viewerctl/ViewerPictureFormat.h"
#include "viewerctl/ViewerTerminalSize.h"

// NOLINTNEXTLINE(readability-identifier-naming): libchafa's.
struct ChafaTermInfo;

namespace velmora {

/// Tells pictures to a terminal, in the way that it knows. On any thread, one at a time.
class ViewerTerminalCanvas final {
  public:
    /// By the terminal that the environment tells of, or as it was wanted.
    explicit ViewerTerminalCanvas(std::optional<ViewerPictureFormat> wanted);

    ViewerPictureFormat format() const { return format_; }
    /// The size in pixels at which a picture is worth decoding that fills `area`.
    static int widthOf(const ViewerTerminalSize& area) { return area.columns * area.cellWidth; }
    static int heightOf(const ViewerTerminalSize& area) { return area.rows * area.cellHeight; }
    /// What shows the picture in the middle of an area of that size that begins at the left of the
    /// row `firstRow`, counted from 1. It is at most twice as large as it is, where it is told
    /// pixel by pixel.
    std::string draw(const ViewerDecodedPicture& picture, const ViewerTerminalSize& area,
                     int firstRow) const;

  private:
    /// Cells.
    struct Place final {
        int column;
        int row;
        int columns;
        int rows;
    };

    Place placeOf(const ViewerDecodedPicture& picture, const ViewerTerminalSize& area,
                  int firstRow) const;
    std::string print(const ViewerDecodedPicture& picture, const ViewerTerminalSize& area,
                      const Place& place) const;

    const std::shared_ptr<ChafaTermInfo> terminal_;
    const ViewerPictureFormat format_;
};

}  // namespace velmora
