#include "core/capture/linux/x11/ViewerX11Damage.h"

#include <cstddef>
#include <utility>

#include "core/capture/linux/x11/ViewerX11Event.h"
#include "core/capture/linux/x11/ViewerX11Reply.h"

namespace velmora {

namespace {

/// Of changes that are more scattered than this only the rectangle around all of them is used.
constexpr std::size_t maximumRectangles = 64;

ViewerRectangle rectangleOf(const xcb_rectangle_t& rectangle) {
    return {rectangle.x, rectangle.y, rectangle.width, rectangle.height};
}

}  // namespace

ViewerX11Damage::ViewerX11Damage(std::shared_ptr<ViewerX11Connection> connection)
    : connection_(std::move(connection)) {
    xcb_connection_t* const xcb = connection_->xcb();
    const xcb_query_extension_reply_t* const extension =
        xcb_get_extension_data(xcb, &xcb_damage_id);
    const xcb_query_extension_reply_t* const regions = xcb_get_extension_data(xcb, &xcb_xfixes_id);
    if (extension == nullptr || extension->present == 0 || regions == nullptr ||
        regions->present == 0) {
        return;
    }
    firstEvent_ = extension->first_event;
    // Both extensions want to be told a version before anything else; the answers tell nothing new.
    xcb_discard_reply(
        xcb,
        xcb_damage_query_version(xcb, XCB_DAMAGE_MAJOR_VERSION, XCB_DAMAGE_MINOR_VERSION).sequence);
    xcb_discard_reply(
        xcb,
        xcb_xfixes_query_version(xcb, XCB_XFIXES_MAJOR_VERSION, XCB_XFIXES_MINOR_VERSION).sequence);
    damage_ = xcb_generate_id(xcb);
    xcb_damage_create(xcb, damage_, connection_->root(), XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    changes_ = xcb_generate_id(xcb);
    xcb_xfixes_create_region(xcb, changes_, 0, nullptr);
}

bool ViewerX11Damage::isNotice(const xcb_generic_event_t& event) const {
    return firstEvent_ && eventTypeOf(event) == *firstEvent_ + XCB_DAMAGE_NOTIFY;
}

std::optional<std::vector<ViewerRectangle>> ViewerX11Damage::take() {
    xcb_connection_t* const xcb = connection_->xcb();
    xcb_damage_subtract(xcb, damage_, XCB_NONE, changes_);
    const ViewerX11Reply<xcb_xfixes_fetch_region_reply_t> reply(
        xcb_xfixes_fetch_region_reply(xcb, xcb_xfixes_fetch_region(xcb, changes_), nullptr));
    if (reply == nullptr) {
        return std::nullopt;
    }
    const auto count =
        static_cast<std::size_t>(xcb_xfixes_fetch_region_rectangles_length(reply.get()));
    std::vector<ViewerRectangle> result;
    if (count > maximumRectangles) {
        result.push_back(rectangleOf(reply->extents));
    } else {
        const xcb_rectangle_t* const rectangles = xcb_xfixes_fetch_region_rectangles(reply.get());
        for (std::size_t i = 0; i < count; ++i) {
            result.push_back(rectangleOf(rectangles[i]));
        }
    }
    return result;
}

}  // namespace velmora
