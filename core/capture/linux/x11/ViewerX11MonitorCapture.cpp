#include "core/capture/linux/x11/ViewerX11MonitorCapture.h"

#include <poll.h>
#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "core/capture/linux/x11/ViewerX11Monitors.h"
#include "core/capture/linux/x11/ViewerX11PixelForm.h"
#include "core/capture/linux/x11/ViewerX11Reply.h"
#include "core/runtime/linux/ViewerTimespec.h"

namespace velmora {

namespace {

/// How many pixels of the picture cost as much as fetching one more rectangle.
constexpr std::int64_t joiningArea = 512;
constexpr std::chrono::seconds comparisonInterval{1};
constexpr std::int64_t comparisonsPerPicture = 10;

}  // namespace

ViewerX11MonitorCapture::ViewerX11MonitorCapture(std::shared_ptr<ViewerX11Connection> connection,
                                                 std::string uuidText,
                                                 std::chrono::nanoseconds frameInterval)
    : connection_(std::move(connection)),
      uuidText_(std::move(uuidText)),
      frameInterval_(frameInterval),
      outdated_(joiningArea) {}

void ViewerX11MonitorCapture::run(const Delivery& deliver) {
    bool isAlive = begin();
    // The notices come first: what was read together with an answer would wake nobody.
    while (isAlive && takeNotices()) {
        const Clock::time_point now = Clock::now();
        if (now >= nextComparison_) {
            isAlive = compareRows();
        } else if (isFrameWanted() && now >= nextFrame_) {
            isAlive = captureFrame(deliver);
        } else {
            isAlive = sleep();
        }
    }
}

bool ViewerX11MonitorCapture::begin() {
    const std::optional<ViewerX11PixelForm> form = ViewerX11PixelForm::of(*connection_);
    if (!form) {
        return false;
    }
    xcb_connection_t* const xcb = connection_->xcb();
    for (xcb_extension_t* each : {&xcb_randr_id, &xcb_damage_id, &xcb_xfixes_id, &xcb_shm_id}) {
        xcb_prefetch_extension_data(xcb, each);
    }
    // Before the first look at the monitors and the screen, so that nothing is missed.
    notices_.emplace(*connection_);
    damage_.emplace(connection_);
    const std::optional<ViewerRectangle> monitor = findMonitor();
    if (!monitor) {
        return false;
    }
    monitor_ = *monitor;
    picture_.emplace(connection_, *form, monitor_);
    markWhole();
    nextFrame_ = Clock::now();
    nextComparison_ = nextFrame_ + comparisonInterval;
    return true;
}

std::optional<ViewerRectangle> ViewerX11MonitorCapture::findMonitor() {
    std::optional<ViewerRectangle> result;
    if (const auto monitors = readMonitors(*connection_)) {
        // Of monitors that cannot be told apart the last one counts, as in the list of displays.
        for (const ViewerX11Monitor& each : *monitors) {
            if (each.uuidText == uuidText_) {
                result = each.rectangle;
            }
        }
    }
    return result;
}

bool ViewerX11MonitorCapture::takeNotices() {
    bool isVerified = false;
    while (!isVerified) {
        isVerified = true;
        while (const ViewerX11Reply<xcb_generic_event_t> event{
            xcb_poll_for_event(connection_->xcb())}) {
            isDamaged_ = isDamaged_ || damage_->isNotice(*event);
            isVerified = isVerified && !notices_->concernsDisplays(*event);
        }
        if (!isVerified) {
            if (findMonitor() != monitor_) {
                return false;
            }
            // What was fetched may be of a time when something else was at this place.
            markWhole();
        }
    }
    return !connection_->isDead();
}

bool ViewerX11MonitorCapture::takeDamage() {
    if (!std::exchange(isDamaged_, false)) {
        return true;
    }
    const std::optional<std::vector<ViewerRectangle>> changes = damage_->take();
    if (!changes) {
        return false;
    }
    for (const ViewerRectangle& each : *changes) {
        outdated_.add(picture_->targetFor(each));
    }
    return true;
}

bool ViewerX11MonitorCapture::captureFrame(const Delivery& deliver) {
    nextFrame_ = Clock::now() + frameInterval_;
    if (!takeDamage()) {
        return false;
    }
    const std::vector<ViewerRectangle> parts = outdated_.rectangles();
    outdated_.clear();
    if (!picture_->renew(parts)) {
        return false;
    }
    // The server sends in order: a notice of a change from before a part was read is here by now.
    if (!takeNotices()) {
        return false;
    }
    const bool isCurrent = outdated_.isEmpty();
    if (isCurrent && (picture_->hasChanged() || !hasDelivered_)) {
        picture_->forgetChanges();
        hasDelivered_ = true;
        deliver(picture_->pixels());
    }
    return true;
}

bool ViewerX11MonitorCapture::compareRows() {
    const ViewerRectangle whole = picture_->whole();
    const std::int64_t rows =
        std::min((whole.height + comparisonsPerPicture - 1) / comparisonsPerPicture,
                 whole.height - comparedRow_);
    // What the server has said by then is not new: it is fetched when it is due.
    const bool isRead = takeDamage() && picture_->inspect({{0, comparedRow_, whole.width, rows}}) &&
                        takeNotices() && takeDamage();
    comparedRow_ = (comparedRow_ + rows) % whole.height;
    if (picture_->hasChanged() && !outdated_.covers(picture_->changes())) {
        markWhole();
    }
    nextComparison_ = Clock::now() + comparisonInterval;
    return isRead;
}

bool ViewerX11MonitorCapture::sleep() {
    const Clock::time_point now = Clock::now();
    // Nothing can be done about changes before the next frame is due, so they need not wake.
    const bool isResting = now < nextFrame_;
    const Clock::time_point end =
        isResting ? std::min(nextFrame_, nextComparison_) : nextComparison_;
    const timespec duration = timespecOf(std::max<Clock::duration>(end - now, {}));
    pollfd server{xcb_get_file_descriptor(connection_->xcb()),
                  static_cast<short>(isResting ? 0 : POLLIN), 0};
    (void)::ppoll(&server, 1, &duration, nullptr);  // What happened is seen in the notices.
    return (server.revents & (POLLHUP | POLLERR)) == 0;
}

}  // namespace velmora
