#include <algorithm>
#include <chrono>
#include <cstddef>
#include <set>
#include <string>

#include "tests/simulation/SimulationCourse.h"
#include "tests/simulation/rules/ListingOutcomes.h"
#include "tests/simulation/rules/SimulationRules.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t mostCaptured = 4;
constexpr auto idleTime = 5s;
constexpr auto startLimit = 4s;
constexpr auto firstFrameLimit = 2s;

class OneAnswer final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override { return "a connection has one answer at most"; }

    void connectionAnswered(const ConnectionHistory& connection) override {
        expect(connection.messages == 1, "it has more");
        expect(connection.complete.has_value(), "it has one before it has asked");
        expect(!connection.cancelled, "it has one behind its end");
    }
};

class TheRightAnswer final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override {
        return "an answer is the right one, byte for byte";
    }

    void connectionAnswered(const ConnectionHistory& connection) override {
        switch (connection.exchange.answer) {
            case SimulatedAnswer::none:
                fail("no request was there");
                return;
            case SimulatedAnswer::listing:
                expect(ListingOutcomes(history(), connection).any([&](const auto& displays) {
                    return connection.message == listingText(displays);
                }),
                       "no listing of that time had these displays");
                return;
            case SimulatedAnswer::frame:
                checkFrame(connection);
                return;
            default:
                expect(connection.message == fixedResponse(connection.exchange.answer),
                       "it is another");
                statuses_.insert(connection.message.substr(9, 3));
                reachStatuses();
        }
    }

    void checkFrame(const ConnectionHistory& connection) {
        const ListingOutcomes outcomes(history(), connection);
        const auto has = [&](const auto& displays) {
            return std::ranges::find(displays, connection.exchange.displayID,
                                     &ViewerHostDisplay::id) != displays.end();
        };
        if (connection.message == fixedResponse(SimulatedAnswer::notFound)) {
            expect(outcomes.any([&](const auto& displays) { return !has(displays); }),
                   "404 for a display that was there");
            return;
        }
        expect(outcomes.any(has), "a frame of a display that was not there");
        if (connection.message.starts_with("HTTP/1.1 503 ")) {
            expect(connection.message == unavailableResponse(), "it is no 503 of ours");
            statuses_.insert("503");
            reachStatuses();
        } else {
            expect(connection.message.starts_with("HTTP/1.1 200 "), "it has another status");
        }
    }
    void reachStatuses() {
        if (statuses_.size() == 4) {
            course_.reach(SimulationState::everyErrorStatus);
        }
    }

    std::set<std::string> statuses_;
};

class AnswersComeAtOnce final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override {
        return "a request waits for nothing but the platform";
    }

    void rested() override {
        std::size_t waiting = 0;
        for (const ConnectionHistory* const connection : history().served) {
            const bool isOpen = connection->complete && !connection->answered;
            expect(!isOpen || connection->exchange.isLookedUp() || connection->cancelled,
                   "it needs no platform");
            waiting += isOpen && connection->exchange.answer == SimulatedAnswer::listing ? 1U : 0U;
        }
        expect(waiting <= pendingListings(history(), now().time), "the displays are known");
    }
};

class EveryRequestLooksOnce final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override { return "a request asks for the displays once"; }

    void listingAsked() override {
        const auto asking = std::ranges::count_if(history().connections, [](const auto& one) {
            return one.exchange.isLookedUp() && (one.complete || isDeciding(one));
        });
        expect(history().listings.size() <= static_cast<std::size_t>(asking),
               "there are more questions than requests");
    }
    static bool isDeciding(const ConnectionHistory& connection) {
        return connection.received >= connection.exchange.decidingBytes;
    }
};

class NoFrameHasAReason final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override { return "503 has a reason"; }

    void connectionAnswered(const ConnectionHistory& connection) override {
        if (connection.exchange.answer != SimulatedAnswer::frame ||
            connection.message != unavailableResponse()) {
            return;
        }
        if (hasFailed(connection)) {
            return;
        }
        if (connection.answered->time - connection.complete->time >= firstFrameLimit &&
            wasTried(connection)) {
            return;
        }
        const bool isRefused = othersCaptured(connection) >= mostCaptured;
        const bool isForgotten = wasForgotten(connection);
        if (isRefused && !isForgotten) {
            course_.reach(SimulationState::fifthDisplayRefused);
        }
        if (isForgotten && !isRefused) {
            course_.reach(SimulationState::listingFailedBeforeTheFrame);
        }
        expect(isRefused || isForgotten || history().isToEnd, "there is none");
    }

    /// A stream of the display failed while the request was open.
    bool hasFailed(const ConnectionHistory& connection) const {
        const auto begin = connection.complete->time;
        const auto isSince = [begin](const OptionalMoment& moment) {
            return moment && moment->time >= begin;
        };
        return std::ranges::any_of(history().streams, [&](const StreamHistory& stream) {
            const bool isOverdue =
                stream.startAsked && stream.startAsked->time + startLimit >= begin &&
                stream.startAsked->time + startLimit <= connection.answered->time;
            return stream.displayID == connection.exchange.displayID &&
                   (isSince(stream.refused) || isSince(stream.died) || isOverdue ||
                    (isSince(stream.startAnswered) && !stream.hasStarted));
        });
    }

    /// A stream of the display could have brought a frame while the request was open.
    bool wasTried(const ConnectionHistory& connection) const {
        return std::ranges::any_of(history().streams, [&](const StreamHistory& stream) {
            const auto isBefore = [&](const OptionalMoment& moment) {
                return moment && moment->time < connection.complete->time;
            };
            const bool hasFailed = !stream.hasStarted && isBefore(stream.startAnswered);
            return stream.displayID == connection.exchange.displayID && !stream.refused &&
                   !hasFailed && !isBefore(stream.died) && !isBefore(stream.stopAsked) &&
                   !isBefore(stream.destroyed);
        });
    }

    /// The other displays that may have been captured while the request was open.
    std::size_t othersCaptured(const ConnectionHistory& connection) const {
        std::set<std::string> others;
        for (const ConnectionHistory& other : history().connections) {
            const bool mayCapture = other.exchange.answer == SimulatedAnswer::frame &&
                                    other.complete &&
                                    other.exchange.displayID != connection.exchange.displayID &&
                                    other.message != fixedResponse(SimulatedAnswer::notFound);
            if (mayCapture &&
                (!other.closed() || other.closed()->time + idleTime >= connection.complete->time)) {
                others.insert(other.exchange.displayID);
            }
        }
        return others.size();
    }

    /// A listing of that time did not have the display.
    bool wasForgotten(const ConnectionHistory& connection) const {
        return std::ranges::any_of(history().listings, [&](const ListingHistory& listing) {
            const bool hasIt = std::ranges::find(listing.displays, connection.exchange.displayID,
                                                 &ViewerHostDisplay::id) != listing.displays.end();
            const auto end = endOf(listing);
            return !hasIt && end >= connection.complete->time && end <= connection.answered->time;
        });
    }
};

}  // namespace

void addAnswerRules(SimulationRuleList& rules, SimulationCourse& course) {
    addRule<OneAnswer>(rules, course);
    addRule<TheRightAnswer>(rules, course);
    addRule<AnswersComeAtOnce>(rules, course);
    addRule<EveryRequestLooksOnce>(rules, course);
    addRule<NoFrameHasAReason>(rules, course);
}

}  // namespace velmora
