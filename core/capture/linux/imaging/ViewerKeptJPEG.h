#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/capture/linux/imaging/ViewerJPEGCompressor.h"
#include "core/capture/linux/imaging/ViewerPieceGrid.h"

namespace velmora {

/// The JPEG of a picture that changes in parts: the pieces that did not change are kept as they
/// were encoded. The same picture gives the same bytes however it came about. Belongs to its
/// picture; one thread at a time.
class ViewerKeptJPEG final {
  public:
    ViewerKeptJPEG() = default;
    ViewerKeptJPEG(std::int64_t width, std::int64_t height) { begin(width, height); }

    /// There is another picture, of so many pixels, of which nothing was encoded yet. REQUIRES: at
    /// least 1 × 1.
    void begin(std::int64_t width, std::int64_t height);

    const ViewerPieceGrid& grid() const { return grid_; }
    /// The piece of this number is not as it was encoded.
    void outdate(std::size_t piece) { isOutdated_[piece] = true; }
    bool isOutdated(std::size_t piece) const { return isOutdated_[piece]; }

    /// The JPEG of the picture as it is now, quality from 0 to 1; nothing when the library refuses.
    /// REQUIRES: pixels, of which those that changed since the last JPEG lie in outdated pieces.
    std::optional<std::vector<std::uint8_t>> encode(const ViewerPixelBuffer& picture,
                                                    double quality,
                                                    ViewerJPEGCompressor& compressor);

  private:
    /// Where a piece stands in the JPEG.
    struct Place final {
        std::size_t begin = 0;
        std::size_t length = 0;
    };

    std::span<const std::uint8_t> kept(std::size_t piece) const {
        return std::span(jpeg_).subspan(places_[piece].begin, places_[piece].length);
    }
    /// Puts the fresh pieces in the place of the outdated ones.
    void join(const ViewerJPEGCompressor::Parts& fresh);

    ViewerPieceGrid grid_;
    std::vector<bool> isOutdated_;
    /// The numbers of the outdated pieces, while they are encoded.
    std::vector<std::size_t> outdated_;
    std::optional<double> quality_;
    /// The last JPEG, and its pieces.
    std::vector<std::uint8_t> jpeg_;
    std::vector<Place> places_;
    /// The next JPEG, while it is put together.
    std::vector<std::uint8_t> joined_;
};

}  // namespace velmora
