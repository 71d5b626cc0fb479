#include "tests/support/imaging/WholeJPEG.h"

#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <array>
#include <memory>

#include "core/capture/linux/imaging/ViewerYUVPlanes.h"

namespace velmora {

std::vector<std::uint8_t> wholeJPEG(const ViewerPixelBuffer& picture, int libraryQuality) {
    ViewerYUVPlanes planes;
    planes.convert(picture, {0, 0, picture.width, picture.height});
    const std::array<const unsigned char*, 3> rows{
        planes.luma().data(), planes.blueDifference().data(), planes.redDifference().data()};
    const std::array<int, 3> bytesPerRow{static_cast<int>(planes.lumaWidth()),
                                         static_cast<int>(planes.chromaWidth()),
                                         static_cast<int>(planes.chromaWidth())};
    const std::unique_ptr<void, decltype(&tjDestroy)> library(tjInitCompress(), &tjDestroy);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    auto writable = rows;
    EXPECT_EQ(
        tjCompressFromYUVPlanes(library.get(), writable.data(), static_cast<int>(picture.width),
                                bytesPerRow.data(), static_cast<int>(picture.height), TJSAMP_420,
                                &bytes, &size, libraryQuality, TJFLAG_ACCURATEDCT),
        0);
    const std::unique_ptr<unsigned char, decltype(&tjFree)> owner(bytes, &tjFree);
    return {bytes, bytes + size};
}

}  // namespace velmora
