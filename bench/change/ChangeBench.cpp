// How long it takes from a change on the screen to the frame that shows it:
//   change_bench ROUNDS
// on the display that the environment names. By turns the screen is captured as the host captures
// it, and by a sampler that takes and encodes a picture every 40 ms. A small area changes its
// colour at instants that nobody can know, 200 to 400 ms apart; the time counts from just before
// the X server is told to, to the moment at which the frame is with the accumulator, where a
// request finds it. Fails when the host's way is slower than it must be.

#include <algorithm>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "bench/Measuring.h"
#include "bench/capture/Comparison.h"
#include "bench/capture/Painter.h"
#include "bench/change/FrameArrivals.h"
#include "core/capture/linux/x11/ViewerX11Monitors.h"
#include "core/capture/linux/x11/ViewerX11Picture.h"
#include "core/capture/linux/x11/ViewerX11PixelForm.h"
#include "core/capture/linux/x11/ViewerX11Stream.h"
#include "core/protocol/ViewerHostProtocolV1.h"
#include "core/runtime/ViewerCheck.h"
#include "core/runtime/linux/ViewerBoottimeClock.h"

namespace velmora::bench {

namespace {

using Clock = FrameArrivals::Clock;

constexpr std::size_t changesARound = 40;
constexpr std::chrono::milliseconds samplingInterval{40};

/// What the host must reach, in milliseconds.
constexpr double mostMedian = 3;
constexpr double mostPercentile99 = 10;

std::shared_ptr<ViewerX11Connection> connect() {
    auto result = ViewerX11Connection::connect(ViewerX11Connection::displayNameFromEnvironment());
    viewerCheck(result != nullptr, "the environment names a display");
    return result;
}

/// Changes a small area of the screen at chance places and instants. One thread.
class Changes final {
  public:
    Changes() : connection_(connect()), context_(xcb_generate_id(connection_->xcb())) {
        xcb_create_gc(connection_->xcb(), context_, connection_->root(), 0, nullptr);
    }

    /// A while after which nobody knows when the next change comes.
    void wait() {
        std::this_thread::sleep_for(std::chrono::microseconds(between(200'000, 400'000)));
    }

    /// Makes a change and returns when.
    Clock::time_point make() {
        constexpr std::uint16_t side = 64;
        const xcb_screen_t& screen = connection_->screen();
        const xcb_rectangle_t area{
            static_cast<std::int16_t>(between(0, screen.width_in_pixels - side)),
            static_cast<std::int16_t>(between(0, screen.height_in_pixels - side)), side, side};
        const auto colour = static_cast<std::uint32_t>(between(0, 0xffffff));
        xcb_change_gc(connection_->xcb(), context_, XCB_GC_FOREGROUND, &colour);
        xcb_poly_fill_rectangle(connection_->xcb(), connection_->root(), context_, 1, &area);
        const Clock::time_point now = Clock::now();
        xcb_flush(connection_->xcb());
        return now;
    }

  private:
    int between(int least, int most) {
        return std::uniform_int_distribution<int>(least, most)(chance_);
    }

    const std::shared_ptr<ViewerX11Connection> connection_;
    const xcb_gcontext_t context_;
    std::mt19937 chance_{std::random_device{}()};
};

/// How long it took from each change of a round to its frame, in milliseconds; adds them to `all`.
void measure(Changes& changes, FrameArrivals& arrivals, std::vector<double>& all) {
    (void)arrivals.awaitMoreThan(0);  // the screen as it was
    for (std::size_t i = 0; i < changesARound; ++i) {
        changes.wait();
        // By now also what is left of a change that a picture had only a part of has come.
        const std::uint64_t before = arrivals.count();
        const Clock::time_point begin = changes.make();
        const std::chrono::duration<double, std::milli> time =
            arrivals.awaitMoreThan(before) - begin;
        all.push_back(time.count());
    }
}

/// The host's stream of the first monitor, from its making to its end.
class StreamOutput final : public ViewerStreamReceiver {
  public:
    void streamDidOutput(const ViewerStreamOutput& output) override {
        if (output.pixels != nullptr) {
            arrivals.take(*output.pixels);
        }
    }
    void streamDidStop() override {}

