#include "core/capture/linux/imaging/ViewerJPEGCompressor.h"

#include <turbojpeg.h>

#include <array>
#include <cmath>

namespace velmora {

namespace {

constexpr int lowestQuality = 1;
constexpr int highestQuality = 100;

int libraryQuality(double quality) {
    return lowestQuality +
           static_cast<int>(std::lround(quality * (highestQuality - lowestQuality)));
}

}  // namespace

void ViewerJPEGCompressor::Destroy::operator()(void* handle) const {
    (void)tjDestroy(handle);  // fails for a null handle only
}

std::optional<std::vector<std::uint8_t>> ViewerJPEGCompressor::compress(
    const ViewerPixelBuffer& picture, double quality) {
    if (!library_) {
        library_.reset(tjInitCompress());
    }
    const auto width = static_cast<int>(picture.width);
    const auto height = static_cast<int>(picture.height);
    const unsigned long room = tjBufSize(width, height, TJSAMP_420);
    constexpr auto failed = static_cast<unsigned long>(-1);
    if (!library_ || room == failed) {
        return std::nullopt;
    }
    if (room > outputSize_) {
        output_ = std::make_unique_for_overwrite<std::uint8_t[]>(room);
        outputSize_ = room;
    }
    planes_.convert(picture);
    std::array<const unsigned char*, 3> planes{
        planes_.luma().data(), planes_.blueDifference().data(), planes_.redDifference().data()};
    const std::array<int, 3> bytesPerRow{static_cast<int>(planes_.lumaWidth()),
                                         static_cast<int>(planes_.chromaWidth()),
                                         static_cast<int>(planes_.chromaWidth())};
    unsigned char* jpeg = output_.get();
    unsigned long jpegBytes = outputSize_;
    const int result = tjCompressFromYUVPlanes(
        library_.get(), planes.data(), width, bytesPerRow.data(), height, TJSAMP_420, &jpeg,
        &jpegBytes, libraryQuality(quality), TJFLAG_NOREALLOC);
    if (result != 0) {
        return std::nullopt;
    }
    return std::vector<std::uint8_t>(jpeg, jpeg + jpegBytes);
}

}  // namespace velmora
