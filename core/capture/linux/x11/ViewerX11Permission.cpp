#include "core/capture/linux/x11/ViewerX11Permission.h"

#include <cstdint>
#include <future>
#include <memory>

#include "core/capture/linux/x11/ViewerX11Reply.h"
#include "core/capture/linux/x11/ViewerX11Thread.h"

namespace velmora {

bool ViewerX11Permission::canReadScreen(ViewerX11Connection& connection) {
    constexpr std::uint32_t allPlanes = 0xffffffff;
    const xcb_get_image_cookie_t pixel = xcb_get_image(connection.xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP,
                                                       connection.root(), 0, 0, 1, 1, allPlanes);
    const ViewerX11Reply<xcb_get_image_reply_t> reply(
        xcb_get_image_reply(connection.xcb(), pixel, nullptr));
    return reply != nullptr;
}

bool ViewerX11Permission::canReadScreen(const std::string& displayName,
                                        std::chrono::milliseconds limit) {
    const auto answer = std::make_shared<std::promise<bool>>();
    std::future<bool> result = answer->get_future();
    const bool isStarted = startX11Thread("x11-permission", [answer, displayName] {
        const auto connection = ViewerX11Connection::connect(displayName);
        answer->set_value(connection != nullptr && canReadScreen(*connection));
    });
    return isStarted && result.wait_for(limit) == std::future_status::ready && result.get();
}

}  // namespace velmora
