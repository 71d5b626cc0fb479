// What it costs to have small JPEGs of a Wayland desktop, in the host, in the host on X11 and in
// GStreamer by turns:
//   wayland_bench HOST-PROGRAM ROUNDS sway|mutter
// Makes the desktop itself. Fails when the host does not reach what it must;
// bench/capture/run-wayland brings everything that it needs.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "bench/Measuring.h"
#include "bench/capture/CaptureRun.h"
#include "bench/capture/Comparison.h"
#include "bench/capture/Usage.h"
#include "bench/capture/wayland/PortalProgram.h"
#include "bench/capture/wayland/Surroundings.h"
#include "tests/support/desktop/MutterDesktop.h"
#include "tests/support/desktop/SwayDesktop.h"

namespace velmora::bench {

namespace {

/// What the host must reach: a frame's cost as a multiple of its own on X11, and of GStreamer's;
/// shares of a core in percent; the first frame as a multiple of the least that has a first buffer,
/// and milliseconds beside; memory of its own in megabytes, and the buffers that it asks for.
constexpr double mostOfX11 = 1.1;
constexpr double mostOfGStreamer = 0.35;
constexpr double mostStillPercent = 0.05;
constexpr double mostFirstFrameRatio = 1.2;
constexpr double firstFrameBeside = 5;
constexpr double mostMegabytes = 16;
constexpr int mostBuffers = 4;
/// Some pages of other memory that is shared, in megabytes.
constexpr double sharedBeside = 0.1;

struct Memory final {
    static Memory of(pid_t process);

    double own = 0;
    double shared = 0;
};

Memory Memory::of(pid_t process) {
    constexpr double kibibytesAMegabyte = 1e6 / 1024;
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    Memory memory;
    std::string line;
    while (std::getline(file, line)) {
        const double megabytes =
            line.starts_with("Rss")
                ? std::stod(line.substr(line.find(':') + 1)) / kibibytesAMegabyte
                : 0;
        (line.starts_with("RssShmem") ? memory.shared : memory.own) += megabytes;
    }
    return memory;
}

bool report(const Memory& memory, const DesktopOutput& screen) {
    constexpr double bytesAPixel = 4;
    const double buffers = mostBuffers * bytesAPixel * screen.width * screen.height / 1e6;
    std::printf(
        "memory at %d x %d: %.1f MB of its own, must %.0f; %.1f MB shared with PipeWire, must "
        "%.1f\n",
        screen.width, screen.height, memory.own, mostMegabytes, memory.shared, buffers);
    return memory.own <= mostMegabytes && memory.shared <= buffers + sharedBeside;
}

class WaylandBench final {
  public:
    WaylandBench(Surroundings& surroundings, std::size_t rounds)
        : surroundings_(surroundings), rounds_(rounds) {}

    /// Whether the host reaches what it must while a part of the screen moves. Only one of the two
    /// movements has a base on X11 that it can be held to.
    bool compareMoving(const char* measure, const ViewerRectangle& part, double mostRatioOfX11) {
        std::vector<double> onDesktop;
        std::vector<double> onXServer;
        std::vector<double> gstreamer;
        surroundings_.move(part);
        for (std::size_t i = 0; i < rounds_; ++i) {
            surroundings_.enterDesktop();
            Memory memory;
            onDesktop.push_back(hostsCost(memory));
            own_.push_back(memory.own);
            shared_.push_back(memory.shared);
            surroundings_.enterXServer();
            onXServer.push_back(hostsCost(memory));
            surroundings_.enterDesktop();
            gstreamer.push_back(gstreamersCost());
        }
        surroundings_.rest();
        const bool isNear =
            Comparison{onDesktop, onXServer}.report(measure, "ms", "on X11", mostRatioOfX11);
        return Comparison{onDesktop, gstreamer}.report(measure, "ms", "GStreamer",
                                                       mostOfGStreamer) &&
               isNear;
    }

    bool checkStill() {
        constexpr int windows = 5;
        std::vector<double> shares;
        std::uint64_t frames = 0;
        surroundings_.enterDesktop();
        for (std::size_t i = 0; i < rounds_; ++i) {
            const HostCapture host = surroundings_.startHost();
            host.begin();
            std::this_thread::sleep_for(CaptureRun::warmUp);
            const std::uint64_t before = host.frames();
            const auto begin = std::chrono::steady_clock::now();
            const auto spent = host.process().processorTime();
            for (int window = 0; window < windows; ++window) {
                std::this_thread::sleep_for(CaptureRun::window);
                frames += host.frames() - before;  // and lest the capture ends
            }
            shares.push_back(milliseconds(host.process().processorTime() - spent) /
                             milliseconds(std::chrono::steady_clock::now() - begin) * 100);
        }
        std::printf("nothing moves: %llu frames encoded, must 0; %.3f %% of a core, must %.2f %%\n",
                    static_cast<unsigned long long>(frames), median(shares), mostStillPercent);
        return frames == 0 && median(shares) <= mostStillPercent;
    }

