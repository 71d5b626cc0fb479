#include "core/capture/linux/x11/ViewerX11MonitorCapture.h"

#include <poll.h>
#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>

#include <utility>
#include <vector>

#include "core/capture/linux/x11/ViewerX11Monitors.h"
#include "core/capture/linux/x11/ViewerX11Permission.h"
#include "core/capture/linux/x11/ViewerX11PixelForm.h"
#include "core/capture/linux/x11/ViewerX11Reply.h"
#include "core/runtime/ViewerMemoryLack.h"
#include "core/runtime/linux/ViewerTimespec.h"

namespace velmora {

namespace {

/// Tells the pacing of one fetch, for as long as it lives.
class PacedFetch final {
  public:
    explicit PacedFetch(ViewerX11Pacing& pacing) : pacing_(pacing) {
        pacing_.begin(ViewerX11Pacing::Clock::now());
    }
    ~PacedFetch() { pacing_.end(ViewerX11Pacing::Clock::now()); }
    PacedFetch(const PacedFetch&) = delete;
    PacedFetch& operator=(const PacedFetch&) = delete;

  private:
    ViewerX11Pacing& pacing_;
};

}  // namespace

ViewerX11MonitorCapture::ViewerX11MonitorCapture(
    std::shared_ptr<ViewerX11Connection> connection, std::string uuidText,
    std::chrono::nanoseconds frameInterval,
    std::optional<std::chrono::nanoseconds> comparisonInterval,
    std::shared_ptr<ViewerX11Pacing> pacing)
    : connection_(std::move(connection)),
      uuidText_(std::move(uuidText)),
      intervals_{frameInterval, comparisonInterval},
      pacing_(std::move(pacing)) {}

void ViewerX11MonitorCapture::run(const Delivery& deliver) {
    bool isAlive = begin();
    // The notices come first: what was read together with an answer would wake nobody.
    while (isAlive && takeNotices()) {
        const Clock::time_point now = Clock::now();
        schedule_->holdUntil(pacing_->nextFetch());
        const ViewerCaptureSchedule::Step step = schedule_->stepAt(now);
        if (step == ViewerCaptureSchedule::Step::renew) {
            isAlive = captureFrame(deliver);
        } else if (step == ViewerCaptureSchedule::Step::compare) {
            isAlive = compareRows();
        } else {
            isAlive = sleep(step, schedule_->wakeAfter(now) - now);
        }
    }
}

bool ViewerX11MonitorCapture::begin() {
    for (xcb_extension_t* each : {&xcb_randr_id, &xcb_damage_id, &xcb_xfixes_id, &xcb_shm_id}) {
        xcb_prefetch_extension_data(connection_->xcb(), each);
    }
    // Another server than the listed one may have the display's name by now.
    const bool isGranted =
        ViewerX11Permission::accessTo(*connection_) == ViewerCaptureAccess::granted;
    const std::optional<ViewerPixelForm> form = ViewerX11PixelForm::of(*connection_);
    if (!isGranted || !form) {
        return false;
    }
    // Before the first look at the monitors and the screen, so that nothing is missed.
    notices_.emplace(*connection_);
    terminal_.emplace(connection_);
    damage_.emplace(connection_);
    const std::optional<ViewerRectangle> monitor = findMonitor();
    if (!monitor) {
        return false;
    }
    monitor_ = *monitor;
    const ViewerMemoryAttempt attempt;
    picture_.emplace(connection_, *form, monitor_);
    schedule_.emplace(picture_->whole(), intervals_, Clock::now());
    return true;
}

std::optional<ViewerRectangle> ViewerX11MonitorCapture::findMonitor() {
    std::optional<ViewerRectangle> result;
    if (!terminal_->isPresent()) {
        return result;
    }
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
            if (damage_->isNotice(*event)) {
                schedule_->noticeDamage();
            }
            isVerified =
                isVerified && !notices_->concernsDisplays(*event) && !terminal_->isNotice(*event);
        }
        if (!isVerified) {
            if (findMonitor() != monitor_) {
                return false;
            }
            // What was fetched may be of a time when something else was at this place.
            schedule_->outdateAll();
        }
    }
    return !connection_->isDead();
}

bool ViewerX11MonitorCapture::takeDamage() {
    if (!schedule_->takeDamage()) {
        return true;
    }
    const std::optional<std::vector<ViewerRectangle>> changes = damage_->take();
    if (!changes) {
        return false;
    }
    for (const ViewerRectangle& each : *changes) {
        schedule_->outdate(picture_->targetFor(each));
    }
    return true;
}

bool ViewerX11MonitorCapture::renewPicture() {
    const ViewerMemoryAttempt attempt;
    const PacedFetch fetch(*pacing_);
    return takeDamage() && picture_->renew(schedule_->takeOutdated());
}

std::optional<ViewerRectangle> ViewerX11MonitorCapture::inspectRows() {
    const ViewerMemoryAttempt attempt;
    const PacedFetch fetch(*pacing_);
    return picture_->inspect(schedule_->rowsToCompare());
}

bool ViewerX11MonitorCapture::captureFrame(const Delivery& deliver) {
    schedule_->beginFrame(Clock::now());
    if (!renewPicture()) {
        return false;
    }
    // The server sends in order: a notice of a change from before a part was read is here by now.
    if (!takeNotices()) {
        return false;
    }
    if (schedule_->isCurrent() && picture_->takeChange()) {
        deliver(picture_->pixels());
    }
    return true;
}

bool ViewerX11MonitorCapture::compareRows() {
    // What the server has told of before the rows were read is no finding: it is fetched when it is
    // due.
    if (!takeDamage()) {
        return false;
    }
    const std::optional<ViewerRectangle> found = inspectRows();
    if (!found || !takeNotices() || !takeDamage()) {
        return false;
    }
    schedule_->endComparison(*found, Clock::now());
    return true;
}

bool ViewerX11MonitorCapture::sleep(ViewerCaptureSchedule::Step step, Clock::duration duration) {
    const bool isListening = step == ViewerCaptureSchedule::Step::listen;
    const timespec limit = timespecOf(duration);
    pollfd server{xcb_get_file_descriptor(connection_->xcb()),
                  static_cast<short>(isListening ? POLLIN : 0), 0};
    (void)::ppoll(&server, 1, &limit, nullptr);  // What happened is seen in the notices.
    return (server.revents & (POLLHUP | POLLERR)) == 0;
}

}  // namespace velmora
