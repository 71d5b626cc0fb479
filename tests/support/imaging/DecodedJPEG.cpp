#include "tests/support/imaging/DecodedJPEG.h"

#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <memory>

namespace velmora {

namespace {

struct Destroy final {
    void operator()(void* handle) const { (void)tjDestroy(handle); }
};
using Library = std::unique_ptr<void, Destroy>;

}  // namespace

DecodedJPEG decoded(std::span<const std::uint8_t> jpeg) {
    const Library library(tjInitDecompress());
    DecodedJPEG result;
    int width = 0;
    int height = 0;
    const int header = tjDecompressHeader3(library.get(), jpeg.data(), jpeg.size(), &width, &height,
                                           &result.subsampling, &result.colourSpace);
    EXPECT_EQ(header, 0);
    if (header != 0) {
        return result;
    }
    result.picture = TestPicture(width, height);
    EXPECT_EQ(tjDecompress2(library.get(), jpeg.data(), jpeg.size(), result.picture.bytes.data(),
                            width, 0, height, TJPF_BGRX, TJFLAG_ACCURATEDCT),
              0);
    return result;
}

std::vector<std::uint8_t> quantisationTables(std::span<const std::uint8_t> jpeg) {
    constexpr std::size_t startOfImage = 2;
    constexpr std::size_t marker = 2;
    constexpr std::uint8_t tables = 0xDB;
    constexpr std::uint8_t startOfScan = 0xDA;
    std::vector<std::uint8_t> result;
    std::size_t place = startOfImage;
    while (place + 4 <= jpeg.size() && jpeg[place + 1] != startOfScan) {
        const std::size_t length = jpeg[place + 2] * 256U + jpeg[place + 3];
        if (jpeg[place + 1] == tables && place + marker + length <= jpeg.size()) {
            const auto content = jpeg.subspan(place + marker + 2, length - 2);
            result.insert(result.end(), content.begin(), content.end());
        }
        place += marker + length;
    }
    return result;
}

std::vector<std::uint8_t> quantisationTablesAt(int libraryQuality) {
    const Library library(tjInitCompress());
    const auto picture = TestPicture::filled(16, 16, {1, 2, 3, 0});
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    EXPECT_EQ(tjCompress2(library.get(), picture.bytes.data(), 16, 0, 16, TJPF_BGRX, &bytes, &size,
                          TJSAMP_420, libraryQuality, 0),
              0);
    const std::unique_ptr<unsigned char, decltype(&tjFree)> owner(bytes, &tjFree);
    return quantisationTables({bytes, size});
}

}  // namespace velmora
