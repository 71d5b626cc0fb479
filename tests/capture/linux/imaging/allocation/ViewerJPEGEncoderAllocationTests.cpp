#include <gtest/gtest.h>

#include <random>

#include "core/capture/ViewerJPEGEncoder.h"
#include "core/capture/linux/imaging/ViewerReducedPicture.h"
#include "tests/support/imaging/AllocationCount.h"
#include "tests/support/imaging/TestPicture.h"

namespace velmora {
namespace {

TEST(ViewerJPEGEncoderAllocation, AFrameAllocatesItsBytesAndNothingElse) {
    std::mt19937 generator(1);
    const auto picture = TestPicture::random(1280, 720, generator);
    const auto first = ViewerJPEGEncoder::encode(picture.buffer(), 0.68);
    ASSERT_TRUE(first.has_value());
    const AllocationCount count;
    const auto second = ViewerJPEGEncoder::encode(picture.buffer(), 0.68);
    // The bytes, and the block that counts their owners.
    EXPECT_EQ(count.sinceConstruction(), 2U);
    EXPECT_EQ(first, second);
}

TEST(ViewerJPEGEncoderAllocation, ASmallerPictureIsEncodedInTheSameMemory) {
    std::mt19937 generator(2);
    const auto large = TestPicture::random(640, 360, generator);
    const auto small = TestPicture::random(320, 200, generator);
    ASSERT_TRUE(ViewerJPEGEncoder::encode(large.buffer(), 0.68).has_value());
    const AllocationCount count;
    ASSERT_TRUE(ViewerJPEGEncoder::encode(small.buffer(), 0.68).has_value());
    ASSERT_TRUE(ViewerJPEGEncoder::encode(large.buffer(), 0.68).has_value());
    EXPECT_EQ(count.sinceConstruction(), 4U);
}

TEST(ViewerJPEGEncoderAllocation, AChangedPartAllocatesTheFramesBytesAndNothingElse) {
    std::mt19937 generator(3);
    const auto first = TestPicture::random(640, 360, generator);
    const auto second = TestPicture::random(640, 360, generator);
    ViewerReducedPicture reduced(ViewerAreaAverage(640, 360, 640, 360));
    const auto encodeWith = [&reduced](const TestPicture& source, const ViewerRectangle& part) {
        reduced.reduce(part, source.pixel(part.x, part.y), source.bytesPerRow(),
                       ViewerReducedPicture::Search::anyChange);
        return ViewerJPEGEncoder::encode(reduced.pixels(), 0.68).has_value();
    };
    ASSERT_TRUE(encodeWith(first, reduced.whole()));
    ASSERT_TRUE(encodeWith(second, {100, 100, 200, 50}));
    const AllocationCount count;
    const bool isEncoded = encodeWith(first, {100, 100, 200, 50});
    EXPECT_EQ(count.sinceConstruction(), 2U);
    EXPECT_TRUE(isEncoded);
}

}  // namespace
}  // namespace velmora
