#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "core/capture/linux/imaging/ViewerKeptJPEG.h"
#include "tests/capture/linux/imaging/decoders/FFmpegDecoder.h"
#include "tests/capture/linux/imaging/decoders/StbDecoder.h"
#include "tests/support/imaging/TestPicture.h"
#include "tests/support/imaging/WholeJPEG.h"

namespace velmora {
namespace {

constexpr double quality = 0.68;
constexpr int libraryQuality = 68;

using Decoder =
    std::function<std::optional<std::vector<std::uint8_t>>(std::span<const std::uint8_t>)>;

/// JPEGs of pictures in which a part changed are decoded without complaint, to what the decoder
/// makes of an encoder's that knows no pieces.
void expectDecodedAsWhole(const Decoder& decode) {
    for (const auto& [width, height] : {std::pair<std::int64_t, std::int64_t>{640, 360},
                                        {576, 360},
                                        {639, 359},
                                        {320, 48},
                                        {33, 96},
                                        {464, 33},
                                        {17, 17},
                                        {16, 16},
                                        {1, 1}}) {
        SCOPED_TRACE(std::to_string(width) + " × " + std::to_string(height));
        std::mt19937 generator(1);
        TestPicture picture = TestPicture::random(width, height, generator);
        ViewerKeptJPEG jpeg(width, height);
        ViewerJPEGCompressor compressor;
        for (int turn = 0; turn < 10; ++turn) {
            const auto bytes = jpeg.encode(picture.buffer(), quality, compressor);
            ASSERT_TRUE(bytes.has_value());
            const auto seen = decode(*bytes);
            ASSERT_TRUE(seen.has_value());
            ASSERT_EQ(seen, decode(wholeJPEG(picture.buffer(), libraryQuality)));
            const std::size_t piece = generator() % jpeg.grid().count();
            const ViewerRectangle part = jpeg.grid().piece(piece);
            picture.pixel(part.x, part.y)[1] ^= 0xFF;
            jpeg.outdate(piece);
        }
    }
}

TEST(OtherDecoders, FFmpegSeesPiecesAsAWholePictureWithoutAWarning) {
    expectDecodedAsWhole(&decodedByFFmpeg);
}

TEST(OtherDecoders, StbImageSeesPiecesAsAWholePicture) {
    expectDecodedAsWhole(&decodedByStb);
}

TEST(OtherDecoders, WhatIsMissingIsComplainedOf) {
    std::mt19937 generator(2);
    const TestPicture picture = TestPicture::random(64, 64, generator);
    auto bytes = wholeJPEG(picture.buffer(), libraryQuality);
    ASSERT_TRUE(decodedByFFmpeg(bytes).has_value());
    // Half of the picture is missing.
    bytes.resize(bytes.size() / 2);
    EXPECT_FALSE(decodedByFFmpeg(bytes).has_value());
}

}  // namespace
}  // namespace velmora
