// What the reduction reads and writes. AddressSanitizer watches the edges of the memory, which is
// exactly as large as the rectangles need.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "core/capture/linux/imaging/ViewerAreaAverage.h"
#include "tests/support/imaging/InstructionSets.h"
#include "tests/support/imaging/TestPicture.h"

namespace velmora {
namespace {

/// The pixels of one rectangle of a picture, alone in memory.
TestPicture cutOut(const TestPicture& picture, const ViewerRectangle& rectangle) {
    TestPicture part(rectangle.width, rectangle.height);
    for (std::int64_t row = 0; row < rectangle.height; ++row) {
        std::memcpy(part.pixel(0, row), picture.pixel(rectangle.x, rectangle.y + row),
                    part.bytesPerRow());
    }
    return part;
}

/// Cuts a rectangle at random into rectangles that cover it.
void cut(const ViewerRectangle& whole, std::mt19937& generator,
         std::vector<ViewerRectangle>& parts) {
    if (generator() % 5 == 0 || (whole.width == 1 && whole.height == 1)) {
        parts.push_back(whole);
        return;
    }
    ViewerRectangle first = whole;
    ViewerRectangle second = whole;
    if (whole.height == 1 || (whole.width > 1 && generator() % 2 == 0)) {
        first.width = 1 + static_cast<std::int64_t>(generator()) % (whole.width - 1);
        second.x += first.width;
        second.width -= first.width;
    } else {
        first.height = 1 + static_cast<std::int64_t>(generator()) % (whole.height - 1);
        second.y += first.height;
        second.height -= first.height;
    }
    cut(first, generator, parts);
    cut(second, generator, parts);
}

struct Sizes final {
    std::int64_t sourceWidth;
    std::int64_t sourceHeight;
    std::int64_t width;
    std::int64_t height;
};

Sizes randomSizes(std::mt19937& generator) {
    const auto from = [&](std::int64_t least, std::int64_t most) {
        return std::uniform_int_distribution<std::int64_t>(least, most)(generator);
    };
    const std::int64_t width = from(1, 70);
    const std::int64_t height = from(1, 40);
    const bool isIntegral = generator() % 3 == 0;
    return {isIntegral ? width * from(1, 8) : from(width, 9 * width),
            isIntegral ? height * from(1, 8) : from(height, 9 * height), width, height};
}

void reduceInParts(const ViewerAreaAverage& average, const TestPicture& source,
                   std::mt19937& generator, TestPicture& target) {
    std::vector<ViewerRectangle> parts;
    cut({0, 0, target.width, target.height}, generator, parts);
    std::ranges::shuffle(parts, generator);
    for (const ViewerRectangle& part : parts) {
        const auto pixels = cutOut(source, average.sourceFor(part));
        average.reduce(part, pixels.bytes.data(), pixels.bytesPerRow(), target.bytes.data(),
                       target.bytesPerRow());
    }
}

TEST(ViewerAreaAverageMemory, AnyCutFromNoMoreThanItsSourceGivesTheWholesPicture) {
    for (std::uint32_t seed = 0; seed < 100; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 generator(seed);
        const Sizes sizes = randomSizes(generator);
        const auto source = TestPicture::random(sizes.sourceWidth, sizes.sourceHeight, generator);
        const ViewerAreaAverage average(source.width, source.height, sizes.width, sizes.height);
        forEachInstructionSet([&] {
            TestPicture whole(sizes.width, sizes.height);
            average.reduce({0, 0, whole.width, whole.height}, source.bytes.data(),
                           source.bytesPerRow(), whole.bytes.data(), whole.bytesPerRow());
            TestPicture inParts(sizes.width, sizes.height);
            reduceInParts(average, source, generator, inParts);
            ASSERT_EQ(inParts.bytes, whole.bytes);
        });
    }
}

TEST(ViewerAreaAverageMemory, NothingOutsideTheRectangleIsWritten) {
    for (std::uint32_t seed = 0; seed < 100; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 generator(seed);
        const Sizes sizes = randomSizes(generator);
        const ViewerAreaAverage average(sizes.sourceWidth, sizes.sourceHeight, sizes.width,
                                        sizes.height);
        std::vector<ViewerRectangle> parts;
        cut({0, 0, sizes.width, sizes.height}, generator, parts);
        const ViewerRectangle part = parts[generator() % parts.size()];
        const auto from = average.sourceFor(part);
        const auto white = TestPicture::filled(from.width, from.height, {255, 255, 255, 255});
        forEachInstructionSet([&] {
            TestPicture target(sizes.width, sizes.height);
            average.reduce(part, white.bytes.data(), white.bytesPerRow(), target.bytes.data(),
                           target.bytesPerRow());
            TestPicture expected(sizes.width, sizes.height);
            for (std::int64_t row = 0; row < part.height; ++row) {
                std::fill_n(expected.pixel(part.x, part.y + row),
                            static_cast<std::size_t>(part.width) * TestPicture::channels, 255);
            }
            ASSERT_EQ(target.bytes, expected.bytes);
        });
    }
}

TEST(ViewerAreaAverageMemory, RowsMayBeApart) {
    constexpr std::size_t gap = 12;
    std::mt19937 generator(1);
    const auto source = TestPicture::random(40, 21, generator);
    const ViewerAreaAverage average(40, 21, 9, 5);
    TestPicture expected(9, 5);
    average.reduce({0, 0, 9, 5}, source.bytes.data(), source.bytesPerRow(), expected.bytes.data(),
                   expected.bytesPerRow());
    const std::size_t stride = source.bytesPerRow() + gap;
    std::vector<std::uint8_t> apart(21 * stride - gap, 0xEE);
    for (std::int64_t row = 0; row < 21; ++row) {
        std::memcpy(&apart[static_cast<std::size_t>(row) * stride], source.pixel(0, row),
                    source.bytesPerRow());
    }
    const std::size_t targetStride = expected.bytesPerRow() + gap;
    std::vector<std::uint8_t> target(5 * targetStride - gap, 0xDD);
    average.reduce({0, 0, 9, 5}, apart.data(), stride, target.data(), targetStride);
    for (std::int64_t row = 0; row < 5; ++row) {
        const auto* begin = &target[static_cast<std::size_t>(row) * targetStride];
        EXPECT_EQ(std::memcmp(begin, expected.pixel(0, row), expected.bytesPerRow()), 0);
        if (row < 4) {
            EXPECT_TRUE(std::all_of(begin + expected.bytesPerRow(), begin + targetStride,
                                    [](auto byte) { return byte == 0xDD; }));
        }
    }
}

TEST(ViewerAreaAverageMemory, TheLargestScreensAreReducedInBandsWithoutOverflow) {
    const ViewerAreaAverage average(16384, 8640, 640, 337);
    for (const ViewerRectangle& band :
         {ViewerRectangle{0, 0, 640, 1}, ViewerRectangle{0, 336, 640, 1}}) {
        const auto from = average.sourceFor(band);
        const auto white = TestPicture::filled(from.width, from.height, {255, 255, 255, 255});
        TestPicture target(640, 337);
        average.reduce(band, white.bytes.data(), white.bytesPerRow(), target.bytes.data(),
                       target.bytesPerRow());
        EXPECT_TRUE(std::all_of(target.pixel(0, band.y),
                                target.pixel(0, band.y) + target.bytesPerRow(),
                                [](auto byte) { return byte == 255; }));
    }
}

TEST(ViewerAreaAverageMemory, ThePairThatReachesFarthestPastAPartOfARowIsHeld) {
    // Found by search: the part's last target pixel reads one column past the longest part.
    const ViewerAreaAverage average(3410, 2, 600, 1);
    const ViewerRectangle part{1, 0, 500, 1};
    const auto from = average.sourceFor(part);
    const auto white = TestPicture::filled(from.width, from.height, {255, 255, 255, 255});
    forEachInstructionSet([&] {
        TestPicture target(600, 1);
        average.reduce(part, white.bytes.data(), white.bytesPerRow(), target.bytes.data(),
                       target.bytesPerRow());
        EXPECT_EQ(*target.pixel(360, 0), 255);
    });
}

TEST(ViewerAreaAverageMemory, OfAnEmptyRectangleNothingIsReadOrWritten) {
    const ViewerAreaAverage average(30, 20, 10, 10);
    average.reduce({5, 5, 0, 3}, nullptr, 0, nullptr, 0);
    average.reduce({}, nullptr, 0, nullptr, 0);
    SUCCEED();
}

TEST(ViewerAreaAverageMemoryDeathTest, ARectangleOutsideThePictureStopsTheProcess) {
    const ViewerAreaAverage average(30, 20, 10, 10);
    const TestPicture source(30, 20);
    TestPicture target(10, 10);
    EXPECT_DEATH(average.reduce({5, 5, 6, 1}, source.bytes.data(), source.bytesPerRow(),
                                target.bytes.data(), target.bytesPerRow()),
                 "lies inside the target picture");
}

}  // namespace
}  // namespace velmora
