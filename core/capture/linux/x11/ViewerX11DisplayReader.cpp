#include "core/capture/linux/x11/ViewerX11DisplayReader.h"

#include <utility>

#include "core/capture/linux/x11/ViewerX11Monitors.h"
#include "core/capture/linux/x11/ViewerX11Permission.h"
#include "core/capture/linux/x11/ViewerX11Reply.h"

namespace velmora {

namespace {

/// Displays that change while they are read are read again, so often at most.
constexpr int maximumReadings = 3;

}  // namespace

ViewerX11DisplayReader::ViewerX11DisplayReader(std::shared_ptr<ViewerX11Connection> connection)
    : connection_(std::move(connection)) {}

bool ViewerX11DisplayReader::hasChanged() {
    bool isFound = false;
    while (
        const ViewerX11Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_->xcb())}) {
        isFound = (notices_ && notices_->concernsDisplays(*event)) || isFound;
    }
    return isFound;
}

ViewerX11Displays ViewerX11DisplayReader::read() {
    ViewerX11Displays result;
    if (!access_) {
        notices_.emplace(*connection_);
        const ViewerCaptureAccess access = ViewerX11Permission::accessTo(*connection_);
        if (connection_->isDead()) {
            return result;
        }
        access_ = access == ViewerCaptureAccess::granted;
    }
    result.access = access_;
    if (!*access_) {
        return result;
    }
    std::optional<std::vector<ViewerX11Monitor>> monitors;
    for (int reading = 0; reading < maximumReadings; ++reading) {
        monitors = readMonitors(*connection_);
        result.isSettled = !hasChanged();
        if (result.isSettled) {
            break;
        }
    }
    if (monitors) {
        result.displays.emplace();
        for (ViewerX11Monitor& each : *monitors) {
            result.displays->push_back({each.number, std::move(each.uuidText), each.rectangle.width,
                                        each.rectangle.height, each.isMain, std::move(each.name)});
        }
    }
    return result;
}

}  // namespace velmora
