#pragma once

#include <wayland-client.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/capture/linux/imaging/ViewerRectangle.h"

namespace velmora {

/// A picture that a compositor shows: two buffers that it shares, of which one can always be
/// painted while the other one is looked at. Colours are 0xRRGGBB. One thread.
class SharedPicture final {
  public:
    SharedPicture(wl_shm* memory, std::int32_t width, std::int32_t height);
    ~SharedPicture();
    SharedPicture(const SharedPicture&) = delete;
    SharedPicture& operator=(const SharedPicture&) = delete;

    ViewerRectangle whole() const { return {0, 0, width_, height_}; }
    /// Takes over a part of a picture of the same size.
    void put(const ViewerRectangle& part, const std::vector<std::uint32_t>& colours);
    /// Whether one of the buffers is the painter's now.
    bool hasFreeBuffer() const { return !buffers_[0].isShown || !buffers_[1].isShown; }
    /// Attaches the newest picture to a surface, for its next commit.
    void attachTo(wl_surface* surface);

  private:
    struct Buffer final {
        static void release(void* data, wl_buffer* buffer);

        wl_buffer* handle = nullptr;
        std::uint32_t* pixels = nullptr;
        bool isShown = false;
        /// What it has yet to take over.
        ViewerRectangle missing = {};
    };

    const std::int32_t width_;
    const std::int32_t height_;
    std::size_t bytes_ = 0;
    void* mapping_ = nullptr;
    std::array<Buffer, 2> buffers_;
    const std::vector<std::uint32_t>* colours_ = nullptr;
    ViewerRectangle changed_;
};

}  // namespace velmora
