#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "app/ViewerAlertCatalogue.h"
#include "tests/support/desktop/AccessibleSession.h"
#include "tests/support/host/HostTest.h"
#include "tests/support/system/HostProcess.h"
#include "tests/support/system/TemporaryFolder.h"
#include "tests/support/x11/XAuthority.h"
#include "tests/support/x11/XServer.h"

namespace velmora {

/// The host in a session that lets it show alerts on an X server but not read the screen, and
/// someone who uses what it shows.
class AlertTest : public testing::Test {
  protected:
    explicit AlertTest(std::string language = "en") : language_(std::move(language)) {}

    /// As an untrusted client: windows show, the screen cannot be read.
    HostLaunch withoutPermission() const;
    HostLaunch withPermission() const;
    /// The same application, but for the permission's answers and the wording, which are given.
    HostLaunch scripted(const std::string& looks, const std::string& request,
                        const std::string& wording) const;

    void launch(const HostLaunch& launch) { host_ = std::make_unique<HostProcess>(launch); }
    /// Waits for the alert by its first button.
    void expectShown(const ViewerAlert& alert);
    /// Waits for the alert and presses one of its buttons.
    void press(const ViewerAlert& alert, std::size_t button);
    /// The host ends in order, having printed `output` and nothing else; no alert is left, and
    /// nothing that was made for it.
    void expectEnd(const std::string& output = "");

    const std::string language_;
    const ViewerAlertCatalogue catalogue_{language_, ViewerAlertWording::linuxDesktop};
    XServer server_{serverOptions()};
    AccessibleSession session_;
    /// Where the host makes what it makes for an alert.
    TemporaryFolder temporary_;
    std::unique_ptr<HostProcess> host_;

  private:
    static XServer::Options serverOptions();
    HostLaunch launchWith(const std::string& authority) const;
};

/// The same in each language.
class AlertTestIn : public AlertTest, public testing::WithParamInterface<const char*> {
  protected:
    AlertTestIn() : AlertTest(GetParam()) {}
};

}  // namespace velmora
