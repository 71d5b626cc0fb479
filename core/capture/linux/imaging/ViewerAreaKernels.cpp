#include "core/capture/linux/imaging/ViewerAreaKernels.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

// Highway compiles the rest of this file once for each set of instructions.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "core/capture/linux/imaging/ViewerAreaKernels.cpp"
#include <hwy/foreach_target.h>

#include <hwy/cache_control.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace velmora {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using ViewerAreaKernels::Rows;

constexpr std::size_t channels = 4;
constexpr std::size_t pixelsPerPair = ViewerAreaColumns::pixelsPerPair;

/// A number for which the compiler may unroll: passed where any other is a plain `std::size_t`.
template <std::size_t number>
constexpr std::integral_constant<std::size_t, number> fixed{};

/// How far ahead of what is summed a row is asked for, since the processor does not foresee the way
/// through several rows at once.
constexpr std::size_t distanceAhead = std::size_t{24} * 64;

HWY_INLINE void askFor(const std::uint8_t* bytes, std::size_t count) {
    constexpr std::size_t cacheLine = 64;
    for (std::size_t offset = 0; offset < count; offset += cacheLine) {
        hwy::Prefetch(bytes + offset);
    }
}

/// The bytes at `bytes` as one vector of 16-bit lanes.
template <class D16>
HWY_INLINE hn::Vec<D16> widened(D16 d16, const std::uint8_t* bytes) {
    return hn::PromoteTo(d16, hn::LoadU(hn::Rebind<std::uint8_t, D16>(), bytes));
}

/// Sums from lane `lane` on while whole vectors fit; returns the first lane that is left.
template <class D16>
HWY_INLINE std::size_t sumRowsFrom(D16 d16, std::size_t lane, const Rows& rows, int shift,
                                   std::span<std::int16_t> sums) {
    const std::size_t lanes = hn::Lanes(d16);
    for (; lane + lanes <= sums.size(); lane += lanes) {
        auto sum = hn::Zero(d16);
        for (std::size_t row = 0; row < rows.count; ++row) {
            sum = hn::Add(sum, widened(d16, rows.first + row * rows.bytesPerRow + lane));
        }
        hn::StoreU(hn::ShiftLeftSame(sum, shift), d16, &sums[lane]);
    }
    return lane;
}

/// The same, four vectors at a time: whole cache lines of each row, and additions that do not wait
/// for one another.
template <class D16>
HWY_INLINE std::size_t sumRowsFourfold(D16 d16, const Rows& rows, int shift,
                                       std::span<std::int16_t> sums, const Rows& next) {
    const std::size_t lanes = hn::Lanes(d16);
    std::size_t lane = 0;
    for (; lane + 4 * lanes <= sums.size(); lane += 4 * lanes) {
        auto sum0 = hn::Zero(d16);
        auto sum1 = hn::Zero(d16);
        auto sum2 = hn::Zero(d16);
        auto sum3 = hn::Zero(d16);
        const std::uint8_t* bytes = rows.first + lane;
        const std::size_t ahead = lane + distanceAhead;
        const std::uint8_t* needed =
            ahead < sums.size() ? rows.first + ahead : next.first + (ahead - sums.size());
        for (std::size_t row = 0; row < rows.count;
             ++row, bytes += rows.bytesPerRow, needed += rows.bytesPerRow) {
            askFor(needed, 4 * lanes);
            sum0 = hn::Add(sum0, widened(d16, bytes));
            sum1 = hn::Add(sum1, widened(d16, bytes + lanes));
            sum2 = hn::Add(sum2, widened(d16, bytes + 2 * lanes));
            sum3 = hn::Add(sum3, widened(d16, bytes + 3 * lanes));
        }
        hn::StoreU(hn::ShiftLeftSame(sum0, shift), d16, &sums[lane]);
        hn::StoreU(hn::ShiftLeftSame(sum1, shift), d16, &sums[lane + lanes]);
        hn::StoreU(hn::ShiftLeftSame(sum2, shift), d16, &sums[lane + 2 * lanes]);
        hn::StoreU(hn::ShiftLeftSame(sum3, shift), d16, &sums[lane + 3 * lanes]);
    }
    return lane;
}

