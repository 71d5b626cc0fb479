#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/capture/linux/wayland/GrantedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

/// Outputs that come, go, turn and change places, a desktop that interrupts, renews and stops, and
/// a PipeWire that answers late, never or breaks, all by chance; and what holds whatever happens.
class ChanceSession final {
  public:
    explicit ChanceSession(std::uint64_t seed) : session_(seed) {
        for (std::uint32_t global = 1; global <= outputCount; ++global) {
            plugged_.insert(global);
        }
        tellOutputs();
        session_.request();
        session_.screenCast->allow(streamsOf({1, 2}));
    }

    void run() {
        constexpr int steps = 120;
        for (int i = 0; i < steps && !testing::Test::HasFailure(); ++i) {
            step();
            check();
        }
        if (session_.screenCast->state() == ViewerScreenCast::State::interrupted) {
            session_.screenCast->renew(streamsOf({1, 2}));
            session_.world.settle();
        }
        session_.answerAll();
        session_.world.advance(1min);
        check();
        EXPECT_EQ(session_.answers.size(), 1U);
        EXPECT_EQ(session_.world.pendingTimers(), 0U);
    }

  private:
    using Action = void (ChanceSession::*)();
    static constexpr std::uint32_t outputCount = 4;

    bool chance(std::size_t oneIn) { return session_.world.choose(oneIn) == 0; }

    void step() {
        constexpr std::array<Action, 12> actions = {
            &ChanceSession::plug,         &ChanceSession::turn,     &ChanceSession::interrupt,
            &ChanceSession::renew,        &ChanceSession::lose,     &ChanceSession::openSome,
            &ChanceSession::describeSome, &ChanceSession::stream,   &ChanceSession::stream,
            &ChanceSession::pass,         &ChanceSession::openSome, &ChanceSession::describeSome};
        (this->*actions.at(session_.world.choose(actions.size())))();
        if (chance(200)) {
            session_.screenCast->stop();
        }
        if (chance(2)) {
            session_.world.settle();
        }
    }

    /// Streams with numbers that were never given before.
    std::vector<ViewerGrantedStream> streamsOf(const std::vector<std::uint32_t>& outputs) {
        std::vector<ViewerGrantedStream> streams;
        for (const std::uint32_t each : outputs) {
            streams.push_back(GrantedWorld::stream(++lastNode_, "DP-" + std::to_string(each)));
            outputOfNode_[lastNode_] = each;
        }
        return streams;
    }
    void tellOutputs() {
        std::vector<ViewerWaylandOutput> outputs;
        for (const std::uint32_t each : plugged_) {
            outputs.push_back(FakeOutputs::output(each, 0, 1920));
            outputs.back().transform = isTurned_ ? 1 : 0;
        }
        session_.outputs->tell(outputs);
    }

    void plug() {
        const auto global = static_cast<std::uint32_t>(1 + session_.world.choose(outputCount));
        if (plugged_.erase(global) == 0) {
            plugged_.insert(global);
        }
        if (chance(8)) {
            session_.outputs->leave();
        }
        tellOutputs();
    }
    void turn() {
        isTurned_ = !isTurned_;
        tellOutputs();
    }
    void interrupt() {
        if (session_.screenCast->state() == ViewerScreenCast::State::granted) {
            session_.screenCast->interrupt();
        }
    }
    void renew() {
        if (session_.screenCast->state() != ViewerScreenCast::State::interrupted) {
            return;
        }
        std::vector<std::uint32_t> outputs;
        // The first grant that can be used is the one that counts as the person's.
        const std::uint32_t last = session_.answers.empty() ? 2 : outputCount;
        for (std::uint32_t each = 1; each <= last; ++each) {
            if (!chance(3)) {
                outputs.push_back(each);
            }
        }
        session_.screenCast->renew(streamsOf(outputs));
    }
    void lose() {
        if (!session_.remotes.empty() && chance(3)) {
            session_.remotes.at(session_.world.choose(session_.remotes.size()))->lose();
        }
    }
    void openSome() {
        auto& openings = session_.screenCast->openings;
        if (!openings.empty()) {
            const auto answered = openings.front();
            openings.erase(openings.begin());
            answered(chance(5) ? -1 : ::open("/dev/null", O_RDONLY | O_CLOEXEC));
        }
    }
    void describeSome() {
        for (const auto& remote : session_.remotes) {
            if (!remote->descriptions.empty()) {
                const auto answered = remote->descriptions.front();
                remote->descriptions.erase(remote->descriptions.begin());
                answered(chance(5) ? std::nullopt : session_.nodes);
                return;
            }
        }
    }
    /// A display of now, or of any time before: a session keeps the one that it was made for.
    void stream() {
        const auto now = session_.listed();
        seen_.insert(seen_.end(), now->begin(), now->end());
        if (!seen_.empty()) {
            const auto& display = seen_.at(session_.world.choose(seen_.size()));
            lastAsked_ = display.uuidText;
            const auto made = session_.capture->makeStream(display, session_.settings);
            EXPECT_NE(made, nullptr);
            checkStream();
        }
    }
    void pass() { session_.world.advance(chance(3) ? 5s : 1s); }

    /// What streams was granted, is still granted, and is the output that the id stands for.
    void checkStream() {
        for (const auto& remote : session_.remotes) {
            if (remote->streams.empty()) {
                continue;
            }
            const ViewerGrantedStream granted = remote->streams.back().granted;
            remote->streams.clear();
            EXPECT_FALSE(remote->isDestroyed);
            ASSERT_EQ(session_.screenCast->state(), ViewerScreenCast::State::granted);
            EXPECT_NE(std::ranges::find(session_.screenCast->grant()->streams, granted),
                      session_.screenCast->grant()->streams.end());
            const std::uint32_t output = outputOfNode_.at(granted.node);
            EXPECT_EQ(outputOfID_.emplace(*lastAsked_, output).first->second, output);
            EXPECT_LE(output, 2U);
            EXPECT_TRUE(plugged_.contains(output));
        }
    }
    void check() {
        const bool isStopped = session_.screenCast->state() == ViewerScreenCast::State::stopped;
        const auto listed = session_.listed();
        EXPECT_LE(listed->size(), 2U);
        EXPECT_FALSE(isStopped && !listed->empty());
        EXPECT_FALSE(isStopped && session_.capture->preflightAccess());
        for (const ViewerNativeDisplay& each : *listed) {
            ids_.insert(*each.uuidText);
            EXPECT_EQ(each.width, isTurned_ ? 1080 : 1920);
        }
        EXPECT_LE(ids_.size(), 2U);
    }

    GrantedWorld session_;
    std::set<std::uint32_t> plugged_;
    bool isTurned_ = false;
    std::uint32_t lastNode_ = 40;
    std::map<std::uint32_t, std::uint32_t> outputOfNode_;
    std::map<std::string, std::uint32_t> outputOfID_;
    std::set<std::string> ids_;
    std::vector<ViewerNativeDisplay> seen_;
    std::optional<std::string> lastAsked_;
};

TEST(ViewerWaylandScreenCaptureSimulation, NoDisplayIsEverAnothersAndNothingIsLost) {
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto before = descriptors();
    constexpr std::uint64_t seeds = 500;
    for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        ChanceSession(seed).run();
        ASSERT_EQ(descriptors(), before);
        ASSERT_FALSE(HasFailure());
    }
}

}  // namespace
}  // namespace velmora
