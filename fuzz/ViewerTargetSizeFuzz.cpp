// Whatever the size of a display, its preview fits, is never enlarged, and has its shape as far as
// whole numbers allow.
#include "core/capture/ViewerTargetSize.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "core/runtime/ViewerCheck.h"

namespace velmora {
namespace {

void check(std::int64_t width, std::int64_t height) {
    constexpr auto widest = static_cast<double>(ViewerJPEGEncoder::maxPreviewWidth);
    constexpr auto highest = static_cast<double>(ViewerJPEGEncoder::maxPreviewHeight);
    const ViewerTargetSize target = ViewerJPEGEncoder::targetSize(width, height);
    viewerCheck(target.width >= 1 && target.width <= widest, "a preview's width has its limits");
    viewerCheck(target.height >= 1 && target.height <= highest, "so has its height");
    viewerCheck(target.width == std::floor(target.width), "a width is a whole number");
    viewerCheck(target.height == std::floor(target.height), "a height is a whole number");
    if (width < 1 || height < 1) {
        viewerCheck(target == ViewerTargetSize{1, 1}, "what is no size has the smallest preview");
        return;
    }
    const auto fullWidth = static_cast<double>(width);
    const auto fullHeight = static_cast<double>(height);
    if (fullWidth <= widest && fullHeight <= highest) {
        viewerCheck(target == ViewerTargetSize{fullWidth, fullHeight}, "what fits stays as it is");
        return;
    }
    // One side is as long as it may be, but for a division that is not exact; each is less than a
    // pixel off its share, unless it would be none.
    const double scale = std::min(widest / fullWidth, highest / fullHeight);
    viewerCheck(target.width >= widest - 1 || target.height >= highest - 1, "one side is full");
    viewerCheck(target.width == 1 || std::abs(target.width - fullWidth * scale) < 1,
                "the width is its share");
    viewerCheck(target.height == 1 || std::abs(target.height - fullHeight * scale) < 1,
                "the height is its share");
}

}  // namespace
}  // namespace velmora

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    FuzzedDataProvider choices(bytes, size);
    while (choices.remaining_bytes() > 0) {
        // Small numbers as often as any others.
        const unsigned shortening = choices.ConsumeIntegralInRange<unsigned>(0, 63);
        const auto width = choices.ConsumeIntegral<std::int64_t>();
        const auto height = choices.ConsumeIntegral<std::int64_t>();
        velmora::check(width >> shortening, height >> shortening);
        velmora::check(width, height >> shortening);
    }
    return 0;
}