void sumRowsKernel(const Rows& rows, int shift, std::span<std::int16_t> sums, const Rows& next) {
    const hn::ScalableTag<std::int16_t> whole;
    const hn::CappedTag<std::int16_t, channels> pixel;
    std::size_t lane = sumRowsFourfold(whole, rows, shift, sums, next);
    lane = sumRowsFrom(whole, lane, rows, shift, sums);
    (void)sumRowsFrom(pixel, lane, rows, shift, sums);  // none is left
}

template <class D16>
HWY_INLINE std::size_t addRowFrom(D16 d16, std::size_t lane, const std::uint8_t* row,
                                  std::int16_t weight, std::span<std::int16_t> sums) {
    const std::size_t lanes = hn::Lanes(d16);
    const auto weights = hn::Set(d16, weight);
    for (; lane + lanes <= sums.size(); lane += lanes) {
        // The product loses 15 bits: the 8 of the weight and the 7 by which the byte is shifted.
        const auto bytes = hn::ShiftLeft<7>(widened(d16, row + lane));
        const auto part = hn::MulFixedPoint15(bytes, weights);
        hn::StoreU(hn::Add(hn::LoadU(d16, &sums[lane]), part), d16, &sums[lane]);
    }
    return lane;
}

void addRowKernel(const std::uint8_t* row, std::int16_t weight, std::span<std::int16_t> sums) {
    const hn::ScalableTag<std::int16_t> whole;
    const hn::CappedTag<std::int16_t, channels> pixel;
    const std::size_t lane = addRowFrom(whole, 0, row, weight, sums);
    (void)addRowFrom(pixel, lane, row, weight, sums);  // none is left
}

#if HWY_TARGET == HWY_SCALAR

/// One target pixel: (bias + Σ weight × sum) >> shift in each channel.
HWY_INLINE void averagePixel(std::int32_t bias, int shift, const std::int16_t* weights,
                             std::size_t pairs, const std::int16_t* sums, std::uint8_t* pixel) {
    for (std::size_t channel = 0; channel < channels; ++channel) {
        std::int32_t total = bias;
        for (std::size_t source = 0; source < pairs * pixelsPerPair; ++source) {
            total += std::int32_t{weights[source]} * sums[source * channels + channel];
        }
        pixel[channel] = static_cast<std::uint8_t>(total >> shift);
    }
}

/// Target pixels of whole source pixels, `begin` to `end`; of `count` in a row of one.
template <class Count>
HWY_INLINE void averageWholePixels(const ViewerAreaColumns::Whole& whole, Count count,
                                   std::size_t begin, std::size_t end, const std::int16_t* sums,
                                   std::uint8_t* pixels) {
    for (std::size_t index = begin; index < end; ++index) {
        for (std::size_t channel = 0; channel < channels; ++channel) {
            std::uint32_t total = whole.bias;
            for (std::size_t source = 0; source < count; ++source) {
                total +=
                    static_cast<std::uint16_t>(sums[(index * count + source) * channels + channel]);
            }
            pixels[index * channels + channel] =
                static_cast<std::uint8_t>((total * whole.reciprocal >> 16) >> whole.shift);
        }
    }
}

#else

/// One target pixel: (bias + Σ weight × sum) >> shift in each channel.
HWY_INLINE void averagePixel(std::int32_t bias, int shift, const std::int16_t* weights,
                             std::size_t pairs, const std::int16_t* sums, std::uint8_t* pixel) {
    const hn::FixedTag<std::uint8_t, 16> d8;
    const hn::FixedTag<std::int16_t, 8> d16;
    const hn::FixedTag<std::int32_t, channels> d32;
    const hn::Rebind<std::uint8_t, decltype(d32)> dPixel;
    // Brings the two pixels of a pair together, channel by channel.
    alignas(16) static constexpr std::uint8_t zip[] = {0, 1, 8,  9,  2, 3, 10, 11,
                                                       4, 5, 12, 13, 6, 7, 14, 15};
    auto even = hn::Zero(d32);
    auto odd = hn::Zero(d32);
    for (std::size_t pair = 0; pair < pairs; ++pair) {
        std::int32_t bothWeights;
        std::memcpy(&bothWeights, weights + pair * pixelsPerPair, sizeof bothWeights);
        const auto both = hn::LoadU(d16, sums + pair * pixelsPerPair * channels);
        const auto zipped = hn::TableLookupBytes(hn::BitCast(d8, both), hn::Load(d8, zip));
        even = hn::ReorderWidenMulAccumulate(
            d32, hn::BitCast(d16, zipped), hn::BitCast(d16, hn::Set(d32, bothWeights)), even, odd);
    }
    // Which lane a product went to depends on the processor; from here on each has its channel's.
    const auto total = hn::Add(hn::RearrangeToOddPlusEven(even, odd), hn::Set(d32, bias));
    hn::StoreU(hn::DemoteTo(dPixel, hn::ShiftRightSame(total, shift)), dPixel, pixel);
}

