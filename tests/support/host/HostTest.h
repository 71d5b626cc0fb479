#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/protocol/ViewerHostDisplay.h"
#include "tests/support/system/HTTPClient.h"
#include "tests/support/system/HostAnswers.h"
#include "tests/support/system/HostProcess.h"
#include "tests/support/system/JPEGPicture.h"
#include "tests/support/x11/XPainter.h"
#include "tests/support/x11/XServer.h"

namespace velmora {

inline constexpr std::array uselessOutputs{HostLaunch::Output::closed, HostLaunch::Output::full,
                                           HostLaunch::Output::broken};

/// The environment of a host on that display.
HostLaunch launchOn(const XServer& server);
/// The listing as the host sends it; nothing when it does not answer 200 with a proper one.
std::optional<std::vector<ViewerHostDisplay>> listDisplays();
/// The id of the display with that name; empty when it is not listed.
std::string idOf(const std::string& name);
/// The picture that a frame request yields; nothing when the answer is another than a frame.
std::optional<JPEGPicture> frameOf(const std::string& id);
/// Looks again and again until `holds`; false when it does not within `limit`.
bool eventually(const std::function<bool()>& holds,
                std::chrono::milliseconds limit = HostProcess::generousLimit);

/// A host that serves the displays of an X server of its own.
class HostTest : public testing::Test {
  protected:
    explicit HostTest(const XServer::Options& options = XServer::Options()) : server_(options) {}

    /// Starts the host and waits for its line.
    void serve() { serve(launchOn(server_)); }
    void serve(const HostLaunch& launch);
    /// Ends the host by a signal; how it ended.
    std::optional<HostEnd> end(int signal);

    XServer server_;
    XPainter painter_{server_};
    std::unique_ptr<HostProcess> host_;
};

}  // namespace velmora
