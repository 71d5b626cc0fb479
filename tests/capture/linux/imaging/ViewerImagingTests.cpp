#include "core/capture/ViewerImaging.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "tests/support/imaging/TestPicture.h"

namespace velmora {
namespace {

/// Whether each channel is within a level of its area's average.
bool isReductionOf(const TestPicture& source, const ViewerImage& image) {
    const auto averages = areaAverages(source, image.picture.width, image.picture.height);
    bool result = true;
    for (std::size_t index = 0; index < averages.size(); ++index) {
        const double difference = image.picture.pixels[index] - averages[index];
        result = result && difference < 1 && difference > -1;
    }
    return result;
}

TEST(ViewerImaging, APictureIsOnlyEverReduced) {
    const TestPicture source(8, 6);
    EXPECT_FALSE(ViewerImaging::scaled(source.buffer(), 0, 6).has_value());
    EXPECT_FALSE(ViewerImaging::scaled(source.buffer(), 8, 0).has_value());
    EXPECT_FALSE(ViewerImaging::scaled(source.buffer(), 9, 6).has_value());
    EXPECT_FALSE(ViewerImaging::scaled(source.buffer(), 8, 7).has_value());
    EXPECT_TRUE(ViewerImaging::scaled(source.buffer(), 8, 6).has_value());
    EXPECT_TRUE(ViewerImaging::scaled(source.buffer(), 1, 1).has_value());
}

TEST(ViewerImaging, EachOfSeveralSizesInTurnGetsItsOwnAverage) {
    std::mt19937 generator(1);
    const auto source = TestPicture::random(48, 24, generator);
    for (const auto& [width, height] : std::vector<std::pair<std::int64_t, std::int64_t>>{
             {24, 12}, {24, 12}, {12, 12}, {12, 8}, {48, 8}, {12, 24}, {48, 24}}) {
        const std::optional<ViewerImage> image =
            ViewerImaging::scaled(source.buffer(), width, height);
        ASSERT_TRUE(image.has_value());
        EXPECT_EQ(image->picture.width, width);
        EXPECT_EQ(image->picture.height, height);
        EXPECT_TRUE(isReductionOf(source, *image)) << width << " × " << height;
    }
}

}  // namespace
}  // namespace velmora
