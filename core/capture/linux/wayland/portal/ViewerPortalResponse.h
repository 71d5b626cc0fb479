#pragma once

#include <systemd/sd-bus.h>

#include <optional>
#include <string>
#include <vector>

#include "core/capture/ViewerCaptureAccess.h"
#include "core/capture/linux/bus/ViewerBusMessage.h"
#include "core/capture/linux/wayland/ViewerScreenCastGrant.h"

namespace velmora {

/// What came of one request to the desktop's portal. A plain value.
struct ViewerPortalResponse final {
    /// `granted`, or why there is nothing.
    ViewerCaptureAccess access = ViewerCaptureAccess::portalSilent;
    /// The results that are known here; empty or nothing where the portal gave none.
    std::string sessionHandle = {};
    std::string restoreToken = {};
    std::optional<std::vector<ViewerGrantedStream>> streams = std::nullopt;

    static ViewerPortalResponse failure(ViewerCaptureAccess reason);
    /// The arguments of a Response signal. What cannot be read is a portal that does not work:
    /// `portalSilent`. Of a stream, a property that is not what it should be counts as not told.
    static ViewerPortalResponse read(sd_bus_message* signal);
};

/// What the portal's interface for screens offers, by its properties. A plain value.
struct ViewerPortalOffer final {
    bool hasMonitors = false;
    bool hasWindows = false;
    bool canHideCursor = false;

    /// The answer to GetAll; nothing where it cannot be read.
    static std::optional<ViewerPortalOffer> read(sd_bus_message* properties);
};

/// What it means that a call to the portal was not answered as it should be.
ViewerCaptureAccess portalAccessAfter(const ViewerBusReply& reply);

}  // namespace velmora
