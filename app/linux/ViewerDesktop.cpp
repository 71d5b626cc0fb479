#include "app/linux/ViewerDesktop.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <utility>

namespace velmora {

namespace {

using Wording = ViewerAlertWording;

/// In lower case. Those that share the portal of wlroots stand under their own names: few of them
/// add "wlroots" to the list.
constexpr std::array<std::pair<std::string_view, Wording>, 10> desktops{{
    {"gnome", Wording::gnome},
    {"kde", Wording::kde},
    {"hyprland", Wording::hyprland},
    {"wlroots", Wording::wlroots},
    {"wlr", Wording::wlroots},
    {"sway", Wording::wlroots},
    {"river", Wording::wlroots},
    {"wayfire", Wording::wlroots},
    {"labwc", Wording::wlroots},
    {"dwl", Wording::wlroots},
}};

char lowered(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                : character;
}

std::optional<Wording> wordingOfName(std::string_view name) {
    const auto found = std::ranges::find_if(desktops, [name](const auto& desktop) {
        return std::ranges::equal(desktop.first, name, {}, {}, lowered);
    });
    return found == desktops.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

ViewerAlertWording ViewerDesktop::wordingOf(std::string_view currentDesktop) {
    while (!currentDesktop.empty()) {
        const std::size_t end = std::min(currentDesktop.find(':'), currentDesktop.size());
        if (const auto wording = wordingOfName(currentDesktop.substr(0, end))) {
            return *wording;
        }
        currentDesktop.remove_prefix(std::min(end + 1, currentDesktop.size()));
    }
    return Wording::linuxDesktop;
}

ViewerAlertWording ViewerDesktop::wording() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes this process's environment.
    const char* const value = std::getenv("XDG_CURRENT_DESKTOP");
    return wordingOf(value != nullptr ? value : "");
}

}  // namespace velmora
