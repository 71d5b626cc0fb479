#include "tests/acceptance/HostTest.h"

#include <poll.h>

#include <algorithm>

#include "core/protocol/ViewerHostListingJSON.h"
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
    const HTTPAnswer answer = HTTPClient::get(ViewerHostProtocolV1::displaysPath);
    const auto listing = ViewerHostListingJSON::decodeListing(answer.body());
    if (answer.status() != 200 || !listing) {
        return std::nullopt;
    }
    return listing->displays;
}

std::string idOf(const std::string& name) {
    const auto displays = listDisplays();
    if (!displays) {
        return {};
    }
    const auto found = std::ranges::find(*displays, name, &ViewerHostDisplay::name);
    return found != displays->end() ? found->id : std::string();
}

std::string frameTarget(const std::string& id) {
    return std::string(ViewerHostProtocolV1::framePathPrefix) + id;
}

std::optional<JPEGPicture> frameOf(const std::string& id) {
    const HTTPAnswer answer = HTTPClient::get(frameTarget(id));
    return answer.status() == 200 ? JPEGPicture::decode(answer.body()) : std::nullopt;
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
