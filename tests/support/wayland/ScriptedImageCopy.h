#pragma once

#include <array>
#include <cstdint>
#include <vector>

struct wl_display;

namespace velmora {

/// What a scripted compositor does about ext-image-copy-capture: it fills what it is given with a
/// picture of the test's. Outlives the compositor. One thread.
struct ScriptedImageCopy final {
    enum class Course { fills, fails, stops, changesItsMind, isSilent };

    ScriptedImageCopy() = default;
    ScriptedImageCopy(const ScriptedImageCopy&) = delete;
    ScriptedImageCopy& operator=(const ScriptedImageCopy&) = delete;

    /// Gives the compositor the extension.
    void addTo(wl_display* display);

    Course course = Course::fills;
    std::vector<std::uint32_t> formats;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint32_t> pixels;
    std::uint32_t transform = 0;
    /// What the last client asked for.
    std::uint32_t options = 0;
    /// The part of the last picture that it wanted renewed: x, y, width and height.
    std::array<std::int32_t, 4> damage{};
};

}  // namespace velmora
