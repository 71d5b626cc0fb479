#include "tests/support/host/HostTest.h"

#include <poll.h>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/support/system/PrivateNetwork.h"

namespace velmora {

namespace {

/// Entered before the first test, not when the tests are only listed.
class NetworkEnvironment final : public testing::Environment {
  public:
    void SetUp() override { network_.emplace(); }

  private:
    std::optional<PrivateNetwork> network_;
};

[[maybe_unused]] const testing::Environment* const networkEnvironment =
    testing::AddGlobalTestEnvironment(new NetworkEnvironment);

}  // namespace

HostLaunch launchOn(const XServer& server) {
    HostLaunch launch;
    launch.environment["DISPLAY"] = server.displayName();
    if (!server.authorityFile().empty()) {
        launch.environment["XAUTHORITY"] = server.authorityFile();
    }
    return launch;
}

std::optional<std::vector<ViewerHostDisplay>> listDisplays() {
    return displaysIn(HTTPClient::get(ViewerHostProtocolV1::displaysPath));
}

std::string idOf(const std::string& name) {
    return idIn(HTTPClient::get(ViewerHostProtocolV1::displaysPath), name);
}

std::optional<JPEGPicture> frameOf(const std::string& id) {
    return pictureIn(HTTPClient::get(frameTarget(id)));
}

bool eventually(const std::function<bool()>& holds, std::chrono::milliseconds limit) {
    constexpr int betweenLooks = 10;
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        ::poll(nullptr, 0, betweenLooks);
    }
    return true;
}

void HostTest::serve(const HostLaunch& launch) {
    host_ = std::make_unique<HostProcess>(launch);
    ASSERT_EQ(host_->readLine(), listeningLine);
}

std::optional<HostEnd> HostTest::end(int signal) {
    host_->signal(signal);
    return host_->awaitEnd();
}

}  // namespace velmora
