#pragma once

#include <string>
#include <utility>
#include <vector>

namespace velmora {

enum class ViewerAlertStyle { warning, informational, critical };

/// Whose words an alert uses: those for someone at a Mac, or at a Linux machine, with the names of
/// that machine's desktop where it is one that the host knows.
enum class ViewerAlertWording { mac, linuxDesktop, gnome, kde, wlroots, hyprland };

/// What a modal alert shows. A plain value; any thread.
struct ViewerAlert final {
    ViewerAlert(ViewerAlertStyle alertStyle, std::string alertTitle, std::string alertText,
                std::vector<std::string> alertButtons)
        : style(alertStyle),
          title(std::move(alertTitle)),
          informativeText(std::move(alertText)),
          buttons(std::move(alertButtons)) {}

    friend bool operator==(const ViewerAlert&, const ViewerAlert&) = default;

    ViewerAlertStyle style;
    std::string title;
    std::string informativeText;
    /// One or two, in order; the first is the default.
    std::vector<std::string> buttons;
};

}  // namespace velmora
