#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/capture/linux/imaging/ViewerYUVPlanes.h"

namespace velmora {

/// Writes pictures as JPEG, 4:2:0, in memory that it keeps from picture to picture. Owned by one
/// thread's imaging; one thread at a time.
class ViewerJPEGCompressor final {
  public:
    /// The JPEG of a picture, quality from 0 to 1, or nothing when the library refuses. REQUIRES:
    /// pixels, and at least 1 × 1 of them.
    std::optional<std::vector<std::uint8_t>> compress(const ViewerPixelBuffer& picture,
                                                      double quality);

  private:
    struct Destroy final {
        void operator()(void* handle) const;
    };

    /// Made on first use; null when the library cannot make one.
    std::unique_ptr<void, Destroy> library_;
    ViewerYUVPlanes planes_;
    /// Room for the longest JPEG of the largest picture so far.
    std::unique_ptr<std::uint8_t[]> output_;
    std::size_t outputSize_ = 0;
};

}  // namespace velmora
