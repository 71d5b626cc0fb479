// Pictures of any shape, content and quality: each becomes a JPEG of its target size, a part of it
// is reduced the same alone as with the rest, and whatever changes in it, the bytes are those of a
// picture encoded anew.

#include <fuzzer/FuzzedDataProvider.h>
#include <turbojpeg.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "core/capture/ViewerJPEGEncoder.h"
#include "core/capture/ViewerTargetSize.h"
#include "core/capture/linux/imaging/ViewerAreaAverage.h"
#include "core/capture/linux/imaging/ViewerReducedPicture.h"
#include "core/runtime/ViewerCheck.h"

namespace {

using velmora::ViewerAreaAverage;
using velmora::viewerCheck;
using velmora::ViewerPixelBuffer;
using velmora::ViewerRectangle;

constexpr std::int64_t mostPixels = 200'000;

/// Memory that ends with the last row's last pixel.
std::vector<std::uint8_t> filledMemory(FuzzedDataProvider& input, std::int64_t width,
                                       std::int64_t height, std::size_t bytesPerRow) {
    std::vector<std::uint8_t> memory(static_cast<std::size_t>(height - 1) * bytesPerRow +
                                     static_cast<std::size_t>(width) * 4);
    auto pattern = input.ConsumeBytes<std::uint8_t>(500);
    if (pattern.empty()) {
        pattern.push_back(0x5A);
    }
    for (std::size_t index = 0; index < memory.size(); ++index) {
        memory[index] = pattern[index % pattern.size()];
    }
    return memory;
}

void checkJPEG(const ViewerPixelBuffer& picture, double quality) {
    const auto jpeg = velmora::ViewerJPEGEncoder::encode(picture, quality);
    viewerCheck(jpeg.has_value(), "every picture becomes a JPEG");
    static const tjhandle library = tjInitDecompress();
    int width = 0;
    int height = 0;
    int subsampling = 0;
    int colourSpace = 0;
    const int result = tjDecompressHeader3(library, jpeg->data(), jpeg->size(), &width, &height,
                                           &subsampling, &colourSpace);
    const auto target = velmora::ViewerJPEGEncoder::targetSize(picture.width, picture.height);
    viewerCheck(result == 0 && width == static_cast<int>(target.width) &&
                    height == static_cast<int>(target.height),
                "the JPEG has the target's size");
}

/// Reduces `part` of a target from a copy of just its source pixels, and compares.
void checkPart(const ViewerAreaAverage& average, const ViewerPixelBuffer& source,
               const ViewerRectangle& part) {
    const auto targetRow = static_cast<std::size_t>(average.targetWidth()) * 4;
    std::vector<std::uint8_t> whole(targetRow * static_cast<std::size_t>(average.targetHeight()));
    std::vector<std::uint8_t> alone(whole.size());
    average.reduce({0, 0, average.targetWidth(), average.targetHeight()}, source.pixels,
                   source.bytesPerRow, whole.data(), targetRow);
    const ViewerRectangle from = average.sourceFor(part);
    const auto fromRow = static_cast<std::size_t>(from.width) * 4;
    std::vector<std::uint8_t> copy(fromRow * static_cast<std::size_t>(from.height));
    for (std::int64_t row = 0; row < from.height; ++row) {
        std::memcpy(&copy[static_cast<std::size_t>(row) * fromRow],
                    source.pixels + static_cast<std::size_t>(from.y + row) * source.bytesPerRow +
                        static_cast<std::size_t>(from.x) * 4,
                    fromRow);
    }
    average.reduce(part, copy.data(), fromRow, alone.data(), targetRow);
    for (std::int64_t row = part.y; row < part.y + part.height; ++row) {
        const auto offset =
            static_cast<std::size_t>(row) * targetRow + static_cast<std::size_t>(part.x) * 4;
        viewerCheck(std::memcmp(&alone[offset], &whole[offset],
                                static_cast<std::size_t>(part.width) * 4) == 0,
                    "a part is reduced as with the rest");
    }
}

/// Reduces changed parts of the source one after the other, and encodes now and then.
void checkChanges(FuzzedDataProvider& input, ViewerPixelBuffer source,
                  std::vector<std::uint8_t> memory, double quality) {
    source.pixels = memory.data();
    const auto target = velmora::ViewerJPEGEncoder::targetSize(source.width, source.height);
    velmora::ViewerReducedPicture picture(
        ViewerAreaAverage(source.width, source.height, static_cast<std::int64_t>(target.width),
                          static_cast<std::int64_t>(target.height)));
    while (input.remaining_bytes() > 0) {
        const std::size_t first = input.ConsumeIntegralInRange<std::size_t>(0, memory.size() - 1);
        const std::size_t last =
            input.ConsumeIntegralInRange<std::size_t>(first, memory.size() - 1);
        const auto change = input.ConsumeIntegral<std::uint8_t>();
        for (std::size_t place = first; place <= last; ++place) {
            memory[place] ^= change;
        }
        const auto top = static_cast<std::int64_t>(first / source.bytesPerRow);
        const auto bottom = static_cast<std::int64_t>(last / source.bytesPerRow);
        const ViewerRectangle part =
            picture.average().targetFor({0, top, source.width, bottom - top + 1});
        const ViewerRectangle from = picture.average().sourceFor(part);
        picture.reduce(part, source.pixels + static_cast<std::size_t>(from.y) * source.bytesPerRow,
                       source.bytesPerRow, velmora::ViewerReducedPicture::Search::anyChange);
        if (input.ConsumeBool()) {
            ViewerPixelBuffer anew = picture.pixels();
            anew.jpeg = nullptr;
            viewerCheck(velmora::ViewerJPEGEncoder::encode(picture.pixels(), quality) ==
                            velmora::ViewerJPEGEncoder::encode(anew, quality),
                        "the same picture gives the same bytes");
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const auto width = input.ConsumeIntegralInRange<std::int64_t>(1, 3000);
    const auto height = input.ConsumeIntegralInRange<std::int64_t>(1, mostPixels / width);
    const auto gap = input.ConsumeIntegralInRange<std::size_t>(0, 70);
    const auto targetWidth = input.ConsumeIntegralInRange<std::int64_t>(1, width);
    const auto targetHeight = input.ConsumeIntegralInRange<std::int64_t>(1, height);
    ViewerRectangle part;
    part.x = input.ConsumeIntegralInRange<std::int64_t>(0, targetWidth - 1);
    part.y = input.ConsumeIntegralInRange<std::int64_t>(0, targetHeight - 1);
    part.width = input.ConsumeIntegralInRange<std::int64_t>(1, targetWidth - part.x);
    part.height = input.ConsumeIntegralInRange<std::int64_t>(1, targetHeight - part.y);
    const auto quality = input.ConsumeFloatingPoint<double>();
    const std::size_t bytesPerRow = static_cast<std::size_t>(width) * 4 + gap;
    const auto memory = filledMemory(input, width, height, bytesPerRow);
    const ViewerPixelBuffer picture{width, height, memory.data(), bytesPerRow, nullptr};
    checkJPEG(picture, quality);
    checkPart(ViewerAreaAverage(width, height, targetWidth, targetHeight), picture, part);
    checkChanges(input, picture, memory, quality);
    return 0;
}
