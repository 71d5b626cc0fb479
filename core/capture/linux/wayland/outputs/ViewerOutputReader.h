#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "core/capture/linux/wayland/outputs/ViewerWaylandOutput.h"

struct wl_display;
struct wl_output;
struct wl_registry;

namespace velmora {

/// What the compositor behind one connection tells of its outputs, kept current by its events. Any
/// version of the protocol's pieces: names came with the fourth of `wl_output` and the second of
/// `xdg_output`, and each has its own rule for when a change is whole. Destroyed before the
/// connection, and used on its thread.
class ViewerOutputReader final {
  public:
    /// A piece of the protocol that the compositor has. A plain value.
    struct Global final {
        /// 0 where there is none.
        std::uint32_t name = 0;
        std::uint32_t version = 0;
    };

    explicit ViewerOutputReader(wl_display* display);
    ~ViewerOutputReader();
    ViewerOutputReader(const ViewerOutputReader&) = delete;
    ViewerOutputReader& operator=(const ViewerOutputReader&) = delete;

    /// Whether everything was told that there was at the beginning.
    bool isComplete() const;
    /// The outputs that are wholly known, in the compositor's order.
    std::vector<ViewerWaylandOutput> outputs() const;

    Global sharedMemory() const;
    /// wlr-screencopy.
    Global screenCopy() const;
    /// The two halves of ext-image-copy-capture.
    Global imageSources() const;
    Global imageCopy() const;
    bool offersImageCopy() const { return imageSources().name != 0 && imageCopy().name != 0; }
    /// What the pieces above are bound on.
    wl_registry* registry() const;
    /// One of its outputs, by the compositor's number.
    wl_output* outputWith(std::uint32_t global) const;

  private:
    class Told;
    const std::unique_ptr<Told> told_;
};

}  // namespace velmora
