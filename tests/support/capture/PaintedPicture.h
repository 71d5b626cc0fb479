#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "core/capture/ViewerJPEGEncoder.h"
#include "core/capture/ViewerScreenCapture.h"
#include "core/protocol/ViewerBytes.h"

namespace velmora {

/// A small picture whose halves are grey. Shades that differ by 4 or more encode differently.
class PaintedPicture final {
  public:
    explicit PaintedPicture(std::uint8_t left, std::uint8_t right = 0) {
        for (std::size_t offset = 0; offset < bytes_.size(); ++offset) {
            bytes_.at(offset) = offset % bytesPerRow < bytesPerRow / 2 ? left : right;
        }
        buffer_.width = width;
        buffer_.height = height;
        buffer_.pixels = bytes_.data();
        buffer_.bytesPerRow = bytesPerRow;
    }
    PaintedPicture(const PaintedPicture&) = delete;
    PaintedPicture& operator=(const PaintedPicture&) = delete;

    const ViewerPixelBuffer& buffer() const { return buffer_; }

    /// A delivery of this picture that a receiver accepts. Refers to the picture.
    ViewerStreamOutput complete() const {
        ViewerStreamOutput output;
        output.isValid = true;
        output.hasAttachments = true;
        output.status = ViewerStreamOutput::completeStatus;
        output.pixels = &buffer_;
        return output;
    }

    /// What a session makes of the picture.
    ViewerBytes jpeg() const {
        return ViewerJPEGEncoder::encode(buffer_, ViewerJPEGEncoder::captureQuality).value();
    }

  private:
    static constexpr std::int64_t width = 16;
    static constexpr std::int64_t height = 8;
    static constexpr std::size_t bytesPerRow = width * 4;

    std::array<std::uint8_t, bytesPerRow * height> bytes_{};
    ViewerPixelBuffer buffer_;
};

}  // namespace velmora
