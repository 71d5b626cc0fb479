#include "core/capture/linux/x11/ViewerX11Picture.h"

#include <algorithm>
#include <array>
#include <utility>

#include "core/capture/ViewerTargetSize.h"
#include "core/capture/linux/x11/ViewerX11Bands.h"

namespace velmora {

namespace {

/// Of the 4 bytes of a pixel the last one has no meaning. (A mask for each byte order would differ
/// only where X servers of this kind do not exist.)
constexpr std::uint32_t colourBits = 0x00ffffff;

bool isDifferent(std::uint32_t a, std::uint32_t b) {
    return ((a ^ b) & colourBits) != 0;
}

ViewerAreaAverage averageFor(const ViewerRectangle& source) {
    const ViewerTargetSize target = ViewerJPEGEncoder::targetSize(source.width, source.height);
    return {source.width, source.height, static_cast<std::int64_t>(target.width),
            static_cast<std::int64_t>(target.height)};
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

ViewerX11Picture::ViewerX11Picture(std::shared_ptr<ViewerX11Connection> connection,
                                   const ViewerX11PixelForm& form, const ViewerRectangle& source)
    : source_(source), average_(averageFor(source)), reader_(std::move(connection), form) {
    pixels_.resize(static_cast<std::size_t>(whole().area()));
}

ViewerRectangle ViewerX11Picture::targetFor(const ViewerRectangle& onRoot) const {
    ViewerRectangle part = intersection(onRoot, source_);
    part.x -= source_.x;
    part.y -= source_.y;
    return part.isEmpty() ? ViewerRectangle() : average_.targetFor(part);
}

ViewerRectangle ViewerX11Picture::whole() const {
    return {0, 0, average_.targetWidth(), average_.targetHeight()};
}

ViewerPixelBuffer ViewerX11Picture::pixels() const {
    ViewerPixelBuffer result;
    result.width = average_.targetWidth();
    result.height = average_.targetHeight();
    result.pixels = reinterpret_cast<const std::uint8_t*>(pixels_.data());
    result.bytesPerRow = static_cast<std::size_t>(average_.targetWidth()) * sizeof(std::uint32_t);
    return result;
}

std::optional<ViewerRectangle> ViewerX11Picture::inspect(const ViewerRectangle& part) {
    found_ = {};
    return fetch({part}, true) ? std::optional(found_) : std::nullopt;
}

bool ViewerX11Picture::fetch(const std::vector<ViewerRectangle>& parts, bool findsAllChanges) {
    constexpr std::size_t maximumPixels =
        ViewerX11RootReader::slotBytes / ViewerX11RootReader::bytesPerPixel;
    ViewerX11Bands bands(average_, parts, maximumPixels);
    // What each slot of the reader is being filled with.
    std::array<std::optional<ViewerRectangle>, ViewerX11RootReader::slotCount> underWay;
    const auto requestNext = [&](std::size_t slot) {
        underWay[slot] = bands.next();
        if (underWay[slot]) {
            ViewerRectangle rectangle = average_.sourceFor(*underWay[slot]);
            rectangle.x += source_.x;
            rectangle.y += source_.y;
            reader_.request(slot, rectangle);
        }
    };
    for (std::size_t slot = 0; slot < underWay.size(); ++slot) {
        requestNext(slot);
    }
    for (std::size_t slot = 0; underWay[slot]; slot = (slot + 1) % underWay.size()) {
        const std::uint8_t* const source = reader_.wait(slot);
        if (source == nullptr) {
            return false;
        }
        reduce(*underWay[slot], source, findsAllChanges);
        requestNext(slot);
    }
    return true;
}

void ViewerX11Picture::reduce(const ViewerRectangle& band, const std::uint8_t* source,
                              bool findsAllChanges) {
    const bool compares = findsAllChanges || !hasChanged_;
    if (compares) {
        keep(band);
    }
    const auto sourceWidth = static_cast<std::size_t>(average_.sourceFor(band).width);
    average_.reduce(band, source, sourceWidth * ViewerX11RootReader::bytesPerPixel,
                    reinterpret_cast<std::uint8_t*>(pixels_.data()), pixels().bytesPerRow);
    if (compares) {
        const ViewerRectangle difference = differenceFromKept(band);
        found_ = boundingBox(found_, difference);
        hasChanged_ = hasChanged_ || !difference.isEmpty();
    }
}

std::uint32_t* ViewerX11Picture::pixelsOf(const ViewerRectangle& band, std::int64_t row) {
    return pixels_.data() + (band.y + row) * average_.targetWidth() + band.x;
}

void ViewerX11Picture::keep(const ViewerRectangle& band) {
    kept_.resize(static_cast<std::size_t>(band.area()));
    for (std::int64_t row = 0; row < band.height; ++row) {
        std::copy_n(pixelsOf(band, row), band.width, kept_.data() + row * band.width);
    }
}

ViewerRectangle ViewerX11Picture::differenceFromKept(const ViewerRectangle& band) {
    ViewerRectangle result;
    for (std::int64_t row = 0; row < band.height; ++row) {
        const auto [begin, end] =
            differentColumns(pixelsOf(band, row), kept_.data() + row * band.width, band.width);
        result = boundingBox(result, {band.x + begin, band.y + row, end - begin, 1});
    }
    return result;
}

}  // namespace velmora
