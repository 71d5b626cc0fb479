#include "tests/acceptance/mac/MacDesktop.h"

#include <algorithm>
#include <string_view>

namespace velmora {

namespace {

constexpr std::size_t desktopWidth = 1280;
constexpr std::size_t desktopHeight = 720;

}  // namespace

MacDesktop::MacDesktop() : picture_(Raster::filled(desktopWidth, desktopHeight, 0)) {
    ScreenScript::shared().onStart = [this](FakeStream& stream) { deliverTo(stream); };
    setDisplay("screen", {0, 0, desktopWidth, desktopHeight}, true);
}

MacDesktop::~MacDesktop() {
    ScreenScript::shared().onStart = nullptr;
}

void MacDesktop::setDisplay(const std::string& name, const ViewerRectangle& place, bool isMain) {
    ScreenScript& script = ScreenScript::shared();
    if (isMain) {
        script.displays.clear();
        script.screens.clear();
        places_.clear();
    }
    ScreenScript::Display display;
    display.number = static_cast<std::uint32_t>(script.displays.size() + 1);
    display.width = place.width;
    display.height = place.height;
    display.isMain = isMain;
    display.uuid = "A5D8832A-2D66-52CA-B9F7-8F30A301B23" + std::to_string(display.number);
    script.displays.push_back(display);
    script.screens.push_back({std::int64_t(display.number), name});
    places_.push_back(place);
}

void MacDesktop::fill(const ViewerRectangle& area, std::uint32_t colour) {
    for (std::int64_t y = area.y; y < area.bottom(); ++y) {
        const auto begin =
            picture_.colours.begin() + y * static_cast<std::int64_t>(desktopWidth) + area.x;
        std::fill(begin, begin + area.width, colour);
    }
    for (const auto& stream : ScreenScript::shared().streams()) {
        if (stream->isCapturing()) {
            deliverTo(*stream);
        }
    }
}

Raster MacDesktop::part(const ViewerRectangle& place) const {
    Raster part = Raster::filled(static_cast<std::size_t>(place.width),
                                 static_cast<std::size_t>(place.height), 0);
    for (std::int64_t y = 0; y < place.height; ++y) {
        const auto begin = picture_.colours.begin() +
                           (place.y + y) * static_cast<std::int64_t>(desktopWidth) + place.x;
        std::copy(begin, begin + place.width, part.colours.begin() + y * place.width);
    }
    return part;
}

void MacDesktop::deliverTo(FakeStream& stream) const {
    const FakeStream::Settings& settings = stream.settings();
    stream.deliver(part(places_.at(settings.display - 1)).resized(settings.width, settings.height));
}

}  // namespace velmora
