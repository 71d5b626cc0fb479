#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/desktop/DesktopOutput.h"
#include "tests/support/desktop/DesktopSession.h"
#include "tests/support/desktop/PortalBackend.h"
#include "tests/support/desktop/WaylandPainter.h"

namespace velmora {

/// A whole desktop with sway: the compositor without a screen, PipeWire and its session manager,
/// and the portal with sway's own backend, behind which the person is scripted. Its outputs are
/// HEADLESS-1, HEADLESS-2 and so on, each painted in its colour. Members: "sway", "pipewire",
/// "wireplumber", "backend" (sway's), "portal" and, where a script answers, "script". One thread.
class SwayDesktop final {
  public:
    /// Who answers the portal: sway's own backend, which grants the one output that was chosen, or
    /// a script before it that grants several of them.
    enum class Answers { own, scripted };

    explicit SwayDesktop(std::vector<DesktopOutput> outputs = {{}}, Answers answers = Answers::own);

    DesktopSession& session() { return session_; }
    /// The script that answers.
    PortalBackend& backend() { return *backend_; }
    /// The painter of an output, counted from 0.
    WaylandPainter& painter(std::size_t output) { return *painters_.at(output); }

    static std::string connector(std::size_t output) {
        return "HEADLESS-" + std::to_string(output + 1);
    }
    /// What sway's own backend grants from now on; nothing is a person who cancels.
    void choose(const std::string& connector);
    /// From now on whoever is asked thinks it over, until `choose`.
    void thinkItOver();
    /// Starts the backend and the portal, also again after their end.
    void startPortal();
    /// Has sway do something; false when it refuses.
    bool command(const std::string& words);
    /// Switches an output off or on; it is done when this returns.
    void disable(std::size_t output);
    void enable(std::size_t output);

  private:
    /// What sway's own backend reads.
    std::filesystem::path choice() const { return session_.runtimeFolder() / "choice"; }
    void writeSettings() const;
    void startCompositor();

    const Answers answers_;
    const std::vector<DesktopOutput> outputs_;
    DesktopSession session_;
    std::unique_ptr<PortalBackend> backend_;
    std::vector<std::unique_ptr<WaylandPainter>> painters_;
};

}  // namespace velmora
