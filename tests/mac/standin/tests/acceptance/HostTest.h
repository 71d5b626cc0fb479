#pragma once

// Stands in for the header of that name where the acceptance tests of the protocol are compiled a
// second time: the same host is then served by the doubles of macOS instead of a real X server and
// real sockets. It has what those tests use, under the same names.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/protocol/ViewerHostDisplay.h"
#include "tests/acceptance/mac/MacClient.h"
#include "tests/acceptance/mac/MacDesktop.h"
#include "tests/acceptance/mac/MacHost.h"
#include "tests/mac/MacTest.h"
#include "tests/support/system/JPEGPicture.h"

namespace velmora {

inline constexpr int jpegTolerance = 6;
/// The exit status of a host that ended in order.
inline constexpr int endedInOrder = 0;

/// The host that the running test serves; null when there is none.
MacHost*& servingHost();

std::optional<std::vector<ViewerHostDisplay>> listDisplays();
std::string idOf(const std::string& name);
std::string frameTarget(const std::string& id);
std::optional<JPEGPicture> frameOf(const std::string& id);
bool eventually(const std::function<bool()>& holds);

class HostTest : public MacTest {
  protected:
    struct Monitors final {
        void setMonitor(const std::string& name, const ViewerRectangle& place,
                        const std::string& output = {}) {
            desktop.setDisplay(name, place, !output.empty());
        }
        MacDesktop& desktop;
    };

    void serve();
    std::optional<int> end(int signal);
    void TearDown() override;

    MacDesktop painter_;
    Monitors server_{painter_};
    std::unique_ptr<MacHost> host_;
};

namespace {

/// Before the name of the class for real sockets, because it is nearer.
class HTTPClient final {
  public:
    HTTPClient() : client_(*servingHost()) {}
    bool send(std::string_view bytes) { return client_.send(bytes); }
    HTTPAnswer receive() { return client_.receive(); }
    static HTTPAnswer get(std::string_view target) {
        return MacClient::get(*servingHost(), target);
    }

  private:
    MacClient client_;
};

}  // namespace

}  // namespace velmora
