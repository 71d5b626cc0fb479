#include "core/capture/linux/x11/ViewerX11Permission.h"

#include <cstdint>
#include <future>
#include <memory>
#include <utility>

#include "core/capture/linux/x11/ViewerX11PixelForm.h"
#include "core/capture/linux/x11/ViewerX11Reply.h"
#include "core/runtime/linux/ViewerDetachedThread.h"

namespace velmora {

bool ViewerX11Permission::canReadScreen(ViewerX11Connection& connection) {
    if (!ViewerX11PixelForm::of(connection)) {
        return false;
    }
    constexpr std::uint32_t allPlanes = 0xffffffff;
    const xcb_get_image_cookie_t pixel = xcb_get_image(connection.xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP,
                                                       connection.root(), 0, 0, 1, 1, allPlanes);
    const ViewerX11Reply<xcb_get_image_reply_t> reply(
        xcb_get_image_reply(connection.xcb(), pixel, nullptr));
    return reply != nullptr;
}

void ViewerX11Permission::look(std::string displayName, std::function<void(bool)> completion) {
    const bool isStarted =
        startDetachedThread("x11-permission", [completion, name = std::move(displayName)] {
            const auto connection = ViewerX11Connection::connect(name);
            completion(connection != nullptr && canReadScreen(*connection));
        });
    if (!isStarted) {
        completion(false);
    }
}

bool ViewerX11Permission::canReadScreen(const std::string& displayName,
                                        std::chrono::milliseconds limit) {
    const auto answer = std::make_shared<std::promise<bool>>();
    std::future<bool> result = answer->get_future();
    look(displayName, [answer](bool isGranted) { answer->set_value(isGranted); });
    return result.wait_for(limit) == std::future_status::ready && result.get();
}

}  // namespace velmora
