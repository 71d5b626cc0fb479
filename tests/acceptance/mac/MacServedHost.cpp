#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <string_view>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/acceptance/ProtocolTest.h"
#include "tests/acceptance/mac/MacClient.h"
#include "tests/acceptance/mac/MacDesktop.h"
#include "tests/acceptance/mac/MacHost.h"
#include "tests/mac/PristineDoubles.h"
#include "tests/mac/frameworks/network/FakeListener.h"

namespace velmora {

namespace {

/// The same program on the doubles of macOS.
class MacServedHost final : public ServedHost {
  public:
    void setDisplay(const std::string& name, const ViewerRectangle& place, bool isMain) override {
        desktop_.setDisplay(name, place, isMain);
    }
    void fill(const ViewerRectangle& area, std::uint32_t colour) override {
        desktop_.fill(area, colour);
    }
    std::string start() override {
        testing::internal::CaptureStdout();
        host_ = std::make_unique<MacHost>();
        host_->perform(
            [] { FakeListener::last()->becomeReady(ViewerHostProtocolV1::defaultPort); });
        const std::string written = testing::internal::GetCapturedStdout();
        return written.substr(0, written.rfind('\n'));
    }
    HTTPAnswer exchange(std::string_view bytes) override {
        MacClient client(*host_);
        client.send(bytes);
        return client.receive();
    }
    void pause() override { host_->advance(std::chrono::milliseconds(10)); }
    bool end() override {
        host_->raise(SIGTERM);
        return host_->status() == 0;
    }

  private:
    const PristineDoubles doubles_;
    MacDesktop desktop_;
    std::unique_ptr<MacHost> host_;
};

INSTANTIATE_TEST_SUITE_P(OnMac, Protocol,
                         testing::Values(ServedHostKind{
                             "doubles", [] { return std::make_unique<MacServedHost>(); }}),
                         testing::PrintToStringParamName());

}  // namespace

}  // namespace velmora
