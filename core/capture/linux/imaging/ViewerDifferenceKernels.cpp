#include "core/capture/linux/imaging/ViewerDifferenceKernels.h"

// Highway compiles the rest of this file once for each set of instructions.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "core/capture/linux/imaging/ViewerDifferenceKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace velmora {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using D32 = hn::ScalableTag<std::uint32_t>;

/// (A mask for each byte order would differ only where X servers of this kind do not exist.)
constexpr std::uint32_t colourBits = 0x00ffffff;

HWY_INLINE bool isPixelDifferent(std::uint32_t a, std::uint32_t b) {
    return ((a ^ b) & colourBits) != 0;
}

/// Whether any pixel of a vector is different.
HWY_INLINE bool isVectorDifferent(const std::uint32_t* a, const std::uint32_t* b) {
    const D32 d;
    const auto bits = hn::Xor(hn::LoadU(d, a), hn::LoadU(d, b));
    return !hn::AllTrue(d, hn::Eq(hn::And(bits, hn::Set(d, colourBits)), hn::Zero(d)));
}

/// The first column that is different, or `width`.
HWY_INLINE std::size_t firstDifferent(const std::uint32_t* a, const std::uint32_t* b,
                                      std::size_t width) {
    const std::size_t lanes = hn::Lanes(D32());
    std::size_t column = 0;
    while (column + lanes <= width && !isVectorDifferent(a + column, b + column)) {
        column += lanes;
    }
    while (column < width && !isPixelDifferent(a[column], b[column])) {
        ++column;
    }
    return column;
}

/// One past the last column that is different. REQUIRES: one is, at `begin` or behind it.
HWY_INLINE std::size_t endOfDifferent(const std::uint32_t* a, const std::uint32_t* b,
                                      std::size_t begin, std::size_t width) {
    const std::size_t lanes = hn::Lanes(D32());
    std::size_t end = width;
    while (end >= begin + lanes && !isVectorDifferent(a + end - lanes, b + end - lanes)) {
        end -= lanes;
    }
    while (!isPixelDifferent(a[end - 1], b[end - 1])) {
        --end;
    }
    return end;
}

ViewerRectangle differenceKernel(const ViewerDifferenceKernels::Rows& a,
                                 const ViewerDifferenceKernels::Rows& b, std::size_t width,
                                 std::size_t height) {
    ViewerRectangle result;
    for (std::size_t row = 0; row < height; ++row) {
        const std::uint32_t* const rowOfA = a.first + row * a.pixelsPerRow;
        const std::uint32_t* const rowOfB = b.first + row * b.pixelsPerRow;
        const std::size_t begin = firstDifferent(rowOfA, rowOfB, width);
        if (begin < width) {
            const std::size_t end = endOfDifferent(rowOfA, rowOfB, begin, width);
            result = boundingBox(result,
                                 {static_cast<std::int64_t>(begin), static_cast<std::int64_t>(row),
                                  static_cast<std::int64_t>(end - begin), 1});
        }
    }
    return result;
}

bool isDifferentKernel(const ViewerDifferenceKernels::Rows& a,
                       const ViewerDifferenceKernels::Rows& b, std::size_t width,
                       std::size_t height) {
    for (std::size_t row = 0; row < height; ++row) {
        if (firstDifferent(a.first + row * a.pixelsPerRow, b.first + row * b.pixelsPerRow, width) <
            width) {
            return true;
        }
    }
    return false;
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace velmora
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace velmora {

namespace {
HWY_EXPORT(differenceKernel);
HWY_EXPORT(isDifferentKernel);
}  // namespace

ViewerRectangle ViewerDifferenceKernels::difference(const Rows& a, const Rows& b, std::size_t width,
                                                    std::size_t height) {
    return HWY_DYNAMIC_DISPATCH(differenceKernel)(a, b, width, height);
}

bool ViewerDifferenceKernels::isDifferent(const Rows& a, const Rows& b, std::size_t width,
                                          std::size_t height) {
    return HWY_DYNAMIC_DISPATCH(isDifferentKernel)(a, b, width, height);
}

}  // namespace velmora

#endif
