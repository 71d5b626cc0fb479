#include "core/capture/linux/ViewerLinuxSession.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace velmora {

namespace {

constexpr std::string_view x11Type = "x11";
/// How compositors call their sockets, where nobody gives them another name.
constexpr std::string_view socketPrefix = "wayland-";

std::string valueOf(const char* name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes this process's environment.
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

}  // namespace

ViewerLinuxSession ViewerLinuxSession::fromEnvironment() {
    return {.type = valueOf("XDG_SESSION_TYPE"),
            .x11Display = valueOf("DISPLAY"),
            .waylandDisplay = valueOf("WAYLAND_DISPLAY"),
            .runtimeFolder = valueOf("XDG_RUNTIME_DIR")};
}

ViewerLinuxSession::Verdict ViewerLinuxSession::verdict() const {
    if (type == x11Type && !x11Display.empty()) {
        if (!isOwnXServer) {
            return Verdict::lookAtXServer;
        }
        if (*isOwnXServer) {
            return Verdict::x11;
        }
    }
    if (!answeringSockets) {
        return Verdict::lookAtSockets;
    }
    if (answeringSockets->size() == 1) {
        return Verdict::wayland;
    }
    if (!waylandDisplay.empty()) {
        return Verdict::waylandUnreachable;
    }
    return x11Display.empty() ? Verdict::none : Verdict::x11;
}

std::vector<std::string> ViewerLinuxSession::sockets() const {
    if (!waylandDisplay.empty()) {
        const auto path = std::filesystem::path(runtimeFolder) / waylandDisplay;
        // Without the folder a mere name leads nowhere.
        return path.is_absolute() ? std::vector<std::string>{path} : std::vector<std::string>();
    }
    std::vector<std::string> paths;
    std::error_code error;  // a folder that cannot be read has none
    for (std::filesystem::directory_iterator entry(runtimeFolder, error), end;
         !error && entry != end; entry.increment(error)) {
        std::error_code gone;
        if (entry->path().filename().native().starts_with(socketPrefix) && entry->is_socket(gone)) {
            paths.push_back(entry->path());
        }
    }
    std::ranges::sort(paths);
    return paths;
}

}  // namespace velmora
