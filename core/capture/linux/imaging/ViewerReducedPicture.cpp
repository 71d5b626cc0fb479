#include "core/capture/linux/imaging/ViewerReducedPicture.h"

#include <algorithm>

namespace velmora {

namespace {

/// Of the 4 bytes of a pixel the last one has no meaning. (A mask for each byte order would differ
/// only where X servers of this kind do not exist.)
constexpr std::uint32_t colourBits = 0x00ffffff;

bool isDifferent(std::uint32_t a, std::uint32_t b) {
    return ((a ^ b) & colourBits) != 0;
}

/// The columns of a row that are different: the first, and one past the last.
std::pair<std::int64_t, std::int64_t> differentColumns(const std::uint32_t* a,
                                                       const std::uint32_t* b, std::int64_t width) {
    std::int64_t begin = 0;
    while (begin < width && !isDifferent(a[begin], b[begin])) {
        ++begin;
    }
    std::int64_t end = width;
    while (end > begin && !isDifferent(a[end - 1], b[end - 1])) {
        --end;
    }
    return {begin, end};
}

}  // namespace

ViewerReducedPicture::ViewerReducedPicture(ViewerAreaAverage average, Order order)
    : average_(std::move(average)), order_(order) {
    pixels_.resize(static_cast<std::size_t>(whole().area()));
}

ViewerRectangle ViewerReducedPicture::whole() const {
    return {0, 0, average_.targetWidth(), average_.targetHeight()};
}

ViewerPixelBuffer ViewerReducedPicture::pixels() const {
    ViewerPixelBuffer result;
    result.width = average_.targetWidth();
    result.height = average_.targetHeight();
    result.pixels = reinterpret_cast<const std::uint8_t*>(pixels_.data());
    result.bytesPerRow = static_cast<std::size_t>(average_.targetWidth()) * sizeof(std::uint32_t);
    return result;
}

void ViewerReducedPicture::reduce(const ViewerRectangle& band, const std::uint8_t* source,
                                  std::size_t bytesPerRow, Search search) {
    const bool compares = search == Search::allChanges || !hasChanged_;
    if (compares) {
        keep(band);
    }
    average_.reduce(band, source, bytesPerRow, reinterpret_cast<std::uint8_t*>(pixels_.data()),
                    pixels().bytesPerRow);
    if (order_ == Order::redGreenBlue) {
        swapRedAndBlue(band);
    }
    if (compares) {
        const ViewerRectangle difference = differenceFromKept(band);
        if (search == Search::allChanges) {
            found_ = boundingBox(found_, difference);
        }
        hasChanged_ = hasChanged_ || !difference.isEmpty();
    }
}

std::uint32_t* ViewerReducedPicture::pixelsOf(const ViewerRectangle& band, std::int64_t row) {
    return pixels_.data() + (band.y + row) * average_.targetWidth() + band.x;
}

void ViewerReducedPicture::keep(const ViewerRectangle& band) {
    kept_.resize(static_cast<std::size_t>(band.area()));
    for (std::int64_t row = 0; row < band.height; ++row) {
        std::copy_n(pixelsOf(band, row), band.width, kept_.data() + row * band.width);
    }
}

void ViewerReducedPicture::swapRedAndBlue(const ViewerRectangle& band) {
    constexpr std::size_t blue = 0;
    constexpr std::size_t red = 2;
    for (std::int64_t row = 0; row < band.height; ++row) {
        std::uint32_t* const pixels = pixelsOf(band, row);
        for (std::int64_t column = 0; column < band.width; ++column) {
            auto* const bytes = reinterpret_cast<std::uint8_t*>(pixels + column);
            std::swap(bytes[blue], bytes[red]);
        }
    }
}

ViewerRectangle ViewerReducedPicture::differenceFromKept(const ViewerRectangle& band) {
    ViewerRectangle result;
    for (std::int64_t row = 0; row < band.height; ++row) {
        const auto [begin, end] =
            differentColumns(pixelsOf(band, row), kept_.data() + row * band.width, band.width);
        result = boundingBox(result, {band.x + begin, band.y + row, end - begin, 1});
    }
    return result;
}

}  // namespace velmora
