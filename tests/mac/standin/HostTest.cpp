#include "tests/acceptance/HostTest.h"

#include <algorithm>

#include "core/protocol/ViewerHostListingJSON.h"
#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/mac/frameworks/network/FakeListener.h"

namespace velmora {

MacHost*& servingHost() {
    static MacHost* host = nullptr;
    return host;
}

std::optional<std::vector<ViewerHostDisplay>> listDisplays() {
    const HTTPAnswer answer = MacClient::get(*servingHost(), ViewerHostProtocolV1::displaysPath);
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
    const HTTPAnswer answer = MacClient::get(*servingHost(), frameTarget(id));
    return answer.status() == 200 ? JPEGPicture::decode(answer.body()) : std::nullopt;
}

bool eventually(const std::function<bool()>& holds) {
    constexpr int looks = 100;
    for (int i = 0; i < looks; ++i) {
        if (holds()) {
            return true;
        }
        servingHost()->advance(std::chrono::milliseconds(10));
    }
    return false;
}

void HostTest::serve() {
    testing::internal::CaptureStdout();
    host_ = std::make_unique<MacHost>();
    servingHost() = host_.get();
    host_->perform([] { FakeListener::last()->becomeReady(ViewerHostProtocolV1::defaultPort); });
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Velmora Viewer Host protocol v1 listening on TCP 9090\n");
}

std::optional<int> HostTest::end(int signal) {
    host_->raise(signal);
    return host_->status();
}

void HostTest::TearDown() {
    host_ = nullptr;
    servingHost() = nullptr;
    MacTest::TearDown();
}

}  // namespace velmora
