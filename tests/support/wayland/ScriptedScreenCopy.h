#pragma once

#include <cstdint>
#include <functional>
#include <vector>

struct wl_display;

namespace velmora {

/// What a scripted compositor does about wlr-screencopy: it fills what it is given with a picture
/// of the test's. Outlives the compositor. One thread.
struct ScriptedScreenCopy final {
    ScriptedScreenCopy() = default;
    ScriptedScreenCopy(const ScriptedScreenCopy&) = delete;
    ScriptedScreenCopy& operator=(const ScriptedScreenCopy&) = delete;

    /// Gives the compositor the extension.
    void addTo(wl_display* display);

    std::uint32_t version = 3;
    /// The version that the last client speaks.
    std::uint32_t boundVersion = 0;
    /// Whether the compositor shares memory.
    bool hasMemory = true;
    bool fails = false;
    /// What is offered, in this order, each with its stride in bytes.
    struct Layout final {
        std::uint32_t format = 0;
        std::uint32_t stride = 0;
    };
    std::vector<Layout> layouts;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint32_t> pixels;
    bool isUpsideDown = false;
    /// Done right before and right after the copy is told to be ready.
    std::function<void()> beforeReady = [] {};
    std::function<void()> afterReady = [] {};
    /// Whether the last client wanted the cursor.
    bool hasCursor = true;
    /// How many copies were asked for, and how often memory was given for one.
    int copies = 0;
    int fillings = 0;
};

}  // namespace velmora
