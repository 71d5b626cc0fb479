#include "bench/capture/wayland/Surroundings.h"

#include <fstream>
#include <utility>
#include <vector>

#include "app/ViewerAlertCatalogue.h"
#include "bench/encoder/DesktopPicture.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora::bench {

namespace {

XServer::Options serverOptions() {
    XServer::Options options;
    options.width = Surroundings::width;
    options.height = Surroundings::height;
    return options;
}

}  // namespace

Surroundings::Surroundings(DesktopSession& session, WaylandPainter& painter,
                           std::string hostProgram)
    : session_(session),
      painter_(painter),
      hostProgram_(std::move(hostProgram)),
      person_(session.bus().address()),
      server_(serverOptions()),
      xPainter_(makeXPainter()) {
    const auto file = session.runtimeFolder() / "picture";
    const std::vector<std::uint8_t> picture = desktopPicture(width, height);
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(picture.data()),
               static_cast<std::streamsize>(picture.size()));
    painter.show(file);
}

std::unique_ptr<Painter> Surroundings::makeXPainter() {
    enterXServer();
    return std::make_unique<Painter>();
}

void Surroundings::move(const ViewerRectangle& part) {
    painter_.move(part);
    xPainter_->move(part);
}

void Surroundings::rest() {
    painter_.rest();
    xPainter_->rest();
}

void Surroundings::enterDesktop() {
    environment_.set("DISPLAY", std::nullopt);
    for (const auto& [name, value] : session_.environment()) {
        environment_.set(name, value);
    }
    for (const auto& [name, value] : person_.environment()) {
        environment_.set(name, value);
    }
    // No machine that runs this needs to have the locale.
    environment_.set("LC_ALL", "en_XX.UTF-8");
    isOnDesktop_ = true;
}

void Surroundings::enterXServer() {
    for (const auto* name :
         {"WAYLAND_DISPLAY", "XDG_RUNTIME_DIR", "XDG_SESSION_TYPE", "DBUS_SESSION_BUS_ADDRESS"}) {
        environment_.set(name, std::nullopt);
    }
    environment_.set("DISPLAY", server_.displayName());
    isOnDesktop_ = false;
}

HostCapture Surroundings::startHost() {
    return HostCapture(hostProgram_, [&] {
        if (isOnDesktop_) {
            const ViewerAlertCatalogue catalogue("en", ViewerAlertWording::linuxDesktop);
            viewerCheck(person_.press(catalogue.consent().buttons.front()).has_value(),
                        "the host asks before it captures");
        }
    });
}

}  // namespace velmora::bench