using DSums = hn::FixedTag<std::uint16_t, 2 * channels>;

/// The sum of the even pixels of `count` in the lower half, that of the odd ones in the upper half.
HWY_INLINE hn::Vec<DSums> sumOfPixels(const std::uint16_t* sums, std::size_t count) {
    const DSums d;
    const hn::Half<DSums> dPixel;
    auto total = hn::Zero(d);
    for (std::size_t source = 0; source + 1 < count; source += 2) {
        total = hn::Add(total, hn::LoadU(d, sums + source * channels));
    }
    if (count % 2 == 1) {
        const auto last = hn::LoadU(dPixel, sums + (count - 1) * channels);
        total = hn::Add(total, hn::ZeroExtendVector(d, last));
    }
    return total;
}

/// Target pixels of whole source pixels, `begin` to `end`, two at a time; of `count` source
/// pixels in a row of one.
template <class Count>
HWY_INLINE void averageWholePixels(const ViewerAreaColumns::Whole& whole, Count count,
                                   std::size_t begin, std::size_t end, const std::int16_t* sums,
                                   std::uint8_t* pixels) {
    const DSums d;
    const hn::RebindToSigned<DSums> dSigned;
    const hn::Rebind<std::uint8_t, DSums> dTwo;
    const hn::Half<decltype(dTwo)> dOne;
    const auto bias = hn::Set(d, whole.bias);
    const auto reciprocal = hn::Set(d, whole.reciprocal);
    const int shift = whole.shift;
    const auto* const unsignedSums = reinterpret_cast<const std::uint16_t*>(sums);
    for (std::size_t index = begin; index < end; index += 2) {
        const bool isPair = index + 1 < end;
        const auto first = sumOfPixels(unsignedSums + index * count * channels, count);
        const auto second =
            isPair ? sumOfPixels(unsignedSums + (index + 1) * count * channels, count) : first;
        const auto total =
            hn::Add(hn::ConcatLowerLower(d, second, first), hn::ConcatUpperUpper(d, second, first));
        const auto average =
            hn::ShiftRightSame(hn::MulHigh(hn::Add(total, bias), reciprocal), shift);
        const auto bytes = hn::DemoteTo(dTwo, hn::BitCast(dSigned, average));
        if (isPair) {
            hn::StoreU(bytes, dTwo, pixels + index * channels);
        } else {
            hn::StoreU(hn::LowerHalf(dOne, bytes), dOne, pixels + index * channels);
        }
    }
}

#endif

/// Calls `average` for the target pixels from `target` on, some at a time: with the number of the
/// first one and the one past the last, both counted from `target`. Memory has nothing to do
/// meanwhile, and is asked for what comes next in even portions.
template <class Average>
HWY_INLINE void averageInPortions(const ViewerAreaColumns& columns, std::size_t target,
                                  std::size_t count, const Rows& next, const Average& average) {
    constexpr std::size_t portion = 16;
    const std::int64_t* const firstSource = columns.firstSource.data() + target;
    const std::int64_t origin = *firstSource;
    const auto offsetOf = [=](std::size_t index) {
        return static_cast<std::size_t>(firstSource[index] - origin) * channels;
    };
    for (std::size_t begin = 0; begin < count; begin += portion) {
        const std::size_t end = std::min(begin + portion, count);
        for (std::size_t row = 0; row < next.count; ++row) {
            askFor(next.first + row * next.bytesPerRow + offsetOf(begin),
                   offsetOf(end - 1) + channels - offsetOf(begin));
        }
        average(begin, end);
    }
}

