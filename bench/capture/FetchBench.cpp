// What the whole screen costs to fetch, against what it costs to fetch and reduce and to encode,
// too: the processor time of this program and of the X server, in turns. Where everything moves, a
// capture cannot be cheaper than the fetch alone.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <vector>

#include "bench/Measuring.h"
#include "bench/capture/Painter.h"
#include "bench/capture/Usage.h"
#include "core/capture/ViewerJPEGEncoder.h"
#include "core/capture/linux/imaging/ViewerAreaBands.h"
#include "core/capture/linux/x11/ViewerX11Picture.h"
#include "core/capture/linux/x11/ViewerX11PixelForm.h"
#include "core/capture/linux/x11/ViewerX11RootReader.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora::bench {

namespace {

constexpr int framesPerRound = 50;

/// The processor time of one frame in each round.
struct Costs final {
    std::vector<double> client;
    std::vector<double> server;
    std::vector<double> both;
};

/// The screen of the display that the environment names, fetched in the bands of a capture.
class Fetching final {
  public:
    Fetching(std::shared_ptr<ViewerX11Connection> connection, const ViewerPixelForm& form,
             const ViewerRectangle& screen)
        : screen_(screen), reader_(std::move(connection), form) {}

    void fetch() {
        const std::int64_t rows =
            std::max<std::int64_t>(static_cast<std::int64_t>(ViewerX11RootReader::slotBytes /
                                                             ViewerX11RootReader::bytesPerPixel) /
                                       screen_.width,
                                   1);
        std::array<bool, ViewerX11RootReader::slotCount> isUnderWay{};
        std::int64_t y = 0;
        for (std::size_t slot = 0;; slot = (slot + 1) % isUnderWay.size()) {
            if (isUnderWay[slot]) {
                viewerCheck(reader_.wait(slot) != nullptr, "the screen can be read");
            }
            isUnderWay[slot] = y < screen_.height;
            if (isUnderWay[slot]) {
                reader_.request(slot, {0, y, screen_.width, std::min(rows, screen_.height - y)});
                y += rows;
            } else if (std::ranges::none_of(isUnderWay, std::identity())) {
                return;
            }
        }
    }

  private:
    const ViewerRectangle screen_;
    ViewerX11RootReader reader_;
};

void measure(pid_t server, Costs& costs, const std::function<void()>& frame) {
    const auto clientBegin = processorTime(::getpid());
    const auto serverBegin = processorTime(server);
    for (int index = 0; index < framesPerRound; ++index) {
        frame();
    }
    costs.client.push_back(milliseconds(processorTime(::getpid()) - clientBegin) / framesPerRound);
    costs.server.push_back(milliseconds(processorTime(server) - serverBegin) / framesPerRound);
    costs.both.push_back(costs.client.back() + costs.server.back());
}

void report(const char* what, const Costs& costs, const Costs& base) {
    std::printf("%-22s %.3f ms itself, %.3f ms in the X server: %.2f of the fetch\n", what,
                median(costs.client), median(costs.server), median(costs.both) / median(base.both));
}

void compare(pid_t server, int rounds) {
    const Painter painter;
    const ViewerRectangle screen = painter.screen();
    const auto connection =
        ViewerX11Connection::connect(ViewerX11Connection::displayNameFromEnvironment());
    viewerCheck(connection != nullptr, "there is an X server");
    const auto form = ViewerX11PixelForm::of(*connection);
    viewerCheck(form.has_value(), "its pixels can be read");
    Fetching fetching(connection, *form, screen);
    ViewerX11Picture picture(connection, *form, screen);
    const auto renew = [&picture] {
        viewerCheck(picture.renew({picture.whole()}), "the screen can be read");
    };
    std::array<Costs, 3> costs;
    for (int round = 0; round < rounds; ++round) {
        measure(server, costs[0], [&] { fetching.fetch(); });
        measure(server, costs[1], renew);
        measure(server, costs[2], [&] {
            renew();
            ViewerPixelBuffer pixels = picture.pixels();
            pixels.jpeg = nullptr;
            viewerCheck(
                ViewerJPEGEncoder::encode(pixels, ViewerJPEGEncoder::captureQuality).has_value(),
                "the encoder encodes");
        });
    }
    std::printf("%lld x %lld, medians of %d rounds\n", static_cast<long long>(screen.width),
                static_cast<long long>(screen.height), rounds);
    report("fetch", costs[0], costs[0]);
    report("fetch, reduce", costs[1], costs[0]);
    report("fetch, reduce, encode", costs[2], costs[0]);
    printLoadAverage();
}

}  // namespace

}  // namespace velmora::bench

int main(int argumentCount, char** arguments) {
    constexpr int expectedArguments = 3;
    const int rounds = argumentCount == expectedArguments ? std::atoi(arguments[2]) : 0;
    if (rounds < 1) {
        (void)std::fputs("fetch_bench X-SERVER-PID ROUNDS\n", stderr);
        return EXIT_FAILURE;
    }
    velmora::bench::compare(std::atoi(arguments[1]), rounds);
    return EXIT_SUCCESS;
}
