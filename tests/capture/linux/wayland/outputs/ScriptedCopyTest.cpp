#include "tests/capture/linux/wayland/outputs/ScriptedCopyTest.h"

#include <atomic>
#include <cstddef>
#include <thread>

#include "core/capture/linux/wayland/outputs/ViewerScreenCopy.h"
#include "tests/capture/linux/wayland/outputs/OutputsOnLoop.h"

namespace velmora {

ViewerWaylandOutput ScriptedCopyTest::addOutput() {
    compositor_.addOutput();
    OutputsOnLoop loop(compositor_.socketPath(), [this] { compositor_.pump(); });
    EXPECT_TRUE(loop.untilTold([](const auto& told) { return !told.outputs.empty(); }));
    return loop.current()->outputs.front();
}

void ScriptedCopyTest::tellOutput(std::int32_t transform) {
    compositor_.geometry(0, 0, "Maker", "Model", transform);
    compositor_.mode(true, 3, 2);
    compositor_.name("DP-1");
    compositor_.done();
}

ScriptedCopyTest::Pixels ScriptedCopyTest::copyOf(const ViewerWaylandOutput& output) {
    Pixels pixels;
    std::atomic<bool> isOver = false;
    std::thread asking([&] {
        const bool isCopied = ViewerScreenCopy::copy(
            compositor_.socketPath(), output, [&](const ViewerPixelBuffer& picture) {
                for (std::int64_t y = 0; y < picture.height; ++y) {
                    const auto* const row = reinterpret_cast<const std::uint32_t*>(
                        picture.pixels + static_cast<std::size_t>(y) * picture.bytesPerRow);
                    pixels.insert(pixels.end(), row, row + picture.width);
                }
            });
        EXPECT_EQ(isCopied, !pixels.empty());
        isOver = true;
    });
    while (!isOver) {
        compositor_.pump();
        std::this_thread::yield();
    }
    asking.join();
    return pixels;
}

}  // namespace velmora
