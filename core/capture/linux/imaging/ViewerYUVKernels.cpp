#include "core/capture/linux/imaging/ViewerYUVKernels.h"

#include <algorithm>
#include <array>

// Highway compiles the rest of this file once for each set of instructions.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "core/capture/linux/imaging/ViewerYUVKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// The conversion that JFIF prescribes (ITU-T T.871, section 7), in 16 fractional bits:
//     Y  = 0.299 R + 0.587 G + 0.114 B
//     Cb = (B - Y) / 1.772 + 128
//     Cr = (R - Y) / 1.402 + 128
// A square's differences come from the sums of its four pixels and are rounded once.
#ifndef VIEWER_YUV_COEFFICIENTS
#define VIEWER_YUV_COEFFICIENTS
namespace velmora {
namespace {

constexpr std::int16_t lumaOfRed = 19595;
constexpr std::int16_t lumaOfBlue = 7471;
/// Of a doubled green, since the whole coefficient does not fit into 16 bits.
constexpr std::int16_t lumaOfTwoGreens = 19235;
constexpr int lumaShift = 16;
constexpr std::int32_t lumaBias = 1 << (lumaShift - 1);

/// The differences' coefficients with the opposite sign, because + 0.5 does not fit into 16 bits.
constexpr std::int16_t minusHalf = -32768;
constexpr std::int16_t blueDifferenceOfRed = 11058;
constexpr std::int16_t blueDifferenceOfGreen = 21710;
constexpr std::int16_t redDifferenceOfBlue = 5329;
constexpr std::int16_t redDifferenceOfGreen = 27439;
constexpr int differenceShift = 18;
constexpr std::int32_t differenceBias = (128 << differenceShift) + (1 << (differenceShift - 1));

constexpr std::size_t channels = 4;

}  // namespace
}  // namespace velmora
#endif