    FrameArrivals arrivals;
};

void measureHost(Changes& changes, std::vector<double>& all) {
    boost::asio::io_context loop;
    const auto work = boost::asio::make_work_guard(loop);
    std::thread thread([&loop] { loop.run(); });
    const auto connection = connect();
    const auto monitors = readMonitors(*connection);
    viewerCheck(monitors.has_value() && !monitors->empty(), "the screen has a monitor");
    ViewerNativeDisplay display;
    display.uuidText = monitors->front().uuidText;
    ViewerStreamSettings settings;
    settings.frameIntervalValue = 1;
    settings.frameIntervalTimescale = ViewerHostProtocolV1::captureFramesPerSecond;
    {
        const auto stream = std::make_shared<ViewerX11Stream>(
            loop.get_executor(), std::make_shared<ViewerBoottimeClock>(loop),
            std::make_shared<ViewerX11Connector>(ViewerX11Connection::displayNameFromEnvironment()),
            display, settings);
        const auto output = std::make_shared<StreamOutput>();
        viewerCheck(stream->addOutput(output, "capture"), "a new stream takes a receiver");
        stream->start([](bool) {});  // a first frame tells that it succeeded
        measure(changes, output->arrivals, all);
        std::promise<void> stopped;
        stream->stop([&stopped](bool) { stopped.set_value(); });
        stopped.get_future().wait();
    }
    loop.stop();
    thread.join();
}

void measureSampler(Changes& changes, std::vector<double>& all) {
    FrameArrivals arrivals;
    std::jthread thread([&arrivals](const std::stop_token& stop) {
        const auto connection = connect();
        const auto form = ViewerX11PixelForm::of(*connection);
        viewerCheck(form.has_value(), "the screen's pixels can be read");
        ViewerX11Picture picture(
            connection, *form,
            {0, 0, connection->screen().width_in_pixels, connection->screen().height_in_pixels});
        for (auto next = Clock::now(); !stop.stop_requested(); next += samplingInterval) {
            std::this_thread::sleep_until(next);
            viewerCheck(picture.renew({picture.whole()}), "the screen can be read");
            arrivals.take(picture.pixels());
        }
    });
    measure(changes, arrivals, all);
}

double percentile(std::vector<double> values, double share) {
    std::ranges::sort(values);
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

void print(const char* name, const std::vector<double>& all) {
    std::printf("%-16s p50 %6.2f ms   p99 %6.2f ms   longest %6.2f ms\n", name,
                percentile(all, 0.50), percentile(all, 0.99), percentile(all, 1));
}

/// True when the host is as fast as it must be.
bool compareAll(std::size_t rounds) {
    const Painter painter;  // shows a desktop
    Changes changes;
    std::vector<double> host;
    std::vector<double> sampler;
    printLoadAverage();
    alternate(
        rounds, [&] { measureHost(changes, host); }, [&] { measureSampler(changes, sampler); });
    std::printf("%lld x %lld, from a change to its frame, %zu changes each\n",
                static_cast<long long>(painter.screen().width),
                static_cast<long long>(painter.screen().height), host.size());
    print("host", host);
    print("25 Hz sampler", sampler);
    std::printf("must %.0f and %.0f ms\n", mostMedian, mostPercentile99);
    printLoadAverage();
    return percentile(host, 0.50) <= mostMedian && percentile(host, 0.99) <= mostPercentile99;
}

}  // namespace

}  // namespace velmora::bench

int main(int argumentCount, char** arguments) {
    const int rounds = argumentCount == 2 ? std::atoi(arguments[1]) : 0;
    if (rounds < 1) {
        (void)std::fputs("change_bench ROUNDS\n", stderr);
        return EXIT_FAILURE;
    }
    return velmora::bench::compareAll(static_cast<std::size_t>(rounds)) ? EXIT_SUCCESS
                                                                        : EXIT_FAILURE;
}