template <class Pairs>
HWY_INLINE void averageColumnsWith(Pairs pairs, const ViewerAreaColumns& columns,
                                   std::size_t target, std::size_t count, const std::int16_t* sums,
                                   std::uint8_t* pixels, const Rows& next) {
    // Copies, because the pixels written could be the original for all the compiler knows.
    const std::int32_t bias = columns.bias;
    const int shift = columns.shift;
    const std::int64_t* const firstSource = columns.firstSource.data() + target;
    const std::int16_t* const weights = columns.weights.data() + target * pairs * pixelsPerPair;
    const std::int64_t origin = *firstSource;
    const auto offsetOf = [=](std::size_t index) {
        return static_cast<std::size_t>(firstSource[index] - origin) * channels;
    };
    averageInPortions(
        columns, target, count, next, [=](std::size_t begin, std::size_t end) HWY_ATTR {
            for (std::size_t index = begin; index < end; ++index) {
                averagePixel(bias, shift, weights + index * pairs * pixelsPerPair, pairs,
                             sums + offsetOf(index), pixels + index * channels);
            }
        });
}

template <class Count>
HWY_INLINE void averageWholeColumnsWith(Count pixelCount, const ViewerAreaColumns& columns,
                                        std::size_t target, std::size_t count,
                                        const std::int16_t* sums, std::uint8_t* pixels,
                                        const Rows& next) {
    const ViewerAreaColumns::Whole whole = *columns.whole;
    averageInPortions(columns, target, count, next,
                      [=](std::size_t begin, std::size_t end) HWY_ATTR {
                          averageWholePixels(whole, pixelCount, begin, end, sums, pixels);
                      });
}

void averageWholeColumns(const ViewerAreaColumns& columns, std::size_t target, std::size_t count,
                         const std::int16_t* sums, std::uint8_t* pixels, const Rows& next) {
    switch (columns.whole->count) {
        case 2:
            return averageWholeColumnsWith(fixed<2>, columns, target, count, sums, pixels, next);
        case 3:
            return averageWholeColumnsWith(fixed<3>, columns, target, count, sums, pixels, next);
        case 4:
            return averageWholeColumnsWith(fixed<4>, columns, target, count, sums, pixels, next);
        case 6:
            return averageWholeColumnsWith(fixed<6>, columns, target, count, sums, pixels, next);
        default:
            return averageWholeColumnsWith(columns.whole->count, columns, target, count, sums,
                                           pixels, next);
    }
}

void averageColumnsKernel(const ViewerAreaColumns& columns, std::size_t target, std::size_t count,
                          const std::int16_t* sums, std::uint8_t* pixels, const Rows& next) {
    if (columns.whole) {
        return averageWholeColumns(columns, target, count, sums, pixels, next);
    }
    switch (columns.pairs) {
        case 1:
            return averageColumnsWith(fixed<1>, columns, target, count, sums, pixels, next);
        case 2:
            return averageColumnsWith(fixed<2>, columns, target, count, sums, pixels, next);
        case 3:
            return averageColumnsWith(fixed<3>, columns, target, count, sums, pixels, next);
        case 4:
            return averageColumnsWith(fixed<4>, columns, target, count, sums, pixels, next);
        default:
            return averageColumnsWith(columns.pairs, columns, target, count, sums, pixels, next);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace velmora
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace velmora {

namespace {
HWY_EXPORT(sumRowsKernel);
HWY_EXPORT(addRowKernel);
HWY_EXPORT(averageColumnsKernel);
}  // namespace

void ViewerAreaKernels::sumRows(const Rows& rows, int shift, std::span<std::int16_t> sums,
                                const Rows& next) {
    HWY_DYNAMIC_DISPATCH(sumRowsKernel)(rows, shift, sums, next);
}

void ViewerAreaKernels::addRow(const std::uint8_t* row, std::int16_t weight,
                               std::span<std::int16_t> sums) {
    HWY_DYNAMIC_DISPATCH(addRowKernel)(row, weight, sums);
}

void ViewerAreaKernels::averageColumns(const ViewerAreaColumns& columns, std::size_t target,
                                       std::size_t count, const std::int16_t* sums,
                                       std::uint8_t* pixels, const Rows& next) {
    HWY_DYNAMIC_DISPATCH(averageColumnsKernel)(columns, target, count, sums, pixels, next);
}

}  // namespace velmora

#endif
