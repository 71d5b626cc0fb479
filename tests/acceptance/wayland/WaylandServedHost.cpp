#include <poll.h>

#include <csignal>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/acceptance/ProtocolTest.h"
#include "tests/acceptance/wayland/WaylandHost.h"
#include "tests/support/capture/EDIDBlock.h"
#include "tests/support/desktop/MonitorDescriptions.h"
#include "tests/support/desktop/SwayDesktop.h"

namespace velmora {

namespace {

/// The built program on a sway of its own, whose outputs have monitors with names.
class WaylandServedHost final : public ServedHost {
  public:
    WaylandServedHost() { setDisplay("screen", {0, 0, 1280, 720}, true); }

    void setDisplay(const std::string& name, const ViewerRectangle& place, bool isMain) override {
        if (isMain) {
            outputs_.clear();
        }
        DesktopOutput output;
        output.x = static_cast<int>(place.x);
        output.y = static_cast<int>(place.y);
        output.width = static_cast<int>(place.width);
        output.height = static_cast<int>(place.height);
        const auto number = static_cast<std::uint32_t>(outputs_.size());
        MonitorDescriptions::plugIn(SwayDesktop::connector(number),
                                    EDIDBlock().monitorName(name).serialNumber(number + 1).bytes());
        outputs_.push_back(output);
    }
    void fill(const ViewerRectangle& area, std::uint32_t colour) override {
        painted_.emplace_back(area, colour);
        if (desktop_) {
            paint(painted_.back());
        }
    }
    std::string start() override {
        if (!desktop_) {
            desktop_ = std::make_unique<SwayDesktop>(outputs_, SwayDesktop::Answers::scripted);
            host_ = std::make_unique<WaylandHost>(desktop_->session());
            for (const Painted& painted : painted_) {
                paint(painted);
            }
        }
        return host_->serve();
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
    bool end() override { return host_->end(SIGTERM) == endedInOrder; }

  private:
    using Painted = std::pair<ViewerRectangle, std::uint32_t>;

    void paint(const Painted& painted) {
        for (std::size_t i = 0; i < outputs_.size(); ++i) {
            const DesktopOutput& output = outputs_[i];
            ViewerRectangle part =
                intersection(painted.first, {output.x, output.y, output.width, output.height});
            if (!part.isEmpty()) {
                part.x -= output.x;
                part.y -= output.y;
                desktop_->painter(i).fill(part, painted.second);
            }
        }
    }

    const MonitorDescriptions descriptions_;
    std::vector<DesktopOutput> outputs_;
    std::vector<Painted> painted_;
    std::unique_ptr<SwayDesktop> desktop_;
    std::unique_ptr<WaylandHost> host_;
};

INSTANTIATE_TEST_SUITE_P(OnWayland, Protocol,
                         testing::Values(ServedHostKind{
                             "sway", [] { return std::make_unique<WaylandServedHost>(); }}),
                         testing::PrintToStringParamName());

}  // namespace

}  // namespace velmora
