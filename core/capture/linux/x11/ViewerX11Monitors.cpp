#include "core/capture/linux/x11/ViewerX11Monitors.h"

#include <xcb/randr.h>

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "core/capture/linux/identity/ViewerMonitorIdentity.h"
#include "core/capture/linux/x11/ViewerX11Reply.h"

namespace velmora {

namespace {

using Monitors = std::vector<ViewerX11Monitor>;

/// A monitor that goes while it is being read makes the reading start again, so often at most.
constexpr int maximumReadings = 3;
constexpr std::string_view edidProperty = "EDID";
/// Room for the 256 blocks of the longest EDID, in units of 4 bytes.
constexpr std::uint32_t maximumEDIDWords = 256 * 128 / 4;
constexpr std::string_view rootName = "Screen";

/// A monitor's own facts, and the requests for what has to be asked about it.
struct MonitorRequests final {
    ViewerX11Monitor monitor;
    xcb_get_atom_name_cookie_t name{};
    bool hasOutput = false;
    xcb_randr_get_output_info_cookie_t output{};
    xcb_randr_get_output_property_cookie_t edid{};
};

/// What the first round trip brings.
struct Overview final {
    ViewerX11Reply<xcb_get_geometry_reply_t> root;
    ViewerX11Reply<xcb_intern_atom_reply_t> edidAtom;
    ViewerX11Reply<xcb_randr_query_version_reply_t> version;
    ViewerX11Reply<xcb_randr_get_monitors_reply_t> monitors;

