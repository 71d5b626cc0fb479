#include "tests/capture/linux/x11/CapturedMonitor.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <utility>

#include "core/capture/ViewerTargetSize.h"
#include "core/capture/linux/x11/ViewerX11Stream.h"
#include "tests/capture/linux/x11/LoopThread.h"

namespace velmora {

namespace {

std::shared_ptr<ViewerDisplayStream> streamOf(const std::string& displayName,
                                              std::string uuidText) {
    ViewerNativeDisplay display;
    display.uuidText = std::move(uuidText);
    return ViewerLinuxStream::handedOut(std::make_shared<ViewerX11Stream>(
        LoopThread::executor(), LoopThread::clock(),
        std::make_shared<ViewerX11Connector>(displayName), display, RecordedStream::settings()));
}

/// One channel of the average over the part of the source that target pixel (column, row) covers.
double average(const std::vector<std::uint32_t>& source, const ViewerRectangle& area, double left,
               double right, double top, double bottom, int shift) {
    double sum = 0;
    for (auto y = static_cast<std::int64_t>(top); static_cast<double>(y) < bottom; ++y) {
        const double rows =
            std::min(bottom, static_cast<double>(y + 1)) - std::max(top, static_cast<double>(y));
        for (auto x = static_cast<std::int64_t>(left); static_cast<double>(x) < right; ++x) {
            const double columns = std::min(right, static_cast<double>(x + 1)) -
                                   std::max(left, static_cast<double>(x));
            const std::uint32_t colour = source[static_cast<std::size_t>(y * area.width + x)];
            sum += rows * columns * ((colour >> shift) & 0xff);
        }
    }
    return sum / ((right - left) * (bottom - top));
}

}  // namespace

std::string uuidOf(const XServer& server, const std::string& name) {
    const auto connection = ViewerX11Connection::connect(server.displayName());
    const auto monitors = connection ? readMonitors(*connection) : std::nullopt;
    std::string result = "no such monitor";
    for (const ViewerX11Monitor& each : monitors.value_or(std::vector<ViewerX11Monitor>())) {
        if (each.name == name || each.connector == name) {
            result = each.uuidText;
        }
    }
    return result;
}

CapturedMonitor::CapturedMonitor(const XServer& server, const std::string& name,
                                 StreamRecorder::Judgement isAllowed)
    : CapturedMonitor(server.displayName(), uuidOf(server, name), std::move(isAllowed)) {}

CapturedMonitor::CapturedMonitor(const std::string& displayName, std::string uuidText,
                                 StreamRecorder::Judgement isAllowed)
    : RecordedStream(streamOf(displayName, std::move(uuidText)), std::move(isAllowed)) {}

StreamRecorder::Picture reducedScreen(const XPainter& painter, const ViewerRectangle& area) {
    constexpr int channelBits = 8;
    const std::vector<std::uint32_t> source = painter.read(area);
    const ViewerTargetSize target = ViewerJPEGEncoder::targetSize(area.width, area.height);
    const double xRatio = static_cast<double>(area.width) / target.width;
    const double yRatio = static_cast<double>(area.height) / target.height;
    StreamRecorder::Picture result;
    result.width = static_cast<std::int64_t>(target.width);
    result.height = static_cast<std::int64_t>(target.height);
    for (std::int64_t row = 0; row < result.height; ++row) {
        for (std::int64_t column = 0; column < result.width; ++column) {
            const auto x = static_cast<double>(column);
            const auto y = static_cast<double>(row);
            std::uint32_t colour = 0;
            for (int shift = 0; shift < 3 * channelBits; shift += channelBits) {
                const double channel = average(source, area, x * xRatio, (x + 1) * xRatio,
                                               y * yRatio, (y + 1) * yRatio, shift);
                colour |= static_cast<std::uint32_t>(std::lround(channel)) << shift;
            }
            result.colours.push_back(colour);
        }
    }
    return result;
}

bool isNearly(const StreamRecorder::Picture& a, const StreamRecorder::Picture& b) {
    const auto isNearlyEqual = [](std::uint32_t x, std::uint32_t y) {
        const auto channel = [](std::uint32_t colour, int shift) {
            return static_cast<int>((colour >> shift) & 0xff);
        };
        return std::abs(channel(x, 0) - channel(y, 0)) <= 1 &&
               std::abs(channel(x, 8) - channel(y, 8)) <= 1 &&
               std::abs(channel(x, 16) - channel(y, 16)) <= 1;
    };
    return a.width == b.width && a.height == b.height &&
           std::ranges::equal(a.colours, b.colours, isNearlyEqual);
}

}  // namespace velmora