    /// While `moving` moves: on sway nobody else has a first buffer of a still screen.
    bool compareFirstFrame(const ViewerRectangle& moving) {
        Comparison comparison;
        surroundings_.enterDesktop();
        surroundings_.move(moving);
        alternate(
            rounds_ * 3,
            [&] {
                const HostCapture host = surroundings_.startHost();
                const auto begin = std::chrono::steady_clock::now();
                (void)host.frames();  // begins to capture
                comparison.host.push_back(milliseconds(std::chrono::steady_clock::now() - begin));
            },
            [&] {
                comparison.anchor.push_back(
                    PortalProgram(PortalProgram::firstBuffer()).firstMilliseconds());
            });
        surroundings_.rest();
        (void)comparison.report("first frame", "ms", "first buffer", Comparison::nothingRequired);
        const double most = median(comparison.anchor) * mostFirstFrameRatio + firstFrameBeside;
        std::printf("  must %.1f ms\n", most);
        return median(comparison.host) <= most;
    }

    bool reportMemory(const DesktopOutput& screen) const {
        return report({median(own_), median(shared_)}, screen);
    }

  private:
    /// Milliseconds of its own that a frame costs the host where it is started, and what memory it
    /// has by then.
    double hostsCost(Memory& memory) {
        const HostCapture host = surroundings_.startHost();
        host.begin();
        std::this_thread::sleep_for(CaptureRun::warmUp);
        const std::uint64_t before = host.frames();
        const auto spent = host.process().processorTime();
        std::this_thread::sleep_for(CaptureRun::window);
        const auto frames = static_cast<double>(host.frames() - before);
        const double cost = milliseconds(host.process().processorTime() - spent) / frames;
        memory = Memory::of(host.process().id());
        return cost;
    }

    static double gstreamersCost() {
        PortalProgram gstreamer(PortalProgram::gstreamer());
        gstreamer.awaitFrame();
        (void)gstreamer.framesWithin(CaptureRun::warmUp);  // nothing is measured yet
        const auto spent = processorTime(gstreamer.id());
        const auto frames = static_cast<double>(gstreamer.framesWithin(CaptureRun::window));
        return milliseconds(processorTime(gstreamer.id()) - spent) / frames;
    }

    Surroundings& surroundings_;
    const std::size_t rounds_;
    std::vector<double> own_;
    std::vector<double> shared_;
};

DesktopOutput screen(int width, int height) {
    DesktopOutput output;
    output.width = width;
    output.height = height;
    return output;
}

/// True when the host reached everything that it must. Only sway tells what of a screen changed, so
/// only there a part that moves is compared with the same on X11.
bool compareAll(Surroundings surroundings, std::size_t rounds, bool isDamageTold) {
    constexpr ViewerRectangle whole{0, 0, Surroundings::width, Surroundings::height};
    constexpr ViewerRectangle ninth{0, 0, Surroundings::width / 3, Surroundings::height / 3};
    constexpr ViewerRectangle pixel{0, 0, 1, 1};
    WaylandBench bench(surroundings, rounds);
    bool isReached = bench.compareMoving("frame, a ninth moves", ninth,
                                         isDamageTold ? mostOfX11 : Comparison::nothingRequired);
    isReached = bench.compareMoving("frame, all moves", whole,
                                    isDamageTold ? Comparison::nothingRequired : mostOfX11) &&
                isReached;
    isReached = bench.checkStill() && isReached;
    isReached = bench.compareFirstFrame(isDamageTold ? ninth : pixel) && isReached;
    return bench.reportMemory(screen(Surroundings::width, Surroundings::height)) && isReached;
}

/// Whether the memory at this size, too, is what it must be.
bool checkMemoryAt(const DesktopOutput& size, const std::string& hostProgram) {
    constexpr ViewerRectangle part{0, 0, 640, 360};
    SwayDesktop sway({size});
    Surroundings surroundings(sway.session(), sway.painter(0), hostProgram);
    surroundings.enterDesktop();
    surroundings.move(part);
    const HostCapture host = surroundings.startHost();
    host.begin();
    std::this_thread::sleep_for(CaptureRun::warmUp);
    return report(Memory::of(host.process().id()), size);
}

}  // namespace

}  // namespace velmora::bench

int main(int count, char** arguments) {
    using namespace velmora;
    const std::string desktop = count == 4 ? arguments[3] : "";
    if (desktop != "sway" && desktop != "mutter") {
        std::cerr << "wayland_bench HOST-PROGRAM ROUNDS sway|mutter\n";
        return EXIT_FAILURE;
    }
    const std::size_t rounds = std::stoul(arguments[2]);
    std::cout << desktop << std::endl;
    bench::printLoadAverage();
    const auto screen = bench::screen(bench::Surroundings::width, bench::Surroundings::height);
    bool isReached = false;
    if (desktop == "sway") {
        {
            SwayDesktop sway({screen});
            isReached =
                bench::compareAll({sway.session(), sway.painter(0), arguments[1]}, rounds, true);
        }
        for (const auto& size : {bench::screen(1280, 720), bench::screen(3840, 2160)}) {
            isReached = bench::checkMemoryAt(size, arguments[1]) && isReached;
        }
    } else {
        MutterDesktop mutter({screen});
        isReached =
            bench::compareAll({mutter.session(), mutter.painter(0), arguments[1]}, rounds, false);
    }
    return isReached ? EXIT_SUCCESS : EXIT_FAILURE;
}