    bool hasMonitors() const {
        return version != nullptr && monitors != nullptr &&
               std::pair(version->major_version, version->minor_version) >=
                   std::pair<std::uint32_t, std::uint32_t>(1, 5);
    }
};

Overview readOverview(xcb_connection_t* xcb, xcb_window_t root) {
    const xcb_query_extension_reply_t* const randr = xcb_get_extension_data(xcb, &xcb_randr_id);
    const bool hasRandr = randr != nullptr && randr->present != 0;
    xcb_randr_query_version_cookie_t version{};
    xcb_randr_get_monitors_cookie_t monitors{};
    if (hasRandr) {
        version = xcb_randr_query_version(xcb, XCB_RANDR_MAJOR_VERSION, XCB_RANDR_MINOR_VERSION);
        monitors = xcb_randr_get_monitors(xcb, root, 1);
    }
    const xcb_get_geometry_cookie_t geometry = xcb_get_geometry(xcb, root);
    const xcb_intern_atom_cookie_t atom =
        xcb_intern_atom(xcb, 0, edidProperty.size(), edidProperty.data());

    Overview overview;
    if (hasRandr) {
        overview.version.reset(xcb_randr_query_version_reply(xcb, version, nullptr));
        overview.monitors.reset(xcb_randr_get_monitors_reply(xcb, monitors, nullptr));
    }
    overview.root.reset(xcb_get_geometry_reply(xcb, geometry, nullptr));
    overview.edidAtom.reset(xcb_intern_atom_reply(xcb, atom, nullptr));
    return overview;
}

bool holdsMonitor(const xcb_randr_get_monitors_reply_t& reply,
                  const xcb_randr_monitor_info_t* monitor) {
    return holds(reply, monitor, sizeof *monitor) &&
           holds(reply, monitor + 1, monitor->nOutput * sizeof(xcb_randr_output_t));
}

/// The part of a monitor that is on the root window; a monitor may be defined to reach beyond it.
ViewerRectangle visiblePart(const xcb_randr_monitor_info_t& monitor,
                            const xcb_get_geometry_reply_t& root) {
    const std::int64_t left = std::max<std::int64_t>(monitor.x, 0);
    const std::int64_t top = std::max<std::int64_t>(monitor.y, 0);
    const std::int64_t right = std::min<std::int64_t>(monitor.x + monitor.width, root.width);
    const std::int64_t bottom = std::min<std::int64_t>(monitor.y + monitor.height, root.height);
    return {left, top, std::max<std::int64_t>(right - left, 0),
            std::max<std::int64_t>(bottom - top, 0)};
}

std::vector<MonitorRequests> askAboutMonitors(xcb_connection_t* xcb, const Overview& overview) {
    std::vector<MonitorRequests> result;
    auto each = xcb_randr_get_monitors_monitors_iterator(overview.monitors.get());
    for (; each.rem > 0 && holdsMonitor(*overview.monitors, each.data);
         xcb_randr_monitor_info_next(&each)) {
        MonitorRequests requests;
        requests.monitor.number = each.data->name;
        requests.monitor.rectangle = visiblePart(*each.data, *overview.root);
        requests.monitor.isMain = each.data->primary != 0;
        if (requests.monitor.rectangle.width == 0 || requests.monitor.rectangle.height == 0) {
            continue;
        }
        requests.name = xcb_get_atom_name(xcb, each.data->name);
        requests.hasOutput = xcb_randr_monitor_info_outputs_length(each.data) > 0;
        if (requests.hasOutput) {
            const xcb_randr_output_t output = *xcb_randr_monitor_info_outputs(each.data);
            requests.output = xcb_randr_get_output_info(xcb, output, XCB_CURRENT_TIME);
            requests.edid = xcb_randr_get_output_property(xcb, output, overview.edidAtom->atom,
                                                          XCB_ATOM_ANY, 0, maximumEDIDWords, 0, 0);
        }
        result.push_back(std::move(requests));
    }
    return result;
}

/// A text of a reply, as far as the reply holds it.
template <typename Reply, typename Character>
std::optional<std::string> textIn(const Reply& reply, const Character* characters, int length) {
    const auto size = static_cast<std::size_t>(length);
    if (!holds(reply, characters, size)) {
        return std::nullopt;
    }
    return std::string(reinterpret_cast<const char*>(characters), size);
}

/// Takes the answers about a monitor's first output. False when one is missing or broken.
bool takeOutput(xcb_connection_t* xcb, MonitorRequests& requests) {
    const ViewerX11Reply<xcb_randr_get_output_info_reply_t> output(
        xcb_randr_get_output_info_reply(xcb, requests.output, nullptr));
    const ViewerX11Reply<xcb_randr_get_output_property_reply_t> edid(
        xcb_randr_get_output_property_reply(xcb, requests.edid, nullptr));
    if (output == nullptr || edid == nullptr || !holds(*output, output.get(), sizeof *output)) {
        return false;
    }
    auto connector = textIn(*output, xcb_randr_get_output_info_name(output.get()),
                            xcb_randr_get_output_info_name_length(output.get()));
    if (!connector) {
        return false;
    }
    requests.monitor.connector = std::move(*connector);
    const std::uint8_t* const bytes = xcb_randr_get_output_property_data(edid.get());
    if (edid->format == 8 && holds(*edid, bytes, edid->num_items)) {
        requests.monitor.edid.assign(bytes, bytes + edid->num_items);
    }
    return true;
}

/// Takes every answer about one monitor. False when one is missing or broken.
bool takeAnswers(xcb_connection_t* xcb, MonitorRequests& requests) {
    const ViewerX11Reply<xcb_get_atom_name_reply_t> name(
        xcb_get_atom_name_reply(xcb, requests.name, nullptr));
    const bool isOutputComplete = !requests.hasOutput || takeOutput(xcb, requests);
    if (name == nullptr || !isOutputComplete) {
        return false;
    }
    const auto randrName = textIn(*name, xcb_get_atom_name_name(name.get()),
                                  xcb_get_atom_name_name_length(name.get()));
    if (!randrName) {
        return false;
    }
    ViewerX11Monitor& monitor = requests.monitor;
    ViewerMonitorIdentity identity =
        ViewerMonitorIdentity::of(monitor.edid, monitor.connector, *randrName);
    monitor.uuidText = std::move(identity.uuidText);
    monitor.name = std::move(identity.name);
    return true;
}

/// The monitors of one reading, or nothing when an answer is missing.
std::optional<Monitors> readMonitorsOnce(xcb_connection_t* xcb, const Overview& overview) {
    Monitors monitors;
    bool isComplete = true;
    for (MonitorRequests& requests : askAboutMonitors(xcb, overview)) {
        // Also after a missing answer: xcb keeps what nobody takes.
        isComplete = takeAnswers(xcb, requests) && isComplete;
        monitors.push_back(std::move(requests.monitor));
    }
    return isComplete ? std::optional(std::move(monitors)) : std::nullopt;
}

Monitors wholeRoot(const xcb_get_geometry_reply_t& root) {
    ViewerMonitorIdentity identity = ViewerMonitorIdentity::of({}, {}, rootName);
    ViewerX11Monitor monitor;
    monitor.name = std::move(identity.name);
    monitor.uuidText = std::move(identity.uuidText);
    monitor.rectangle = {0, 0, root.width, root.height};
    return {monitor};
}

Monitors withOneMain(Monitors monitors) {
    auto main = std::find_if(monitors.begin(), monitors.end(),
                             [](const ViewerX11Monitor& each) { return each.isMain; });
    if (main == monitors.end()) {
        main = std::find_if(monitors.begin(), monitors.end(), [](const ViewerX11Monitor& each) {
            return each.rectangle.x == 0 && each.rectangle.y == 0;
        });
    }
    if (main == monitors.end()) {
        main = monitors.begin();
    }
    for (auto each = monitors.begin(); each != monitors.end(); ++each) {
        each->isMain = each == main;
    }
    return monitors;
}

}  // namespace

std::optional<std::vector<ViewerX11Monitor>> readMonitors(ViewerX11Connection& connection) {
    for (int reading = 0; reading < maximumReadings; ++reading) {
        const Overview overview = readOverview(connection.xcb(), connection.root());
        if (overview.root == nullptr || overview.root->width == 0 || overview.root->height == 0 ||
            overview.edidAtom == nullptr) {
            return std::nullopt;
        }
        std::optional<Monitors> monitors = overview.hasMonitors()
                                               ? readMonitorsOnce(connection.xcb(), overview)
                                               : wholeRoot(*overview.root);
        if (monitors) {
            return withOneMain(std::move(*monitors));
        }
        if (connection.isDead()) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

}  // namespace velmora
