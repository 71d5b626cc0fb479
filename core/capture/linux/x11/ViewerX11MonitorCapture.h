#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/capture/linux/imaging/ViewerCaptureSchedule.h"
#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "core/capture/linux/x11/ViewerX11Connection.h"
#include "core/capture/linux/x11/ViewerX11Damage.h"
#include "core/capture/linux/x11/ViewerX11Notices.h"
#include "core/capture/linux/x11/ViewerX11Pacing.h"
#include "core/capture/linux/x11/ViewerX11Picture.h"
#include "core/capture/linux/x11/ViewerX11VirtualTerminal.h"

namespace velmora {

/// The capture of one monitor from its beginning to its end, on a connection of its own. It sleeps
/// until the server says that something changed, fetches that, and delivers the reduced picture if
/// it is a different one. Once a second it also looks at a tenth of the rows, in turn, whatever the
/// server said. Made and used on the stream's thread; aborting the connection ends it.
class ViewerX11MonitorCapture final {
  public:
    /// Receives the first picture and then every different one.
    using Delivery = std::function<void(const ViewerPixelBuffer&)>;

    /// `frameInterval` is the least time between two pictures, `comparisonInterval` the time
    /// between two looks at a tenth of the rows, or nothing for none.
    ViewerX11MonitorCapture(
        std::shared_ptr<ViewerX11Connection> connection, std::string uuidText,
        std::chrono::nanoseconds frameInterval,
        std::optional<std::chrono::nanoseconds> comparisonInterval = std::chrono::seconds(1),
        std::shared_ptr<ViewerX11Pacing> pacing = ViewerX11Pacing::ofProcess());
    ViewerX11MonitorCapture(const ViewerX11MonitorCapture&) = delete;
    ViewerX11MonitorCapture& operator=(const ViewerX11MonitorCapture&) = delete;

    /// Blocks until the connection has ended, the server refused something, or the monitor is no
    /// longer there: gone, moved, of another size, or not shown since the server's virtual terminal
    /// was switched away. Returns at once when it is not there at first, or when this
    /// process may not read the screen, or cannot.
    void run(const Delivery& deliver);

  private:
    using Clock = ViewerCaptureSchedule::Clock;

    bool begin();
    /// The monitor's place, or nothing when there is none with the capture's UUID or none is shown.
    std::optional<ViewerRectangle> findMonitor();
    /// Each of these is false when the capture is over.
    bool takeNotices();
    bool takeDamage();
    bool captureFrame(const Delivery& deliver);
    bool renewPicture();
    bool compareRows();
    /// What was found; nothing when the capture is over.
    std::optional<ViewerRectangle> inspectRows();
    /// Also true when it is over early.
    bool sleep(ViewerCaptureSchedule::Step step, Clock::duration duration);

    const std::shared_ptr<ViewerX11Connection> connection_;
    const std::string uuidText_;
    const ViewerCaptureSchedule::Intervals intervals_;
    const std::shared_ptr<ViewerX11Pacing> pacing_;
    std::optional<ViewerX11Notices> notices_;
    std::optional<ViewerX11VirtualTerminal> terminal_;
    std::optional<ViewerX11Damage> damage_;
    ViewerRectangle monitor_;
    std::optional<ViewerX11Picture> picture_;
    std::optional<ViewerCaptureSchedule> schedule_;
};

}  // namespace velmora
