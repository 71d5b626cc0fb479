// Whether a host on a Wayland desktop stays as it is while it is polled for long:
//   polling_bench sway|mutter MINUTES
// Makes a desktop of two monitors itself. Two displays are polled for a minute, then nobody asks
// for 10 seconds, so that the captures end; and so on. Fails when anything has grown;
// bench/polling/run brings everything that it needs.

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "bench/Measuring.h"
#include "bench/encoder/DesktopPicture.h"
#include "bench/polling/Pollers.h"
#include "bench/polling/ProcessState.h"
#include "core/runtime/ViewerCheck.h"
#include "tests/acceptance/wayland/CapturedNodes.h"
#include "tests/acceptance/wayland/WaylandHostTest.h"

namespace velmora::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds polled{60};
constexpr std::chrono::seconds idle{10};
/// Of the course, what comes before anything is compared: everything was there once by then.
constexpr std::size_t warmUpCycles = 3;
/// What memory may differ by and count as the same: pages come and go.
constexpr double kibibytesBeside = 256;
constexpr double shareBeside = 0.01;

/// One number, looked at again and again.
struct Course final {
    bool isMemory = false;
    std::vector<double> values;

    /// Prints a line; whether its median in the last third is no more than it ever was in the
    /// first: a compositor's memory goes up and down by whole pictures.
    bool report(const std::string& name) const {
        const std::size_t third = std::max<std::size_t>((values.size() - warmUpCycles) / 3, 1);
        const std::vector<double> first(
            values.begin() + warmUpCycles,
            values.begin() + warmUpCycles + static_cast<std::ptrdiff_t>(third));
        const std::vector<double> last(values.end() - static_cast<std::ptrdiff_t>(third),
                                       values.end());
        const double before = median(first);
        const double after = median(last);
        const double most = *std::ranges::max_element(first);
        const double beside = isMemory ? std::max(kibibytesBeside, shareBeside * most) : 0;
        const bool isFlat = after <= most + beside;
        std::printf("%-40s %9.0f %9.0f %9.0f %9.0f   %s\n", name.c_str(), before, after,
                    *std::ranges::min_element(values), *std::ranges::max_element(values),
                    isFlat ? "flat" : "GROWS");
        return isFlat;
    }
};

class PollingBench final {
  public:
    PollingBench(DesktopSession& session, std::string compositor)
        : session_(session), compositor_(std::move(compositor)), host_(session) {}

    /// Whether nothing has grown.
    bool run(std::chrono::minutes duration) {
        viewerCheck(host_.serve() == listeningLine, "the host serves");
        std::vector<std::string> ids;
        for (const ViewerHostDisplay& each :
             listDisplays().value_or(std::vector<ViewerHostDisplay>{})) {
            ids.push_back(each.id);
        }
        viewerCheck(ids.size() == equalMonitors().size(), "the host lists every display");
        Pollers pollers(ids);
        const Clock::time_point end = Clock::now() + duration;
        for (std::size_t cycle = 0; Clock::now() < end; ++cycle) {
            pollers.poll(polled);
            sample("polled");
            pollers.leave();
            std::this_thread::sleep_for(idle);
            sample("idle");
            print(cycle, pollers);
        }
        viewerCheck(host_.end(SIGTERM) == endedInOrder, "the host ends in order");
        return report();
    }

  private:
    void sample(const std::string& phase) {
        lookAt("host", host_.process().id(), phase);
        lookAt(compositor_, session_.processOf(compositor_), phase);
        for (const std::string member : {"pipewire", "wireplumber", "portal"}) {
            lookAt(member, session_.processOf(member), phase);
        }
        const CapturedNodes seen = CapturedNodes::of(session_);
        note("PipeWire nodes, " + phase, static_cast<double>(seen.nodes), false);
        note("PipeWire links, " + phase, static_cast<double>(seen.links), false);
    }

    void lookAt(const std::string& name, pid_t process, const std::string& phase) {
        const ProcessState state = ProcessState::of(process);
        note(name + " descriptors, " + phase, static_cast<double>(state.descriptors), false);
        note(name + " threads, " + phase, static_cast<double>(state.threads), false);
        note(name + " RssAnon, " + phase, state.anonymous, true);
        note(name + " RssFile, " + phase, state.ofFiles, true);
        note(name + " RssShmem, " + phase, state.shared, true);
    }

    void note(const std::string& name, double value, bool isMemory) {
        Course& course = courses_[name];
        course.isMemory = isMemory;
        course.values.push_back(value);
    }

    void print(std::size_t cycle, const Pollers& pollers) {
        std::printf("%zu: %zu frames, %zu of them new, %zu refusals;", cycle, pollers.frames(),
                    pollers.newFrames(), pollers.refusals());
        for (const auto& [name, course] : courses_) {
            std::printf(" %s %.0f;", name.c_str(), course.values.back());
        }
        std::printf("\n");
        std::fflush(stdout);
    }

    bool report() const {
        bool isFlat = true;
        std::printf("%-40s %9s %9s %9s %9s\n", "medians; memory in KiB", "at first", "at last",
                    "least", "most");
        for (const auto& [name, course] : courses_) {
            isFlat = course.report(name) && isFlat;
        }
        return isFlat;
    }

    DesktopSession& session_;
    const std::string compositor_;
    WaylandHost host_;
    std::map<std::string, Course> courses_;
};

/// Shows a picture like a desktop on both monitors, of which a part scrolls, and polls a host.
template <typename Desktop>
bool poll(Desktop& desktop, const std::string& compositor, std::chrono::minutes duration) {
    const std::vector<DesktopOutput> monitors = equalMonitors();
    const auto file = desktop.session().runtimeFolder() / "picture";
    const std::vector<std::uint8_t> picture =
        desktopPicture(monitors.front().width, monitors.front().height);
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(picture.data()),
               static_cast<std::streamsize>(picture.size()));
    for (std::size_t i = 0; i < monitors.size(); ++i) {
        desktop.painter(i).show(file);
        desktop.painter(i).move({0, 0, 400, 240});
    }
    return PollingBench(desktop.session(), compositor).run(duration);
}

}  // namespace

}  // namespace velmora::bench

int main(int count, char** arguments) {
    using namespace velmora;
    /// Enough for a beginning and an end that can be compared.
    constexpr std::chrono::minutes least{10};
    const std::string compositor = count == 3 ? arguments[1] : "";
    const std::chrono::minutes duration(count == 3 ? std::stol(arguments[2]) : 0);
    if ((compositor != "sway" && compositor != "mutter") || duration < least) {
        std::cerr << "polling_bench sway|mutter MINUTES, at least 10\n";
        return EXIT_FAILURE;
    }
    std::cout << compositor << '\n';
    bool isFlat = false;
    if (compositor == "sway") {
        SwayDesktop desktop(equalMonitors(), SwayDesktop::Answers::scripted);
        isFlat = bench::poll(desktop, compositor, duration);
    } else {
        MutterDesktop desktop(equalMonitors());
        isFlat = bench::poll(desktop, compositor, duration);
    }
    return isFlat ? EXIT_SUCCESS : EXIT_FAILURE;
}
