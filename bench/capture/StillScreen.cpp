#include "bench/capture/StillScreen.h"

#include <cstdint>
#include <cstdio>
#include <thread>
#include <vector>

#include "bench/Measuring.h"
#include "bench/capture/Comparison.h"
#include "bench/capture/GStreamerCapture.h"
#include "bench/capture/HostCapture.h"
#include "bench/capture/Usage.h"
#include "bench/capture/VNCCapture.h"

namespace velmora::bench {

namespace {

/// In percent of a core.
struct Shares final {
    std::vector<double> client;
    std::vector<double> server;

    void add(const Usage& usage) {
        constexpr double percent = 100;
        client.push_back(usage.clientMilliseconds() / usage.wallMilliseconds() * percent);
        server.push_back(usage.serverMilliseconds() / usage.wallMilliseconds() * percent);
    }
    double total() const { return median(client) + median(server); }
    void print(const char* name) const {
        std::printf("  %-20s %.3f %% of a core itself, %.3f %% in the X server\n", name,
                    median(client), median(server));
    }
};

/// Returns how many frames it encoded meanwhile.
std::uint64_t measureHost(const CaptureRun& run, Shares& shares) {
    // Little happens, and some of it once a second only.
    constexpr int windows = 5;
    const HostCapture capture(run.hostProgram);
    (void)capture.frames();  // begins to capture
    std::this_thread::sleep_for(CaptureRun::warmUp);
    const std::uint64_t before = capture.frames();
    const Usage usage(run.server, capture.process());
    for (int i = 1; i < windows; ++i) {
        std::this_thread::sleep_for(CaptureRun::window);
        (void)capture.frames();  // lest the capture ends
    }
    std::this_thread::sleep_for(CaptureRun::window);
    shares.add(usage);
    return capture.frames() - before;
}

void measureVNC(const CaptureRun& run, Shares& shares) {
    const VNCCapture capture;
    const Usage usage(run.server, capture.process());
    std::this_thread::sleep_for(CaptureRun::window);
    shares.add(usage);
}

void measureGStreamer(const CaptureRun& run, Shares& shares) {
    GStreamerCapture capture;
    capture.awaitFrame();
    (void)capture.framesWithin(CaptureRun::warmUp);  // nothing is measured yet
    const Usage usage(run.server, capture.process());
    (void)capture.framesWithin(CaptureRun::window);  // only what it costs is of interest
    shares.add(usage);
}

}  // namespace

bool compareStillScreen(const CaptureRun& run, double mostPercent) {
    Shares host;
    Shares vnc;
    Shares gstreamer;
    std::uint64_t frames = 0;
    alternate(
        run.rounds, [&] { frames += measureHost(run, host); },
        [&] {
            measureVNC(run, vnc);
            measureGStreamer(run, gstreamer);
        });
    std::printf(
        "nothing moves: %llu frames encoded, must 0; %.3f %% of a core, must %.2f %%;\n"
        "  with the X server's part %.3f of x11vnc, %.4f of GStreamer\n",
        static_cast<unsigned long long>(frames), median(host.client), mostPercent,
        host.total() / vnc.total(), host.total() / gstreamer.total());
    host.print("host");
    vnc.print("x11vnc");
    gstreamer.print("GStreamer");
    return median(host.client) <= mostPercent && frames == 0;
}

bool checkUnused(const CaptureRun& run) {
    // The capture ends 5 seconds after its last request, whose own end is sure after 5 as well.
    constexpr std::chrono::seconds aftermath{12};
    constexpr std::chrono::seconds unused{60};
    const HostCapture host(run.hostProgram);
    (void)host.frames();  // begins to capture
    std::this_thread::sleep_for(aftermath);
    const std::int64_t before = host.process().waits();
    std::this_thread::sleep_for(unused);
    const std::int64_t wakeUps = host.process().waits() - before;
    std::printf("nobody asks: %lld wake-ups in 60 s, must 0\n", static_cast<long long>(wakeUps));
    return wakeUps == 0;
}

}  // namespace velmora::bench