HWY_BEFORE_NAMESPACE();
namespace velmora {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

std::uint8_t plainLuma(const std::uint8_t* pixel) {
    return static_cast<std::uint8_t>((pixel[0] * lumaOfBlue + 2 * pixel[1] * lumaOfTwoGreens +
                                      pixel[2] * lumaOfRed + lumaBias) >>
                                     lumaShift);
}

std::uint8_t plainDifference(std::int32_t negated) {
    return static_cast<std::uint8_t>(std::min((differenceBias - negated) >> differenceShift, 255));
}

/// Converts the squares from column `column` on, one after the other.
void convertPlainly(const ViewerYUVKernels::RowPair& rows, std::size_t column) {
    for (; column < rows.width; column += 2) {
        const std::size_t right = std::min(column + 1, rows.width - 1);
        const std::array square{rows.top + column * channels, rows.top + right * channels,
                                rows.bottom + column * channels, rows.bottom + right * channels};
        rows.topLuma[column] = plainLuma(square[0]);
        rows.topLuma[column + 1] = plainLuma(square[1]);
        rows.bottomLuma[column] = plainLuma(square[2]);
        rows.bottomLuma[column + 1] = plainLuma(square[3]);
        std::int32_t blue = 0;
        std::int32_t green = 0;
        std::int32_t red = 0;
        for (const std::uint8_t* pixel : square) {
            blue += pixel[0];
            green += pixel[1];
            red += pixel[2];
        }
        rows.blueDifference[column / 2] = plainDifference(
            blue * minusHalf + green * blueDifferenceOfGreen + red * blueDifferenceOfRed);
        rows.redDifference[column / 2] = plainDifference(
            blue * redDifferenceOfBlue + green * redDifferenceOfGreen + red * minusHalf);
    }
}

#if HWY_TARGET == HWY_SCALAR

void convertRowPairKernel(const ViewerYUVKernels::RowPair& rows) {
    convertPlainly(rows, 0);
}

#else

using D32 = hn::ScalableTag<std::int32_t>;
using D16 = hn::Repartition<std::int16_t, D32>;
using D8 = hn::Rebind<std::uint8_t, D32>;
using V32 = hn::Vec<D32>;

/// Two coefficients for the two 16-bit halves of each pixel.
HWY_INLINE hn::Vec<D16> coefficients(std::int16_t low, std::int16_t high) {
    const auto bits =
        std::uint32_t{static_cast<std::uint16_t>(high)} << 16 | static_cast<std::uint16_t>(low);
    return hn::BitCast(D16(), hn::Set(D32(), static_cast<std::int32_t>(bits)));
}

/// sum + the products of the halves of `pixels` with those of `factors`.
HWY_INLINE V32 addProducts(V32 pixels, hn::Vec<D16> factors, V32 sum) {
    const D32 d32;
    const V32 none = hn::Zero(d32);
    V32 odd = none;
    const V32 even =
        hn::ReorderWidenMulAccumulate(d32, hn::BitCast(D16(), pixels), factors, none, odd);
    // Which lane a product went to depends on the processor; from here on each has its pixel's.
    return hn::Add(hn::RearrangeToOddPlusEven(even, odd), sum);
}

/// Blue in the lower half of each pixel, red in the upper one.
HWY_INLINE V32 blueAndRed(V32 pixels) {
    return hn::And(pixels, hn::Set(D32(), 0x00FF00FF));
}

HWY_INLINE V32 green(V32 pixels) {
    return hn::And(hn::ShiftRight<8>(pixels), hn::Set(D32(), 0xFF));
}

HWY_INLINE V32 loadPixels(const std::uint8_t* pixels) {
    return hn::BitCast(D32(), hn::LoadU(hn::Repartition<std::uint8_t, D32>(), pixels));
}

HWY_INLINE void storeLuma(V32 pixels, std::uint8_t* luma) {
    const V32 greens = green(pixels);
    V32 sum = hn::Set(D32(), lumaBias);
    sum = addProducts(blueAndRed(pixels), coefficients(lumaOfBlue, lumaOfRed), sum);
    sum = addProducts(hn::Add(greens, greens), coefficients(lumaOfTwoGreens, 0), sum);
    hn::StoreU(hn::DemoteTo(D8(), hn::ShiftRight<lumaShift>(sum)), D8(), luma);
}

HWY_INLINE void storeDifference(V32 negated, std::uint8_t* difference) {
    const V32 sum = hn::Sub(hn::Set(D32(), differenceBias), negated);
    hn::StoreU(hn::DemoteTo(D8(), hn::ShiftRight<differenceShift>(sum)), D8(), difference);
}

/// The sums of neighbours: those of `first` in the lower half of the result, those of `second` in
/// the upper one.
HWY_INLINE V32 sumsOfNeighbours(V32 first, V32 second) {
    const D32 d32;
    return hn::Add(hn::ConcatEven(d32, second, first), hn::ConcatOdd(d32, second, first));
}

/// Converts as many squares as a vector has lanes.
HWY_INLINE void convertSquares(const ViewerYUVKernels::RowPair& rows, std::size_t column) {
    const V32 zero = hn::Zero(D32());
    const std::size_t lanes = hn::Lanes(D32());
    const V32 topLeft = loadPixels(rows.top + column * channels);
    const V32 topRight = loadPixels(rows.top + (column + lanes) * channels);
    const V32 bottomLeft = loadPixels(rows.bottom + column * channels);
    const V32 bottomRight = loadPixels(rows.bottom + (column + lanes) * channels);
    storeLuma(topLeft, rows.topLuma + column);
    storeLuma(topRight, rows.topLuma + column + lanes);
    storeLuma(bottomLeft, rows.bottomLuma + column);
    storeLuma(bottomRight, rows.bottomLuma + column + lanes);
    const V32 blueRed = sumsOfNeighbours(hn::Add(blueAndRed(topLeft), blueAndRed(bottomLeft)),
                                         hn::Add(blueAndRed(topRight), blueAndRed(bottomRight)));
    const V32 greens = sumsOfNeighbours(hn::Add(green(topLeft), green(bottomLeft)),
                                        hn::Add(green(topRight), green(bottomRight)));
    const V32 blueDifference =
        addProducts(blueRed, coefficients(minusHalf, blueDifferenceOfRed), zero);
    storeDifference(addProducts(greens, coefficients(blueDifferenceOfGreen, 0), blueDifference),
                    rows.blueDifference + column / 2);
    const V32 redDifference =
        addProducts(blueRed, coefficients(redDifferenceOfBlue, minusHalf), zero);
    storeDifference(addProducts(greens, coefficients(redDifferenceOfGreen, 0), redDifference),
                    rows.redDifference + column / 2);
}

void convertRowPairKernel(const ViewerYUVKernels::RowPair& rows) {
    const std::size_t columns = 2 * hn::Lanes(D32());
    const std::size_t evenWidth = rows.width / 2 * 2;
    std::size_t column = 0;
    for (; column + columns <= evenWidth; column += columns) {
        convertSquares(rows, column);
    }
    if (column < evenWidth && columns <= evenWidth) {
        // Some of these squares once more, to the same bytes: less than the rest one by one.
        convertSquares(rows, evenWidth - columns);
        column = evenWidth;
    }
    convertPlainly(rows, column);
}

#endif

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace velmora
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace velmora {

namespace {
HWY_EXPORT(convertRowPairKernel);
}  // namespace

void ViewerYUVKernels::convertRowPair(const RowPair& rows) {
    HWY_DYNAMIC_DISPATCH(convertRowPairKernel)(rows);
}

}  // namespace velmora

#endif
