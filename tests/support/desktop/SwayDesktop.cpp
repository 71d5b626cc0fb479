#include "tests/support/desktop/SwayDesktop.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/x11/XChildProcess.h"

namespace velmora {

namespace {

constexpr std::chrono::seconds patience{30};
constexpr const char* desktopName = "sway";

std::filesystem::path socketIn(const std::filesystem::path& folder, const std::string& beginning) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_socket() && entry.path().filename().string().starts_with(beginning)) {
            return entry.path();
        }
    }
    return {};
}

}  // namespace

SwayDesktop::SwayDesktop(std::vector<DesktopOutput> outputs, Answers answers)
    : answers_(answers), outputs_(std::move(outputs)) {
    session_.set("XDG_CURRENT_DESKTOP", desktopName);
    writeSettings();
    session_.startPipeWire();
    startCompositor();
    for (std::size_t i = 0; i < outputs_.size(); ++i) {
        painters_.push_back(
            std::make_unique<WaylandPainter>(session_, connector(i), outputs_[i].colour));
    }
    choose(connector(0));
    session_.set("PORTAL_CHOICE", session_.runtimeFolder() / "choice");
    startPortal();
}

void SwayDesktop::writeSettings() const {
    const auto folder = session_.configurationFolder();
    std::filesystem::create_directories(folder / "sway");
    std::ofstream sway(folder / "sway/config");
    sway << "xwayland disable\ndefault_border none\nfocus_follows_mouse no\n";
    for (std::size_t i = 0; i < outputs_.size(); ++i) {
        const DesktopOutput& output = outputs_[i];
        sway << "output " << connector(i) << " mode --custom " << output.width << 'x'
             << output.height << "@60Hz position " << output.x << ' ' << output.y << " transform "
             << output.transform << " scale " << output.scale << "\nworkspace " << i + 1
             << " output " << connector(i) << "\nassign [title=\"^painter of " << connector(i)
             << "$\"] workspace number " << i + 1 << '\n';
    }
    std::filesystem::create_directories(folder / "xdg-desktop-portal-wlr");
    std::ofstream(folder / "xdg-desktop-portal-wlr/config")
        << "[screencast]\nchooser_type=simple\nchooser_cmd=cat " << choice().string() << '\n';
}

void SwayDesktop::startCompositor() {
    // A window that fills an output would be handed on as it is, and not be on what is captured:
    // older releases want an option, newer ones a variable.
    session_.start("sway", {"sway", "-D", "noscanout"},
                   {{"LD_PRELOAD", OUTPUT_SWITCH_PATH},
                    {"WLR_BACKENDS", "headless"},
                    {"WLR_RENDERER", "pixman"},
                    {"WLR_SCENE_DISABLE_DIRECT_SCANOUT", "1"},
                    {"WLR_LIBINPUT_NO_DEVICES", "1"},
                    {"WLR_HEADLESS_OUTPUTS", std::to_string(outputs_.size())},
                    {"LIBSEAT_BACKEND", "noop"}});
    const auto& folder = session_.runtimeFolder();
    session_.await("socket of sway's", [&] {
        return !socketIn(folder, "wayland-").empty() && !socketIn(folder, "sway-ipc.").empty();
    });
    session_.set("WAYLAND_DISPLAY", socketIn(folder, "wayland-").filename());
    session_.set("SWAYSOCK", socketIn(folder, "sway-ipc."));
    session_.await("answer of sway's", [&] { return command("nop ready"); });
}

void SwayDesktop::startPortal() {
    session_.start("backend", {"/usr/libexec/xdg-desktop-portal-wlr", "-l", "INFO"},
                   {{"LD_PRELOAD", SCREENCOPY_FORMATS_PATH}});
    session_.awaitOwner("org.freedesktop.impl.portal.desktop.wlr");
    if (answers_ == Answers::scripted && !backend_) {
        PortalBackend::install(session_, desktopName);
        backend_ = std::make_unique<PortalBackend>(session_, PortalBackend::Casts::wlroots);
    }
    session_.startPortal();
}

void SwayDesktop::thinkItOver() {
    // Whoever reads it waits for somebody to write.
    const auto file = choice();
    std::filesystem::remove(file);
    viewerCheck(::mkfifo(file.c_str(), S_IRUSR | S_IWUSR) == 0, "a test makes a pipe");
}

void SwayDesktop::choose(const std::string& connector) {
    const auto file = choice();
    if (std::filesystem::is_fifo(file)) {
        std::ofstream(file) << connector << '\n';
        return;
    }
    const std::string fresh = file.string() + ".new";
    std::ofstream(fresh) << connector << '\n';
    std::filesystem::rename(fresh, file);
}

bool SwayDesktop::command(const std::string& words) {
    XChildProcess::Start what;
    what.arguments = {"swaymsg", "-s", session_.environment().at("SWAYSOCK"), "--", words};
    what.logFile = session_.runtimeFolder() / "swaymsg.log";
    int status = 0;
    viewerCheck(XChildProcess::waitForEnd(XChildProcess::start(what), patience, status),
                "sway answers what it is told");
    return status == 0;
}

void SwayDesktop::disable(std::size_t output) {
    // The workspace that has the focus would come along and cover another output's.
    const std::size_t another = (output + 1) % outputs_.size();
    viewerCheck(command("workspace number " + std::to_string(another + 1) + "; output " +
                        connector(output) + " disable"),
                "sway switches outputs off");
}

void SwayDesktop::enable(std::size_t output) {
    viewerCheck(command("output " + connector(output) + " enable"), "sway switches outputs on");
}

}  // namespace velmora
