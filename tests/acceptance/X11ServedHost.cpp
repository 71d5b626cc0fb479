#include <poll.h>

#include <csignal>
#include <memory>
#include <string>
#include <string_view>

#include "tests/acceptance/ProtocolTest.h"
#include "tests/support/host/HostTest.h"

namespace velmora {

namespace {

/// The built program on an X server of its own.
class X11ServedHost final : public ServedHost {
  public:
    void setDisplay(const std::string& name, const ViewerRectangle& place, bool isMain) override {
        server_.setMonitor(name, place, isMain ? "screen" : "");
    }
    void fill(const ViewerRectangle& area, std::uint32_t colour) override {
        painter_.fill(area, colour);
    }
    std::string start() override {
        host_ = std::make_unique<HostProcess>(launchOn(server_));
        return host_->readLine().value_or("");
    }
    HTTPAnswer exchange(std::string_view bytes) override {
        HTTPClient client;
        client.send(bytes);
        return client.receive();
    }
    void pause() override {
        constexpr int milliseconds = 10;
        (void)::poll(nullptr, 0, milliseconds);  // a signal may cut it short
    }
    bool end() override {
        host_->signal(SIGTERM);
        return host_->awaitEnd() == endedInOrder;
    }

  private:
    XServer server_;
    XPainter painter_{server_};
    std::unique_ptr<HostProcess> host_;
};

INSTANTIATE_TEST_SUITE_P(OnX11, Protocol,
                         testing::Values(ServedHostKind{
                             "Xvfb", [] { return std::make_unique<X11ServedHost>(); }}),
                         testing::PrintToStringParamName());

}  // namespace

}  // namespace velmora
