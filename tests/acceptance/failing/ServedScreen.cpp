#include "tests/acceptance/failing/ServedScreen.h"

#include "tests/support/desktop/MutterDesktop.h"
#include "tests/support/host/HostTest.h"

namespace velmora {

namespace {

class X11Screen final : public ServedScreen {
  public:
    HostLaunch launch() const override { return launchOn(server_); }
    void fill(std::uint32_t colour) override { painter_.fill({0, 0, 1280, 720}, colour); }
    bool isSeenAtOnce() const override { return true; }
    bool canLoseConsent() const override { return false; }

  private:
    XServer server_;
    XPainter painter_{server_};
};

class WaylandScreen final : public ServedScreen {
  public:
    HostLaunch launch() const override {
        HostLaunch launch;
        launch.environment = desktop_.session().environment();
        return launch;
    }
    void fill(std::uint32_t colour) override { desktop_.painter(0).fill(colour); }
    bool isSeenAtOnce() const override { return false; }
    bool canLoseConsent() const override { return true; }

  private:
    mutable MutterDesktop desktop_;
};

}  // namespace

std::unique_ptr<ServedScreen> ServedScreen::onX11() {
    return std::make_unique<X11Screen>();
}

std::unique_ptr<ServedScreen> ServedScreen::onWayland() {
    return std::make_unique<WaylandScreen>();
}

}  // namespace velmora
