#include <algorithm>
#include <chrono>
#include <cstddef>
#include <map>
#include <set>
#include <string>

#include "tests/simulation/SimulationCourse.h"
#include "tests/simulation/rules/ListingOutcomes.h"
#include "tests/simulation/rules/SimulationRules.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;
using Instant = ViewerContinuousClock::Instant;

constexpr std::size_t mostCaptured = 4;
constexpr auto idleTime = 5s;
constexpr auto answerLimit = 4s;
/// Time may go on by so much while a request is on its way from hand to hand.
constexpr auto instant = 10us;

/// A rule that knows when each display was last used.
class UseRule : public SimulationRule {
  public:
    using SimulationRule::SimulationRule;

  protected:
    /// By display id.
    using Uses = std::map<std::string, Instant>;

    /// When the last request for a frame of the display ended that may have used its capture.
    Instant lastUse(const std::string& displayID) const {
        const auto found = uses_.find(displayID);
        return found == uses_.end() ? Instant() : found->second;
    }
    bool hasOpenRequest(const std::string& displayID) const {
        return std::ranges::any_of(history().served, [&](const ConnectionHistory* connection) {
            return connection->isRouted() && connection->exchange.displayID == displayID;
        });
    }
    /// The last frame that came of the stream's session: at the instant of an idle stop, the next
    /// session may have the first word.
    Instant lastFrameOf(const StreamHistory& stream) const {
        const auto found = framesOfSessions_.find(stream.session);
        return found == framesOfSessions_.end() ? Instant() : found->second;
    }
    /// The last frame of each display.
    const Uses& frames() const { return frames_; }

  private:
    void connectionAnswered(const ConnectionHistory& connection) final {
        if (connection.exchange.answer != SimulatedAnswer::frame ||
            connection.message == fixedResponse(SimulatedAnswer::notFound)) {
            return;
        }
        uses_[connection.exchange.displayID] = now().time;
        if (connection.message.starts_with("HTTP/1.1 200 ")) {
            frames_[connection.exchange.displayID] = now().time;
            for (const StreamHistory& stream : history().streams) {
                if (std::ranges::any_of(stream.pictures, [&](const PictureHistory& picture) {
                        return connection.message.ends_with(picture.bytes);
                    })) {
                    framesOfSessions_[stream.session] = now().time;
                }
            }
        }
    }
    void connectionDropped(const ConnectionHistory& connection) final {
        if (connection.exchange.answer == SimulatedAnswer::frame && connection.complete &&
            !connection.answered) {
            uses_[connection.exchange.displayID] = now().time;
        }
    }
    Uses uses_;
    Uses frames_;
    std::map<std::size_t, Instant> framesOfSessions_;
};

class NothingIsCapturedUnasked final : public UseRule {
    using UseRule::UseRule;
    std::string_view sentence() const override {
        return "a display is captured only once a frame of it was asked for";
    }

    void streamMade(const StreamHistory& stream) override {
        expect(hasOpenRequest(stream.displayID), "nobody has asked");
        expect(std::ranges::any_of(history().served,
                                   [&](const ConnectionHistory* connection) {
                                       return connection->isRouted() &&
                                              isLookedUp(*connection, stream.displayID);
                                   }),
               "nobody who asked has found it listed");
    }
    bool isLookedUp(const ConnectionHistory& connection, const std::string& displayID) const {
        return std::ranges::any_of(history().listings, [&](const ListingHistory& listing) {
            return connection.exchange.displayID == displayID && listing.answered &&
                   !(listing.asked < *connection.complete) &&
                   std::ranges::find(listing.displays, displayID, &ViewerHostDisplay::id) !=
                       listing.displays.end();
        });
    }
};

class AtMostFourCaptures final : public UseRule {
    using UseRule::UseRule;
    std::string_view sentence() const override { return "at most 4 displays are captured"; }

    void streamMade(const StreamHistory& stream) override {
        const auto others = std::ranges::count_if(frames(), [&](const auto& use) {
            return use.first != stream.displayID && use.second + idleTime - instant > now().time;
        });
        expect(static_cast<std::size_t>(others) < mostCaptured, "there are more");
        ids_.insert(stream.displayID);
        if (ids_.size() > mostCaptured) {
            course_.reach(SimulationState::fifthDisplayAfterAnIdleStop);
        }
    }

    std::set<std::string> ids_;
};

class OneCaptureADisplay final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override { return "a display is captured once at a time"; }

    void streamMade(const StreamHistory& stream) override {
        for (const StreamHistory& other : history().streams) {
            expect(other.number == stream.number || other.session != stream.session ||
                       !other.isRecording(),
                   "a session makes a second stream beside a living one");
        }
    }
    /// At the instant of an idle stop the next capture may be the faster one.
    void rested() override {
        std::set<std::string> recorded;
        for (const StreamHistory& stream : history().streams) {
            expect(!stream.isRecording() || recorded.insert(stream.displayID).second,
                   "two captures go on");
        }
    }
};

class AnIdleCaptureEnds final : public UseRule {
    using UseRule::UseRule;
    std::string_view sentence() const override {
        return "a capture ends 5 seconds after its last request";
    }

