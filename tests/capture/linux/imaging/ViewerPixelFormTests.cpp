#include "core/capture/linux/imaging/ViewerPixelForm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

// Also for masks that no server of the tests has.

namespace velmora {
namespace {

using testing::ElementsAre;
using Description = ViewerPixelForm::Description;
using Bytes = std::vector<std::uint8_t>;

Description described(int bitsPerPixel, std::uint32_t red, std::uint32_t green,
                      std::uint32_t blue) {
    Description result;
    result.bitsPerPixel = bitsPerPixel;
    result.redMask = red;
    result.greenMask = green;
    result.blueMask = blue;
    return result;
}

/// The bytes of a picture's row, as many pixels as it has whole ones.
Bytes converted(const Description& description, const Bytes& row) {
    const auto form = ViewerPixelForm::make(description);
    if (!form) {
        ADD_FAILURE() << "the form is refused";
        return {};
    }
    const std::size_t count = row.size() * 8 / static_cast<std::size_t>(description.bitsPerPixel);
    Bytes result(count * ViewerPixelForm::convertedBytes);
    form->convert(row.data(), count, result.data());
    return result;
}

/// The same of one pixel, with the least byte first: 0xRRGGBB.
std::uint32_t colourOf(const Description& description, std::uint32_t pixel) {
    Bytes row;
    for (int shift = 0; shift < description.bitsPerPixel; shift += 8) {
        row.push_back(static_cast<std::uint8_t>(pixel >> shift));
    }
    const Bytes result = converted(description, row);
    return result.size() != 4
               ? 0xbad00bad
               : static_cast<std::uint32_t>(result[2] << 16 | result[1] << 8 | result[0]);
}

TEST(ViewerPixelForm, EightBitsOfBlueGreenRedAndAByteNeedNoConversion) {
    const auto plain = ViewerPixelForm::make(Description());
    ASSERT_TRUE(plain.has_value());
    EXPECT_TRUE(plain->isPlain());
    EXPECT_EQ(colourOf(Description(), 0xff123456), 0x123456U);
    for (const Description& other :
         {described(32, 0x0000ff, 0x00ff00, 0xff0000), described(16, 0xf800, 0x07e0, 0x001f)}) {
        EXPECT_FALSE(ViewerPixelForm::make(other)->isPlain());
    }
    Description reversed;
    reversed.isLeastByteFirst = false;
    EXPECT_FALSE(ViewerPixelForm::make(reversed)->isPlain());
}

TEST(ViewerPixelForm, OfTenBitsTheTwoLowOnesAreDropped) {
    const Description deep = described(32, 0x3ff00000, 0x000ffc00, 0x000003ff);
    EXPECT_EQ(colourOf(deep, 0x3ff00000), 0xff0000U);
    EXPECT_EQ(colourOf(deep, 0xc0000000), 0x000000U);
    for (std::uint32_t level = 0; level < 1024; ++level) {
        const std::uint32_t expected = level >> 2;
        ASSERT_EQ(colourOf(deep, level << 20), expected << 16);
        ASSERT_EQ(colourOf(deep, level << 10), expected << 8);
        ASSERT_EQ(colourOf(deep, level), expected);
    }
}

TEST(ViewerPixelForm, FiveAndSixBitsAreRepeatedFromTheTop) {
    const Description form = described(16, 0xf800, 0x07e0, 0x001f);
    EXPECT_EQ(colourOf(form, 0xffff), 0xffffffU);
    EXPECT_EQ(colourOf(form, 0x0000), 0x000000U);
    for (std::uint32_t level = 0; level < 64; ++level) {
        const std::uint32_t five = level % 32;
        ASSERT_EQ(colourOf(form, five << 11), (five << 3 | five >> 2) << 16);
        ASSERT_EQ(colourOf(form, level << 5), (level << 2 | level >> 4) << 8);
        ASSERT_EQ(colourOf(form, five), five << 3 | five >> 2);
    }
}

TEST(ViewerPixelForm, AnyRunsOfBitsAreColours) {
    EXPECT_EQ(colourOf(described(32, 0x0000ff, 0x00ff00, 0xff0000), 0x123456), 0x563412U);
    EXPECT_EQ(colourOf(described(32, 0xff000000, 0x00ff0000, 0x0000ff00), 0x12345678), 0x123456U);
    EXPECT_EQ(colourOf(described(16, 0x7c00, 0x03e0, 0x001f), 0x7fff), 0xffffffU);
    EXPECT_EQ(colourOf(described(16, 0x0f00, 0x00f0, 0x000f), 0x01a8), 0x11aa88U);
    // One bit, two and three: 1 is all the way up.
    EXPECT_EQ(colourOf(described(16, 0x0020, 0x0018, 0x0007), 0x0020 | 0x0010 | 0x0005), 0xffaab6U);
    EXPECT_EQ(colourOf(described(32, 0xffff0000, 0x0000ff00, 0x000000ff), 0x12345678), 0x125678U);
}

TEST(ViewerPixelForm, AColourMayBeTheLowestBitAlone) {
    const Description form = described(16, 0x0004, 0x0002, 0x0001);
    EXPECT_EQ(colourOf(form, 0x0001), 0x0000ffU);
    EXPECT_EQ(colourOf(form, 0x0006), 0xffff00U);
}

TEST(ViewerPixelForm, EveryByteOfAsManyPixelsIsWrittenAndNoOther) {
    const Bytes row{1, 2, 3, 0xff, 4, 5, 6, 0xff, 7, 8, 9, 0xff};
    Bytes result(12, 0xee);
    ViewerPixelForm::make(Description()).value().convert(row.data(), 2, result.data());
    EXPECT_THAT(result, ElementsAre(1, 2, 3, 0, 4, 5, 6, 0, 0xee, 0xee, 0xee, 0xee));
}

TEST(ViewerPixelForm, TheServersByteOrderCounts) {
    Description wide;
    Description narrow = described(16, 0xf800, 0x07e0, 0x001f);
    wide.isLeastByteFirst = narrow.isLeastByteFirst = false;
    EXPECT_THAT(converted(wide, {0, 0x12, 0x34, 0x56}), ElementsAre(0x56, 0x34, 0x12, 0));
    EXPECT_THAT(converted(narrow, {0xf8, 0, 0, 0x1f}), ElementsAre(0, 0, 255, 0, 255, 0, 0, 0));
}

TEST(ViewerPixelForm, ARowBeginsWhereTheServerSays) {
    Description narrow = described(16, 0xf800, 0x07e0, 0x001f);
    EXPECT_EQ(ViewerPixelForm::make(narrow).value().bytesPerRow(3), 8U);
    EXPECT_EQ(ViewerPixelForm::make(narrow).value().bytesPerRow(4), 8U);
    narrow.rowBits = 16;
    EXPECT_EQ(ViewerPixelForm::make(narrow).value().bytesPerRow(3), 6U);
    narrow.rowBits = 8;
    EXPECT_EQ(ViewerPixelForm::make(narrow).value().bytesPerRow(3), 6U);
    EXPECT_EQ(ViewerPixelForm::make(Description()).value().bytesPerRow(3), 12U);
}

TEST(ViewerPixelForm, WhatIsNoPixelOfThreeColoursIsRefused) {
    const std::vector<Description> refused{described(8, 0xe0, 0x1c, 0x03),
                                           described(24, 0xff0000, 0x00ff00, 0x0000ff),
                                           described(32, 0, 0, 0),
                                           described(32, 0xff0000, 0, 0xff),
                                           described(32, 0xff0000, 0x00ff00, 0x5f),
                                           described(32, 0xff0000, 0x00ff00, 0x1ff),
                                           described(16, 0xff0000, 0x00ff00, 0xff)};
    for (const Description& each : refused) {
        EXPECT_FALSE(ViewerPixelForm::make(each).has_value())
            << each.bitsPerPixel << std::hex << " " << each.redMask << " " << each.blueMask;
    }
    Description wideRows;
    wideRows.rowBits = 64;
    EXPECT_FALSE(ViewerPixelForm::make(wideRows).has_value());
}

}  // namespace
}  // namespace velmora
