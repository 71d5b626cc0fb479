#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/capture/linux/imaging/ViewerPieceGrid.h"
#include "core/capture/linux/imaging/ViewerYUVPlanes.h"

namespace velmora {

/// Compresses pieces of pictures with libjpeg-turbo, 4:2:0, in memory that it keeps from picture to
/// picture. What a piece becomes depends on its pixels and the quality alone. Owned by one thread's
/// imaging; one thread at a time.
class ViewerJPEGCompressor final {
  public:
    /// The first byte of each marker.
    static constexpr std::uint8_t markerPrefix = 0xFF;

    /// Parts of a JPEG, valid until more is compressed.
    struct Parts final {
        /// All that stands before the first piece, of the whole picture.
        std::span<const std::uint8_t> head;
        /// The pieces that were asked for, without the restart markers between them.
        std::span<const std::span<const std::uint8_t>> pieces;
    };

    ViewerJPEGCompressor();
    ~ViewerJPEGCompressor();
    ViewerJPEGCompressor(const ViewerJPEGCompressor&) = delete;
    ViewerJPEGCompressor& operator=(const ViewerJPEGCompressor&) = delete;

    /// Compresses the pieces of these numbers in one pass, quality from 0 to 1; nothing for
    /// sides that no JPEG has, or more pieces than fit into one pass; a ViewerMemoryLack when the
    /// library refuses. REQUIRES: pixels; their grid; at least one piece.
    std::optional<Parts> compress(const ViewerPixelBuffer& picture, const ViewerPieceGrid& grid,
                                  std::span<const std::size_t> pieces, double quality);

  private:
    /// What the library works with.
    struct Library;
    /// Room for the longest JPEG of the most pieces so far.
    struct Output final {
        std::unique_ptr<std::uint8_t[]> bytes = nullptr;
        std::size_t size = 0;
    };

    Parts partsOf(std::span<std::uint8_t> jpeg, const ViewerPieceGrid& grid);
    /// `scan` is the pieces with a marker behind each.
    void findPieces(std::span<const std::uint8_t> scan);

    std::unique_ptr<Library> library_;
    ViewerYUVPlanes planes_;
    Output output_;
    std::vector<std::span<const std::uint8_t>> pieces_;
};

}  // namespace velmora
