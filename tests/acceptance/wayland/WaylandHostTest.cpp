#include "tests/acceptance/wayland/WaylandHostTest.h"

namespace velmora {

namespace {

/// Of what is listed, the displays that show a colour now.
std::vector<std::string> idsOf(std::uint32_t colour) {
    std::vector<std::string> ids;
    for (const ViewerHostDisplay& display :
         listDisplays().value_or(std::vector<ViewerHostDisplay>{})) {
        if (shows(display.id, colour)) {
            ids.push_back(display.id);
        }
    }
    return ids;
}

}  // namespace

std::vector<DesktopOutput> equalMonitors() {
    DesktopOutput left;
    left.colour = red;
    DesktopOutput right;
    right.x = left.width;
    right.colour = green;
    return {left, right};
}

std::string idOf(std::uint32_t colour) {
    std::vector<std::string> ids;
    const bool isOne = eventually([&] {
        ids = idsOf(colour);
        return ids.size() == 1;
    });
    return isOne ? ids.front() : "";
}

bool shows(const std::string& id, std::uint32_t colour) {
    const auto picture = frameOf(id);
    return picture && picture->isAll(colour, jpegTolerance);
}

bool isRefused(const std::string& id) {
    return HTTPClient::get(frameTarget(id)).status() == 503;
}

bool nothingIsListed() {
    const auto displays = listDisplays();
    return displays && displays->empty();
}

}  // namespace velmora