    void rested() override {
        for (const StreamHistory& stream : history().streams) {
            if (stream.isRecording() && !history().quit && !hasOpenRequest(stream.displayID)) {
                expect(now().time < lastUse(stream.displayID) + idleTime, "it goes on");
            }
        }
    }
    void streamStopped(const StreamHistory& stream) override {
        if (!stream.hasStarted || history().isToEnd) {
            return;
        }
        expect(now().time >= lastFrameOf(stream) + idleTime - instant, "it ended before");
        expect(!isWaitedFor(stream), "somebody waits for it");
        course_.reach(SimulationState::idleStop);
    }
    /// A request that was routed before this instant, and whose listing is over, has begun its use.
    bool isWaitedFor(const StreamHistory& stream) const {
        return pendingListings(history(), now().time) == 0 &&
               std::ranges::any_of(history().served, [&](const ConnectionHistory* connection) {
                   return connection->isRouted() &&
                          connection->complete->time < now().time - instant && !hadListingNow() &&
                          connection->exchange.displayID == stream.displayID;
               });
    }
    bool hadListingNow() const {
        return std::ranges::any_of(history().listings, [this](const ListingHistory& listing) {
            return endOf(listing) >= now().time - instant;
        });
    }
};

class IdleTimersKnowTheirUse final : public UseRule {
    using UseRule::UseRule;
    std::string_view sentence() const override {
        return "an idle timer that a request has overtaken does nothing";
    }

    void connectionReceived(const ConnectionHistory& connection) override {
        const std::string& displayID = connection.exchange.displayID;
        const Instant end = lastUse(displayID) + idleTime;
        if (connection.exchange.answer == SimulatedAnswer::frame && isRecording(displayID) &&
            now().time >= end - 1ns && now().time <= end && !hasOpenRequest(displayID)) {
            ends_[displayID] = end;
        }
    }
    void rested() override {
        for (const auto& [displayID, end] : ends_) {
            if (end == now().time && isRecording(displayID)) {
                course_.reach(SimulationState::staleIdleTimer);
            }
        }
    }
    bool isRecording(const std::string& displayID) const {
        return std::ranges::any_of(history().streams, [&](const StreamHistory& stream) {
            return stream.displayID == displayID && stream.isRecording();
        });
    }

    /// When the display's capture would have ended without the request.
    std::map<std::string, Instant> ends_;
};

class EveryStreamIsStoppedOnce final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override {
        return "a stream that started dies or is stopped, once";
    }

    void over() override {
        for (const StreamHistory& stream : history().streams) {
            expect(stream.destroyed.has_value(), "one is left at the end");
            check(stream);
        }
    }
    void check(const StreamHistory& stream) const {
        if (stream.hasStarted) {
            expect(stream.died || stream.stops == 1, "it is stopped never, or twice");
            expect(stream.stops <= 1, "it is stopped twice");
        } else if (stream.startAnswered &&
                   stream.startAnswered->time < stream.startAsked->time + answerLimit) {
            expect(stream.stops == 0, "it failed to start, and is stopped");
        } else if (stream.startAsked) {
            expect(stream.stops > 0, "it may record, and is not stopped");
            expect(!stream.startAnswered || !stream.startSucceeded ||
                       *stream.startAnswered < *stream.lastStopAsked,
                   "it started late, and is not stopped");
        }
        expect(!stream.refused || !stream.startAsked, "it took no receiver, and is started");
    }
};

class TheEndStopsCapturesLast final : public UseRule {
    using UseRule::UseRule;
    std::string_view sentence() const override {
        return "captures are stopped behind the last connection, one after another";
    }

    void streamStopped(const StreamHistory& stream) override {
        const bool isIdle = now().time >= lastFrameOf(stream) + idleTime - instant;
        const bool isOverdue = !stream.hasStarted;
        if (!history().isToEnd || isIdle || isOverdue) {
            return;
        }
        expect(history().served.empty(), "a connection is still served");
        for (const StreamHistory& other : history().streams) {
            const bool isStopping = other.number != stream.number && other.stopAsked &&
                                    !other.stopAnswered && ending_.contains(other.number) &&
                                    now().time < other.stopAsked->time + answerLimit;
            expect(!isStopping, "one is stopped while another still stops");
        }
        ending_.insert(stream.number);
    }
    void streamMade(const StreamHistory&) override {
        expect(ending_.empty(), "a capture begins behind the end");
    }

    std::set<std::size_t> ending_;
};

}  // namespace

void addCaptureRules(SimulationRuleList& rules, SimulationCourse& course) {
    addRule<NothingIsCapturedUnasked>(rules, course);
    addRule<AtMostFourCaptures>(rules, course);
    addRule<OneCaptureADisplay>(rules, course);
    addRule<AnIdleCaptureEnds>(rules, course);
    addRule<IdleTimersKnowTheirUse>(rules, course);
    addRule<EveryStreamIsStoppedOnce>(rules, course);
    addRule<TheEndStopsCapturesLast>(rules, course);
}

}  // namespace velmora
