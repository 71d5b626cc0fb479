#include "core/capture/linux/x11/ViewerX11Picture.h"

#include <array>
#include <utility>

#include "core/capture/ViewerTargetSize.h"
#include "core/capture/linux/imaging/ViewerAreaBands.h"

namespace velmora {

namespace {

ViewerAreaAverage averageFor(const ViewerRectangle& source) {
    const ViewerTargetSize target = ViewerJPEGEncoder::targetSize(source.width, source.height);
    return {source.width, source.height, static_cast<std::int64_t>(target.width),
            static_cast<std::int64_t>(target.height)};
}

}  // namespace

ViewerX11Picture::ViewerX11Picture(std::shared_ptr<ViewerX11Connection> connection,
                                   const ViewerPixelForm& form, const ViewerRectangle& source)
    : source_(source), reduced_(averageFor(source)), reader_(std::move(connection), form) {}

ViewerRectangle ViewerX11Picture::targetFor(const ViewerRectangle& onRoot) const {
    ViewerRectangle part = intersection(onRoot, source_);
    part.x -= source_.x;
    part.y -= source_.y;
    return part.isEmpty() ? ViewerRectangle() : reduced_.average().targetFor(part);
}

std::optional<ViewerRectangle> ViewerX11Picture::inspect(const ViewerRectangle& part) {
    if (!fetch({part}, ViewerReducedPicture::Search::allChanges)) {
        return std::nullopt;
    }
    return reduced_.takeFound();
}

bool ViewerX11Picture::fetch(const std::vector<ViewerRectangle>& parts,
                             ViewerReducedPicture::Search search) {
    constexpr std::size_t maximumPixels =
        ViewerX11RootReader::slotBytes / ViewerX11RootReader::bytesPerPixel;
    ViewerAreaBands bands(reduced_.average(), parts, maximumPixels);
    // What each slot of the reader is being filled with.
    std::array<std::optional<ViewerRectangle>, ViewerX11RootReader::slotCount> underWay;
    const auto requestNext = [&](std::size_t slot) {
        underWay[slot] = bands.next();
        if (underWay[slot]) {
            ViewerRectangle rectangle = reduced_.average().sourceFor(*underWay[slot]);
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
        const ViewerRectangle& band = *underWay[slot];
        const auto sourceWidth = static_cast<std::size_t>(reduced_.average().sourceFor(band).width);
        reduced_.reduce(band, source, sourceWidth * ViewerX11RootReader::bytesPerPixel, search);
        requestNext(slot);
    }
    return true;
}

}  // namespace velmora
