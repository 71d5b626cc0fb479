#pragma once

#include <cstdint>
#include <memory>
#include <vector>

struct SwsContext;

namespace velmora::bench {

/// What the encoder is measured against: swscale's area scaler and libjpeg-turbo, both set up once
/// and reused, 4:2:0.
class AnchorEncoder final {
  public:
    enum class Way {
        /// Scaled as BGRX, then compressed from BGRX: the picture can be looked at in between.
        pixels,
        /// Scaled to the three planes at once, which are compressed.
        planes
    };

    AnchorEncoder(Way way, int sourceWidth, int sourceHeight, int width, int height);

    void scale(const std::vector<std::uint8_t>& source);
    /// Returns the JPEG's length in bytes.
    unsigned long compress(int quality);
    /// The scaled picture, after `scale`; only on the way of `pixels`.
    const std::vector<std::uint8_t>& pixels() const { return pixels_; }

  private:
    struct FreeScaler final {
        void operator()(SwsContext* scaler) const;
    };
    struct FreeLibrary final {
        void operator()(void* library) const;
    };

    Way way_;
    int sourceWidth_;
    int sourceHeight_;
    int width_;
    int height_;
    std::unique_ptr<SwsContext, FreeScaler> scaler_;
    std::unique_ptr<void, FreeLibrary> library_;
    std::vector<std::uint8_t> pixels_;
    std::vector<std::uint8_t> luma_;
    std::vector<std::uint8_t> blueDifference_;
    std::vector<std::uint8_t> redDifference_;
    std::vector<std::uint8_t> output_;
};

}  // namespace velmora::bench
