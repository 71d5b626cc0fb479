// What it costs to have small JPEGs of a screen, in the host and in other programs by turns:
//   capture_bench HOST-PROGRAM X-SERVER-PID ROUNDS
// on the display that the environment names. Fails when the host does not reach what it must;
// bench/capture/run brings everything that it needs.

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "bench/Measuring.h"
#include "bench/capture/CaptureRun.h"
#include "bench/capture/Comparison.h"
#include "bench/capture/GStreamerCapture.h"
#include "bench/capture/HostCapture.h"
#include "bench/capture/MovingScreen.h"
#include "bench/capture/StillScreen.h"
#include "bench/capture/Usage.h"

namespace velmora::bench {

namespace {

/// What the host must reach: costs and the first frame as multiples of GStreamer's.
struct Required final {
    double ninthRatio;
    double firstFrameRatio;
};
constexpr Required ofSmallScreens{0.18, 0.15};
constexpr Required ofLargeScreens{0.12, 0.10};
constexpr std::int64_t leastLargeWidth = 3840;
constexpr double mostWholeRatio = 0.42;
constexpr double mostStillPercent = 0.10;
constexpr double mostMegabytes = 12;

/// From a request of a host that has captured nothing yet to the JPEG, and from the start of
/// GStreamer to its first JPEG.
bool compareFirstFrame(const CaptureRun& run, double mostRatio) {
    using Clock = std::chrono::steady_clock;
    // Each is soon there, but only its wall time counts, which varies more than the processor's.
    constexpr std::size_t framesARound = 3;
    Comparison comparison;
    alternate(
        run.rounds * framesARound,
        [&] {
            const HostCapture host(run.hostProgram);
            const Clock::time_point begin = Clock::now();
            (void)host.frames();  // begins to capture
            comparison.host.push_back(milliseconds(Clock::now() - begin));
        },
        [&] {
            const Clock::time_point begin = Clock::now();
            GStreamerCapture gstreamer;
            gstreamer.awaitFrame();
            comparison.anchor.push_back(milliseconds(Clock::now() - begin));
        });
    return comparison.report("first frame", "ms", "GStreamer", mostRatio);
}

bool reportMemory(const Comparison& memory) {
    (void)memory.report("memory", "MB", "GStreamer", Comparison::nothingRequired);
    std::printf("  must %.0f MB\n", mostMegabytes);
    return median(memory.host) <= mostMegabytes;
}

/// True when the host reached everything that it must.
bool compareAll(CaptureRun& run) {
    const ViewerRectangle& screen = run.painter.screen();
    constexpr std::int64_t third = 3;
    const ViewerRectangle ninth{screen.width / third, screen.height / third, screen.width / third,
                                screen.height / third};
    std::printf("%lld x %lld, medians of %zu rounds\n", static_cast<long long>(screen.width),
                static_cast<long long>(screen.height), run.rounds);
    printLoadAverage();
    Comparison memory;
    const Required& required = screen.width < leastLargeWidth ? ofSmallScreens : ofLargeScreens;
    bool isReached = compareFirstFrame(run, required.firstFrameRatio);
    isReached =
        compareMovingScreen(run, "a frame, a ninth moves", ninth, required.ninthRatio, memory) &&
        isReached;
    isReached =
        compareMovingScreen(run, "a frame, all moves", screen, mostWholeRatio, memory) && isReached;
    isReached = reportMemory(memory) && isReached;
    isReached = compareStillScreen(run, mostStillPercent) && isReached;
    isReached = checkUnused(run) && isReached;
    printLoadAverage();
    return isReached;
}

}  // namespace

}  // namespace velmora::bench

int main(int argumentCount, char** arguments) {
    constexpr int expectedArguments = 4;
    const int rounds = argumentCount == expectedArguments ? std::atoi(arguments[3]) : 0;
    if (rounds < 1) {
        std::cerr << "capture_bench HOST-PROGRAM X-SERVER-PID ROUNDS\n";
        return 2;
    }
    velmora::bench::CaptureRun run{
        arguments[1], std::atoi(arguments[2]), static_cast<std::size_t>(rounds), {}};
    return velmora::bench::compareAll(run) ? EXIT_SUCCESS : EXIT_FAILURE;
}
