#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/capture/linux/imaging/ViewerCaptureSchedule.h"
#include "core/capture/linux/imaging/ViewerPictureTransform.h"
#include "core/capture/linux/imaging/ViewerPixelForm.h"
#include "core/capture/linux/imaging/ViewerReducedPicture.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireFormat.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireFrame.h"

namespace velmora {

/// The reduced picture of one stream, renewed from its newest frame where the frames say that
/// something changed. What they say is a hint: a tenth of the rows is compared each second, in
/// turn, until all of the newest frame was looked at. It is told the time. Belongs to one capture;
/// used on its thread.
class ViewerPipeWirePicture final {
  public:
    using Instant = ViewerCaptureSchedule::Instant;

    struct Outcome final {
        /// Whether it became another picture.
        bool isDifferent = false;
        /// When the frame is needed again; nothing when it is not.
        std::optional<Instant> next = std::nullopt;
    };

    explicit ViewerPipeWirePicture(std::chrono::nanoseconds frameInterval)
        : frameInterval_(frameInterval) {}

    /// There is a newer frame, which says what it does of what changed.
    void notice(const ViewerPipeWireFrame& frame, const ViewerPipeWireFormat& format, Instant now);
    /// What frames said of changes may be incomplete: the next one is taken whole.
    void distrust();

    /// Does what is due with the newest frame. REQUIRES: it is the one noticed last.
    Outcome act(const ViewerPipeWireFrame& frame, Instant now);

    /// The picture as it is seen; valid until the next call to anything.
    ViewerPixelBuffer pixels();

  private:
    /// What makes it necessary to begin anew.
    struct Geometry final {
        friend bool operator==(const Geometry&, const Geometry&) = default;

        std::uint32_t pixels = 0;
        std::int64_t width = 0;
        std::int64_t height = 0;
        ViewerPictureTransform transform;
    };

    void begin(const Geometry& geometry, const ViewerPipeWireFormat& format, Instant now);
    void outdate(const ViewerPipeWireFrame& frame);
    void renew(const ViewerPipeWireFrame& frame);
    void compare(const ViewerPipeWireFrame& frame, Instant now);
    void reduce(const ViewerPipeWireFrame& frame, const ViewerRectangle& part,
                ViewerReducedPicture::Search search);
    /// Brings a part of a frame, which begins at `first`, into the form that is reduced; how far
    /// apart its rows are there.
    std::size_t convert(const ViewerRectangle& source, const std::uint8_t* first,
                        std::size_t bytesPerRow);

    const std::chrono::nanoseconds frameInterval_;
    std::optional<Geometry> geometry_;
    std::optional<ViewerReducedPicture> reduced_;
    std::optional<ViewerCaptureSchedule> schedule_;
    std::optional<ViewerPixelForm> form_;
    /// Where the shown part of the last frame began.
    ViewerRectangle shown_;
    /// How many comparisons the newest frame still needs.
    std::int64_t owedComparisons_ = 0;
    /// When the picture was last renewed.
    std::optional<Instant> renewed_;
    std::vector<std::uint8_t> converted_;
    std::vector<std::uint32_t> seen_;
};

}  // namespace velmora
