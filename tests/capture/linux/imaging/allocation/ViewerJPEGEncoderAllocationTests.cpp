#include <gtest/gtest.h>

#include <random>

#include "core/capture/ViewerJPEGEncoder.h"
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

}  // namespace
}  // namespace velmora
