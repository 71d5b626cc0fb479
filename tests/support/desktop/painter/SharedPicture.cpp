#include "tests/support/desktop/painter/SharedPicture.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

void SharedPicture::Buffer::release(void* data, wl_buffer* /*buffer*/) {
    static_cast<Buffer*>(data)->isShown = false;
}

SharedPicture::SharedPicture(wl_shm* memory, std::int32_t width, std::int32_t height)
    : width_(width), height_(height) {
    constexpr std::int32_t bytesPerPixel = 4;
    static constexpr wl_buffer_listener listener{&Buffer::release};
    const std::int32_t bufferBytes = width * height * bytesPerPixel;
    const auto poolBytes = bufferBytes * static_cast<std::int32_t>(buffers_.size());
    bytes_ = static_cast<std::size_t>(poolBytes);
    const int file = ::memfd_create("picture", MFD_CLOEXEC);
    viewerCheck(file >= 0 && ::ftruncate(file, poolBytes) == 0, "a picture has no memory");
    mapping_ = ::mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    viewerCheck(mapping_ != MAP_FAILED, "a picture's memory cannot be used");
    wl_shm_pool* const pool = wl_shm_create_pool(memory, file, poolBytes);
    ::close(file);
    std::int32_t offset = 0;
    for (Buffer& buffer : buffers_) {
        buffer.handle = wl_shm_pool_create_buffer(pool, offset, width, height,
                                                  width * bytesPerPixel, WL_SHM_FORMAT_XRGB8888);
        buffer.pixels = static_cast<std::uint32_t*>(mapping_) + offset / bytesPerPixel;
        buffer.missing = whole();
        wl_buffer_add_listener(buffer.handle, &listener, &buffer);
        offset += bufferBytes;
    }
    wl_shm_pool_destroy(pool);
}

SharedPicture::~SharedPicture() {
    for (const Buffer& buffer : buffers_) {
        wl_buffer_destroy(buffer.handle);
    }
    ::munmap(mapping_, bytes_);
}

void SharedPicture::put(const ViewerRectangle& part, const std::vector<std::uint32_t>& colours) {
    colours_ = &colours;
    changed_ = boundingBox(changed_, part);
    for (Buffer& buffer : buffers_) {
        buffer.missing = boundingBox(buffer.missing, part);
    }
}

void SharedPicture::attachTo(wl_surface* surface) {
    Buffer& buffer = buffers_[buffers_[0].isShown ? 1 : 0];
    const ViewerRectangle& missing = buffer.missing;
    for (std::int64_t y = missing.y; y < missing.bottom(); ++y) {
        const std::int64_t begin = y * width_ + missing.x;
        std::copy_n(colours_->begin() + begin, missing.width, buffer.pixels + begin);
    }
    buffer.missing = {};
    buffer.isShown = true;
    wl_surface_attach(surface, buffer.handle, 0, 0);
    wl_surface_damage_buffer(
        surface, static_cast<std::int32_t>(changed_.x), static_cast<std::int32_t>(changed_.y),
        static_cast<std::int32_t>(changed_.width), static_cast<std::int32_t>(changed_.height));
    changed_ = {};
}

}  // namespace velmora
