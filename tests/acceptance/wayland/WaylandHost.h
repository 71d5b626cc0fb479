#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "app/ViewerAlertCatalogue.h"
#include "tests/support/desktop/AccessibleSession.h"
#include "tests/support/desktop/DesktopSession.h"
#include "tests/support/host/HostTest.h"
#include "tests/support/system/HostProcess.h"

namespace velmora {

/// The built program in a Wayland session, and someone who answers its alerts. One thread.
class WaylandHost final {
  public:
    explicit WaylandHost(DesktopSession& session)
        : session_(session), person_(session.bus().address()) {}

    /// Gives it a system bus, of which a desktop here has none. Before it is started.
    void useSystemBus(std::string address) { systemBus_ = std::move(address); }
    /// Starts it and consents to its own question, with which the desktop's begins.
    void start();
    /// The same, and the line that it writes once it listens; empty when it writes none.
    std::string serve();
    /// Presses the first button of its alert; false when it shows another one or none.
    bool press(const ViewerAlert& alert);
    /// Ends it by a signal; how it ended.
    std::optional<HostEnd> end(int signal);

    HostProcess& process() { return *process_; }

  private:
    HostLaunch launch() const;

    DesktopSession& session_;
    const ViewerAlertCatalogue catalogue_{"en", ViewerAlertWording::linuxDesktop};
    AccessibleSession person_;
    std::optional<std::string> systemBus_;
    std::unique_ptr<HostProcess> process_;
};

}  // namespace velmora
