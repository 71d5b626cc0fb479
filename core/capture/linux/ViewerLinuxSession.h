#pragma once

#include <optional>
#include <string>
#include <vector>

namespace velmora {

/// The session that this process stands in: what the environment says of it, and what was found out
/// about it. Judges from these whose screens are meant, X11's or a Wayland compositor's. A plain
/// value; any thread.
struct ViewerLinuxSession final {
    /// What is to be done next, until it is settled.
    enum class Verdict {
        /// `isOwnXServer` has to be found out.
        lookAtXServer,
        /// `answeringSockets` has to be found out.
        lookAtSockets,
        x11,
        /// The compositor is `compositor()`.
        wayland,
        /// The environment names a compositor that does not answer.
        waylandUnreachable,
        none,
    };

    friend bool operator==(const ViewerLinuxSession&, const ViewerLinuxSession&) = default;

    /// As far as the environment tells. While nothing changes the environment.
    static ViewerLinuxSession fromEnvironment();

    /// Asks for no more than it needs: an X11 session is known without a look at any socket. In
    /// this order: a session of the type x11 with an X server of its own, whatever compositor may
    /// be nested in it; the compositor that WAYLAND_DISPLAY names; the only one that answers in the
    /// runtime folder, for a program that was started from outside; the display of DISPLAY.
    Verdict verdict() const;
    /// The paths of the sockets to be looked at: of the one that WAYLAND_DISPLAY names, else of
    /// those of the runtime folder. Reads the folder.
    std::vector<std::string> sockets() const;
    /// The path of the compositor's socket, where the verdict is `wayland`.
    const std::string& compositor() const { return answeringSockets->front(); }

    // Of the environment; empty where it does not say.
    std::string type = {};
    std::string x11Display = {};
    std::string waylandDisplay = {};
    std::string runtimeFolder = {};

    // Found out.
    /// Whether the X server is one of this machine and no Xwayland, which shows only a part of a
    /// Wayland session.
    std::optional<bool> isOwnXServer = std::nullopt;
    /// Those of `sockets()` behind which a compositor answers.
    std::optional<std::vector<std::string>> answeringSockets = std::nullopt;
};

}  // namespace velmora
