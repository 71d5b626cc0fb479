#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace velmora {

/// How the pixels of a screen lie in memory, and the way from there to 8 bits each of blue, green,
/// red and one unused byte. Of a wider channel the low bits are dropped; the bits of a narrower one
/// are repeated from the top, so that its darkest is 0 and its brightest 255. A plain value.
class ViewerPixelForm final {
  public:
    /// The size of a converted pixel.
    static constexpr std::size_t convertedBytes = 4;

    /// What a screen says of its pixels.
    struct Description final {
        friend bool operator==(const Description&, const Description&) = default;

        /// The rows of a picture begin at multiples of `rowBits`.
        int bitsPerPixel = 32;
        int rowBits = 32;
        bool isLeastByteFirst = true;
        std::uint32_t redMask = 0xff0000;
        std::uint32_t greenMask = 0x00ff00;
        std::uint32_t blueMask = 0x0000ff;
    };

    /// Nothing for pixels of another size and for masks that are no three separate runs of bits.
    static std::optional<ViewerPixelForm> make(const Description& description);

    /// Whether there is nothing to convert.
    bool isPlain() const { return isPlain_; }
    /// The distance of the rows of a picture of so many pixels.
    std::size_t bytesPerRow(std::size_t width) const;
    /// Converts neighbouring pixels of one row to 4 bytes each.
    void convert(const std::uint8_t* source, std::size_t count, std::uint8_t* target) const;

  private:
    /// One colour's bits of a pixel and what they stand for.
    struct Channel final {
        int shift = 0;
        std::uint32_t bits = 0;
        std::array<std::uint8_t, 256> levels{};

        std::uint8_t levelOf(std::uint32_t pixel) const { return levels[(pixel >> shift) & bits]; }
    };

    ViewerPixelForm(const Description& description, const Channel& red, const Channel& green,
                    const Channel& blue);
    static std::optional<Channel> channelOf(std::uint32_t mask, int bitsPerPixel);

    std::size_t bytesPerPixel_;
    std::size_t rowBytes_;
    bool isLeastByteFirst_;
    bool isPlain_;
    Channel red_;
    Channel green_;
    Channel blue_;
};

}  // namespace velmora
