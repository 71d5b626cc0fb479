// Loaded before everything else into the portal backend of wlroots' compositors, version 0.7. That
// one starts no cast unless a DMA-BUF's format was announced too, which a compositor that renders
// without a graphics card never does. So each format of shared memory is announced as the other
// kind as well; without a graphics card the backend then offers and uses shared memory all the
// same.

#include <dlfcn.h>

#include <cstdint>
#include <cstring>

struct wl_proxy;

namespace {

using Function = void (*)();
using Buffer = void (*)(void* data, void* frame, std::uint32_t format, std::uint32_t width,
                        std::uint32_t height, std::uint32_t stride);
using DMABuffer = void (*)(void* data, void* frame, std::uint32_t format, std::uint32_t width,
                           std::uint32_t height);

/// What is told of a frame, in the protocol's order.
struct FrameListener final {
    Buffer buffer;
    Function flags;
    Function ready;
    Function failed;
    Function damage;
    DMABuffer dmaBuffer;
    Function bufferDone;
};

const FrameListener* backendsOwn = nullptr;
FrameListener listener{};

/// The two first formats of shared memory have numbers of their own there.
std::uint32_t dmaFormatOf(std::uint32_t format) {
    constexpr std::uint32_t argb = 0x34325241;
    constexpr std::uint32_t xrgb = 0x34325258;
    return format == 0 ? argb : format == 1 ? xrgb : format;
}

void announceBoth(void* data, void* frame, std::uint32_t format, std::uint32_t width,
                  std::uint32_t height, std::uint32_t stride) {
    backendsOwn->dmaBuffer(data, frame, dmaFormatOf(format), width, height);
    backendsOwn->buffer(data, frame, format, width, height, stride);
}

template <typename Type>
Type next(const char* name) {
    return reinterpret_cast<Type>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the library's name
extern "C" __attribute__((visibility("default"))) int wl_proxy_add_listener(
    wl_proxy* proxy, Function* implementation, void* data) {
    static const auto add = next<int (*)(wl_proxy*, const void*, void*)>("wl_proxy_add_listener");
    static const auto classOf = next<const char* (*)(wl_proxy*)>("wl_proxy_get_class");
    if (std::strcmp(classOf(proxy), "zwlr_screencopy_frame_v1") != 0) {
        return add(proxy, static_cast<const void*>(implementation), data);
    }
    backendsOwn = reinterpret_cast<const FrameListener*>(implementation);
    listener = *backendsOwn;
    listener.buffer = announceBoth;
    return add(proxy, &listener, data);
}
