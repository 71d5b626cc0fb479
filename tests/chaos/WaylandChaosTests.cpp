#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/acceptance/wayland/CapturedNodes.h"
#include "tests/acceptance/wayland/WaylandHost.h"
#include "tests/chaos/ChaosRun.h"
#include "tests/support/capture/EDIDBlock.h"
#include "tests/support/desktop/MonitorDescriptions.h"
#include "tests/support/desktop/SwayDesktop.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr int width = 800;
constexpr int height = 600;

const std::array<std::pair<std::string, Hue>, 4> monitors{
    {{"Red", Hue::red}, {"Green", Hue::green}, {"Blue", Hue::blue}, {"Yellow", Hue::yellow}}};

std::vector<DesktopOutput> outputs() {
    std::vector<DesktopOutput> outputs;
    for (const auto& [name, hue] : monitors) {
        DesktopOutput output;
        output.width = width;
        output.height = height;
        output.x = static_cast<int>(outputs.size()) * width;
        output.colour = colourOf(hue, 0);
        outputs.push_back(output);
    }
    return outputs;
}

constexpr auto untilPaintedAnew = 3s;

/// A desktop with four monitors, and the host on it, from its start to an end of either.
class DesktopLife final {
  public:
    DesktopLife(ChaosTally& tally, bool isShort, std::uint32_t seed)
        : tally_(tally),
          isShort_(isShort),
          rules_(tally, {monitors.begin(), monitors.end()}),
          desktop_(outputs(), SwayDesktop::Answers::scripted),
          seed_(seed) {}

    void pass() {
        ASSERT_EQ(host_.serve(), listeningLine);
        run_ = std::make_unique<ChaosRun>(host_.process(), rules_, tally_, seed_, [this] {
            return CapturedNodes::of(desktop_.session()).links == 0;
        });
        ASSERT_TRUE(run_->awaitDisplays(monitors.size()));
        ASSERT_TRUE(isShown());
        rules_.settle();
        warmUp();
        ASSERT_NO_FATAL_FAILURE(sufferEverything());
        ASSERT_TRUE(run_->comesToRest());
        run_->begin(4, 2);
        loseTheDesktop();
        const bool isAnswered = displaysIn(rules_.ask({})).has_value();
        run_->end();
        EXPECT_TRUE(isAnswered);
        rules_.expectEnd();
        EXPECT_EQ(host_.end(SIGTERM), endedInOrder);
        ++tally_.restarts;
    }

  private:
    void warmUp() {
        run_->begin(4, 4);
        paintFor(3s);
        run_->end();
        run_->rest();
    }

    void paint(std::size_t monitor) {
        shades_.at(monitor) = (shades_.at(monitor) + 1) % shades;
        desktop_.painter(monitor).fill(colourOf(monitors.at(monitor).second, shades_.at(monitor)));
    }
    void paintFor(std::chrono::milliseconds duration) {
        const auto end = std::chrono::steady_clock::now() + duration;
        while (std::chrono::steady_clock::now() < end) {
            paint(next_++ % monitors.size());
            EXPECT_EQ(host_.process().awaitEnd(30ms), std::nullopt);
        }
    }
    /// Whether the host shows every monitor as it is painted from now on. More than once: the
    /// host's threads are not real-time, and PipeWire's, kept from a processor, may lose a picture
    /// without a word.
    bool isShown() {
        for (std::size_t i = 0; i < monitors.size(); ++i) {
            const auto& [name, hue] = monitors.at(i);
            const bool isRight = eventually([&] {
                paint(i);
                const std::uint32_t colour = colourOf(hue, shades_.at(i));
                return eventually(
                    [&] {
                        const auto picture = rules_.frame(run_->idOf(name));
                        return picture && picture->isAll(colour, jpegTolerance);
                    },
                    untilPaintedAnew);
            });
            if (!isRight) {
                return false;
            }
        }
        return true;
    }

    void freeze() {
        static constexpr std::array members{"sway", "pipewire", "portal", "backend"};
        const std::string member = members.at(run_->below(members.size()));
        desktop_.session().freeze(member);
        EXPECT_EQ(host_.process().awaitEnd(run_->moment(isShort_ ? 1s : 3500ms)), std::nullopt);
        desktop_.session().thaw(member);
    }
    void changeSize() {
        const std::string output = "output " + SwayDesktop::connector(0) + " mode --custom ";
        rules_.unsettle();
        EXPECT_TRUE(desktop_.command(output + "640x480"));
        paintFor(500ms);
        EXPECT_TRUE(
            desktop_.command(output + std::to_string(width) + "x" + std::to_string(height)));
        EXPECT_TRUE(isShown());
        rules_.settle();
    }
    void attackSlowly() {
        static constexpr std::array ways{"-H", "-B", "-R", "-X"};
        run_->attackSlowly(ways.at(run_->below(ways.size())), isShort_ ? 2s : 6s);
    }
    void takeDescriptors() {
        const rlimit before = run_->takeDescriptors();
        paintFor(run_->moment(1500ms));
        run_->giveDescriptors(before);
    }
    void sufferEverything() {
        using Misfortune = void (DesktopLife::*)();
        std::vector<std::pair<std::string, Misfortune>> misfortunes{
            {"frozen", &DesktopLife::freeze},
            {"other size", &DesktopLife::changeSize},
            {"slow requests", &DesktopLife::attackSlowly},
            {"descriptors taken", &DesktopLife::takeDescriptors}};
        std::ranges::shuffle(misfortunes, run_->random());
        run_->begin(4, 1 + run_->below(4));
        for (const auto& [name, misfortune] : misfortunes) {
            (this->*misfortune)();
            paintFor(isShort_ ? 200ms : 2s);
            EXPECT_TRUE(isShown()) << name << ": a display is not shown as it is";
            ++tally_.misfortunes;
        }
        run_->end();
    }

    /// Something that the desktop stands on dies, or nothing.
    void loseTheDesktop() {
        static constexpr std::array members{"sway", "pipewire", "wireplumber", "portal", "backend"};
        const auto which = run_->below(members.size() + 1);
        rules_.unsettle();
        if (which < members.size()) {
            desktop_.session().kill(members.at(which));
        }
        EXPECT_EQ(host_.process().awaitEnd(run_->moment(isShort_ ? 500ms : 2s)), std::nullopt);
        ++tally_.misfortunes;
    }

    ChaosTally& tally_;
    const bool isShort_;
    AnswerRules rules_;
    SwayDesktop desktop_;
    WaylandHost host_{desktop_.session()};
    const std::uint32_t seed_;
    std::unique_ptr<ChaosRun> run_;
    std::array<int, 4> shades_{};
    std::size_t next_ = 0;
};

TEST(ChaosOnWayland, NoAnswerIsWrongAndNothingIsLeftBehind) {
    const ChaosForm form = ChaosForm::fromEnvironment();
    const MonitorDescriptions descriptions;
    for (std::size_t i = 0; i < monitors.size(); ++i) {
        MonitorDescriptions::plugIn(SwayDesktop::connector(i),
                                    EDIDBlock()
                                        .monitorName(monitors.at(i).first)
                                        .serialNumber(static_cast<std::uint32_t>(i) + 1)
                                        .bytes());
    }
    ChaosTally tally;
    std::mt19937 random(form.seed);
    do {
        DesktopLife life(tally, form.duration == 0s, static_cast<std::uint32_t>(random()));
        ASSERT_NO_FATAL_FAILURE(life.pass());
    } while (std::chrono::steady_clock::now() - tally.begin < form.duration);
    tally.tell("wayland", form.seed);
    tally.expectNothingAmiss();
}

}  // namespace

}  // namespace velmora
