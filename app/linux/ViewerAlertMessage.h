#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "app/ViewerAlert.h"

namespace velmora {

/// What the host tells the program that shows its alert, as one packet on the socket that is that
/// program's standard input. The two are built together and agree on it. A plain value; any thread.
struct ViewerAlertMessage final {
    /// The exit statuses that stand for an answer: the first button, or another one, as which also
    /// a window counts that is closed without. Every other end of the program, of its own will or
    /// not, means that the alert could not be shown.
    static constexpr int firstButtonStatus = 10;
    static constexpr int otherButtonStatus = 11;

    ViewerAlertMessage(ViewerAlert shownAlert, std::string folder);

    friend bool operator==(const ViewerAlertMessage&, const ViewerAlertMessage&) = default;

    std::vector<std::uint8_t> encoded() const;
    /// Nothing when the bytes are no message.
    static std::optional<ViewerAlertMessage> decoded(std::span<const std::uint8_t> bytes);

    ViewerAlert alert;
    /// The folder that the program removes if the host is gone before it; empty for none.
    std::string privateFolder;
};

}  // namespace velmora
