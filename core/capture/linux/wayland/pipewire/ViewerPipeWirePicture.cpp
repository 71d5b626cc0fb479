#include "core/capture/linux/wayland/pipewire/ViewerPipeWirePicture.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "core/capture/ViewerTargetSize.h"
#include "core/capture/linux/imaging/ViewerAreaBands.h"

namespace velmora {

namespace {

constexpr std::chrono::seconds comparisonInterval{1};
/// How much of a frame is reduced at once, so that what is converted of it, and what it becomes, is
/// still in the processor's cache when it is needed again.
constexpr std::size_t pixelsAtOnce = std::size_t{128} * 1024;

ViewerAreaAverage averageFor(std::int64_t width, std::int64_t height, bool swapsSides) {
    if (swapsSides) {
        const ViewerTargetSize seen = ViewerJPEGEncoder::targetSize(height, width);
        return {width, height, static_cast<std::int64_t>(seen.height),
                static_cast<std::int64_t>(seen.width)};
    }
    const ViewerTargetSize seen = ViewerJPEGEncoder::targetSize(width, height);
    return {width, height, static_cast<std::int64_t>(seen.width),
            static_cast<std::int64_t>(seen.height)};
}

const std::uint8_t* pixelAt(const ViewerPipeWireFrame& frame, std::int64_t x, std::int64_t y) {
    return frame.pixels + static_cast<std::size_t>(y) * frame.bytesPerRow +
           static_cast<std::size_t>(x) * ViewerPipeWireFormat::bytesPerPixel;
}

}  // namespace

void ViewerPipeWirePicture::notice(const ViewerPipeWireFrame& frame,
                                   const ViewerPipeWireFormat& format, Instant now) {
    const Geometry geometry{format.pixels, frame.shown.width, frame.shown.height, frame.transform};
    if (geometry_ != geometry) {
        begin(geometry, format, now);
    } else if (shown_ != frame.shown) {
        schedule_->outdateAll();
    }
    shown_ = frame.shown;
    outdate(frame);
    owedComparisons_ = schedule_->comparisonsPerRound();
}

void ViewerPipeWirePicture::begin(const Geometry& geometry, const ViewerPipeWireFormat& format,
                                  Instant now) {
    geometry_ = geometry;
    reduced_.emplace(averageFor(geometry.width, geometry.height, geometry.transform.swapsSides()),
                     format.order());
    form_ = format.pixelForm();
    const Instant first = renewed_ ? std::max(now, *renewed_ + frameInterval_) : now;
    schedule_.emplace(reduced_->whole(),
                      ViewerCaptureSchedule::Intervals{frameInterval_, comparisonInterval}, first);
}

void ViewerPipeWirePicture::outdate(const ViewerPipeWireFrame& frame) {
    if (!frame.damage) {
        schedule_->outdateAll();
        return;
    }
    for (const ViewerRectangle& each : *frame.damage) {
        ViewerRectangle part = intersection(each, shown_);
        part.x -= shown_.x;
        part.y -= shown_.y;
        schedule_->outdate(part.isEmpty() ? ViewerRectangle()
                                          : reduced_->average().targetFor(part));
    }
}

void ViewerPipeWirePicture::distrust() {
    if (schedule_) {
        schedule_->outdateAll();
    }
}

ViewerPipeWirePicture::Outcome ViewerPipeWirePicture::act(const ViewerPipeWireFrame& frame,
                                                          Instant now) {
    using Step = ViewerCaptureSchedule::Step;
    Outcome outcome;
    while (!schedule_->isCurrent() || owedComparisons_ > 0) {
        const Step step = schedule_->stepAt(now);
        if (step == Step::renew) {
            schedule_->beginFrame(now);
            renewed_ = now;
            renew(frame);
            outcome.isDifferent = reduced_->takeChange() || outcome.isDifferent;
        } else if (step == Step::compare) {
            compare(frame, now);
        } else {
            outcome.next = schedule_->wakeAfter(now);
            break;
        }
    }
    return outcome;
}

void ViewerPipeWirePicture::renew(const ViewerPipeWireFrame& frame) {
    for (const ViewerRectangle& each : schedule_->takeOutdated()) {
        reduce(frame, each, ViewerReducedPicture::Search::anyChange);
        if (each == reduced_->whole()) {
            owedComparisons_ = 0;
        }
    }
}

void ViewerPipeWirePicture::compare(const ViewerPipeWireFrame& frame, Instant now) {
    reduce(frame, schedule_->rowsToCompare(), ViewerReducedPicture::Search::allChanges);
    schedule_->endComparison(reduced_->takeFound(), now);
    owedComparisons_ = std::max<std::int64_t>(owedComparisons_ - 1, 0);
}

void ViewerPipeWirePicture::reduce(const ViewerPipeWireFrame& frame, const ViewerRectangle& part,
                                   ViewerReducedPicture::Search search) {
    const ViewerAreaAverage& average = reduced_->average();
    const std::vector<ViewerRectangle> parts{part};
    ViewerAreaBands bands(average, parts, pixelsAtOnce);
    while (const auto band = bands.next()) {
        const ViewerRectangle source = average.sourceFor(*band);
        const std::uint8_t* const first = pixelAt(frame, shown_.x + source.x, shown_.y + source.y);
        if (form_) {
            const std::size_t rowBytes = convert(source, first, frame.bytesPerRow);
            reduced_->reduce(*band, converted_.data(), rowBytes, search);
        } else {
            reduced_->reduce(*band, first, frame.bytesPerRow, search);
        }
    }
}

std::size_t ViewerPipeWirePicture::convert(const ViewerRectangle& source, const std::uint8_t* first,
                                           std::size_t bytesPerRow) {
    const auto width = static_cast<std::size_t>(source.width);
    const std::size_t rowBytes = width * ViewerPixelForm::convertedBytes;
    converted_.resize(rowBytes * static_cast<std::size_t>(source.height));
    for (std::size_t row = 0; row < static_cast<std::size_t>(source.height); ++row) {
        form_->convert(first + row * bytesPerRow, width, converted_.data() + row * rowBytes);
    }
    return rowBytes;
}

ViewerPixelBuffer ViewerPipeWirePicture::pixels() {
    const ViewerPixelBuffer reduced = reduced_->pixels();
    return geometry_->transform.isNone() ? reduced : geometry_->transform.undo(reduced, seen_);
}

}  // namespace velmora
