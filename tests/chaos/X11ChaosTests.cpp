#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/chaos/ChaosRun.h"
#include "tests/chaos/PaintedScreen.h"
#include "tests/support/host/HostTest.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

class ChaosOnX11 : public testing::Test {
  protected:
    void serve() {
        host_ = std::make_unique<HostProcess>(launchOn(screen_.server()));
        ASSERT_EQ(host_->readLine(), listeningLine);
        run_ = std::make_unique<ChaosRun>(*host_, rules_, tally_, form_.seed,
                                          [this] { return host_->threadsNamed("capture.") == 0; });
        ASSERT_TRUE(run_->awaitDisplays(screen_.huesByName().size()));
        ASSERT_TRUE(screen_.isShown(*run_, rules_));
        rules_.settle();
    }

    /// Everything has happened once, and nobody is left.
    void warmUp() {
        run_->begin(4, 4);
        screen_.paintFor(5s);
        run_->end();
        run_->rest();
    }

    bool freeze() { return screen_.freeze(*run_, rules_, run_->moment(isShort() ? 1s : 6s)); }
    bool kill() {
        return screen_.dieAndComeBack(*run_, rules_, run_->moment(isShort() ? 500ms : 4s));
    }
    bool changeSize() { return screen_.changeSize(*run_, rules_); }
    bool loseAMonitor() { return screen_.loseAMonitor(*run_, rules_, run_->moment(1s)); }
    bool paint() {
        screen_.paintFor(isShort() ? 2s : 10s);
        return screen_.isShown(*run_, rules_);
    }
    bool attackSlowly() {
        static constexpr std::array ways{"-H", "-B", "-R", "-X"};
        run_->attackSlowly(ways.at(attacks_++ % ways.size()), isShort() ? 3s : 10s);
        return screen_.isShown(*run_, rules_);
    }
    /// The host may open hardly a descriptor more for a while.
    bool takeDescriptors() {
        const rlimit before = run_->takeDescriptors();
        screen_.paintFor(run_->moment(2s));
        run_->giveDescriptors(before);
        return screen_.isShown(*run_, rules_);
    }

    /// Everything that may befall the host, in an order that the seed says.
    void sufferEverything() {
        using Misfortune = bool (ChaosOnX11::*)();
        std::vector<std::pair<std::string, Misfortune>> misfortunes{
            {"painted", &ChaosOnX11::paint},
            {"server frozen", &ChaosOnX11::freeze},
            {"server killed", &ChaosOnX11::kill},
            {"other size", &ChaosOnX11::changeSize},
            {"monitor lost", &ChaosOnX11::loseAMonitor},
            {"descriptors taken", &ChaosOnX11::takeDescriptors},
            {"slow requests", &ChaosOnX11::attackSlowly}};
        std::ranges::shuffle(misfortunes, run_->random());
        begin();
        for (const auto& [name, misfortune] : misfortunes) {
            ASSERT_TRUE((this->*misfortune)()) << name << ": a display is not shown as it is";
            ++tally_.misfortunes;
            if (!isShort()) {
                ASSERT_NO_FATAL_FAILURE(rest(name));
                begin();
            }
        }
        ASSERT_NO_FATAL_FAILURE(rest("all"));
    }
    void begin() { run_->begin(4, 1 + run_->below(6)); }
    void rest(const std::string& after) {
        run_->end();
        ASSERT_EQ(host_->awaitEnd(0ms), std::nullopt) << after << ": the host has ended";
        ASSERT_TRUE(run_->comesToRest()) << after;
    }
    bool isShort() const { return form_.duration == 0s; }
    bool isOver() const { return std::chrono::steady_clock::now() - tally_.begin > form_.duration; }

    const ChaosForm form_ = ChaosForm::fromEnvironment();
    ChaosTally tally_;
    PaintedScreen screen_;
    AnswerRules rules_{tally_, screen_.huesByName()};
    std::unique_ptr<HostProcess> host_;
    std::unique_ptr<ChaosRun> run_;
    std::size_t attacks_ = form_.seed;
};

TEST_F(ChaosOnX11, NoAnswerIsWrongAndNothingIsLeftBehind) {
    ASSERT_NO_FATAL_FAILURE(serve());
    warmUp();
    ASSERT_NO_FATAL_FAILURE(sufferEverything());
    if (!isShort()) {
        // An allocator keeps what the first of everything has taken.
        run_->rest();
        tally_.grownBytes = 0;
    }
    while (!isOver()) {
        ASSERT_NO_FATAL_FAILURE(sufferEverything());
    }
    rules_.expectEnd();
    host_->signal(SIGTERM);
    EXPECT_EQ(host_->awaitEnd(), endedInOrder);
    tally_.tell("x11", form_.seed);
    tally_.expectNothingAmiss();
}

}  // namespace

}  // namespace velmora
