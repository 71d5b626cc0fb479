#include "tests/support/desktop/MutterDesktop.h"

namespace velmora {

namespace {

constexpr const char* socketName = "wayland-0";

}  // namespace

MutterDesktop::MutterDesktop(std::vector<DesktopOutput> outputs, const std::string& name) {
    session_.set("XDG_CURRENT_DESKTOP", name);
    session_.startPipeWire();
    std::vector<std::string> command{"mutter", "--headless", "--no-x11", "--wayland-display",
                                     socketName};
    for (const DesktopOutput& output : outputs) {
        command.insert(command.end(), {"--virtual-monitor", std::to_string(output.width) + "x" +
                                                                std::to_string(output.height)});
    }
    session_.start("mutter", command);
    session_.awaitOwner("org.gnome.Mutter.ScreenCast");
    session_.awaitFile(session_.runtimeFolder() / socketName);
    session_.set("WAYLAND_DISPLAY", socketName);
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        painters_.push_back(
            std::make_unique<WaylandPainter>(session_, connector(i), outputs[i].colour));
    }
    PortalBackend::install(session_, name);
    backend_ = std::make_unique<PortalBackend>(session_, PortalBackend::Casts::mutter);
    session_.startPortal();
}

}  // namespace velmora
