#include "bench/capture/MovingScreen.h"

#include <cstdint>
#include <cstdio>
#include <thread>
#include <vector>

#include "bench/Measuring.h"
#include "bench/capture/GStreamerCapture.h"
#include "bench/capture/HostCapture.h"
#include "bench/capture/Usage.h"

namespace velmora::bench {

namespace {

/// What each frame costs one program, in milliseconds.
struct FrameCosts final {
    std::vector<double> total;
    std::vector<double> client;
    std::vector<double> server;
    std::vector<double> framesASecond;

    /// `painting` is the part of the time that the X server spends on the painter alone.
    void add(const Usage& usage, std::uint64_t frames, double painting) {
        constexpr double millisecondsASecond = 1e3;
        const auto count = static_cast<double>(frames);
        const double wall = usage.wallMilliseconds();
        client.push_back(usage.clientMilliseconds() / count);
        server.push_back((usage.serverMilliseconds() - painting * wall) / count);
        total.push_back(client.back() + server.back());
        framesASecond.push_back(count / wall * millisecondsASecond);
    }
    void print(const char* name) const {
        std::printf("  %-20s %.3f ms itself, %.3f ms in the X server, %.1f frames/s\n", name,
                    median(client), median(server), median(framesASecond));
    }
};

class MovingScreen final {
  public:
    MovingScreen(const CaptureRun& run, Comparison& memory) : run_(run), memory_(memory) {}

    void measurePainter() {
        std::this_thread::sleep_for(CaptureRun::warmUp);
        const auto begin = std::chrono::steady_clock::now();
        const auto serverBegin = processorTime(run_.server);
        std::this_thread::sleep_for(CaptureRun::window);
        painting_ = milliseconds(processorTime(run_.server) - serverBegin) /
                    milliseconds(std::chrono::steady_clock::now() - begin);
    }

    void measureHost() {
        const HostCapture capture(run_.hostProgram);
        (void)capture.frames();  // begins to capture
        std::this_thread::sleep_for(CaptureRun::warmUp);
        const std::uint64_t before = capture.frames();
        const Usage usage(run_.server, capture.process());
        std::this_thread::sleep_for(CaptureRun::window);
        host_.add(usage, capture.frames() - before, painting_);
        memory_.host.push_back(capture.process().residentMegabytes());
    }

    void measureGStreamer() {
        GStreamerCapture capture;
        capture.awaitFrame();
        (void)capture.framesWithin(CaptureRun::warmUp);  // nothing is measured yet
        const Usage usage(run_.server, capture.process());
        const std::uint64_t frames = capture.framesWithin(CaptureRun::window);
        gstreamer_.add(usage, frames, painting_);
        memory_.anchor.push_back(capture.process().residentMegabytes());
    }

    bool report(const char* measure, double mostRatio) const {
        const bool isReached =
            Comparison{host_.total, gstreamer_.total}.report(measure, "ms", "GStreamer", mostRatio);
        host_.print("host");
        gstreamer_.print("GStreamer");
        return isReached;
    }

  private:
    const CaptureRun& run_;
    Comparison& memory_;
    double painting_ = 0;
    FrameCosts host_;
    FrameCosts gstreamer_;
};

}  // namespace

bool compareMovingScreen(CaptureRun& run, const char* measure, const ViewerRectangle& part,
                         double mostRatio, Comparison& memory) {
    MovingScreen screen(run, memory);
    run.painter.move(part);
    screen.measurePainter();
    alternate(
        run.rounds, [&] { screen.measureHost(); },
        [&] {
            screen.measurePainter();
            screen.measureGStreamer();
        });
    run.painter.rest();
    return screen.report(measure, mostRatio);
}

}  // namespace velmora::bench
