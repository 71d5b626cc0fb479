#include <chrono>
#include <cstddef>

#include "tests/simulation/SimulationCourse.h"
#include "tests/simulation/rules/SimulationRules.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t mostServed = 16;
constexpr auto deadline = 5s;
/// A look at the displays that began before the deadline and a stream's start may take 4 seconds
/// each; nothing else is waited for behind it.
constexpr auto longestRouting = 8s;

class AtMostSixteen final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override { return "at most 16 connections are served"; }

    void connectionStarted(const ConnectionHistory&) override {
        // A handler that makes room for this one by ending may still be on the stack.
        expect(history().served.size() <= mostServed + 1, "there are more");
    }
    void rested() override { expect(history().served.size() <= mostServed, "there are more"); }
};

class FirstInFirstOut final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override {
        return "connections are served in the order of their arrival";
    }

    void connectionStarted(const ConnectionHistory& connection) override {
        expect(!last_ || *last_ < *connection.arrived, "one overtook another");
        last_ = connection.arrived;
    }

    OptionalMoment last_;
};

class NobodyWaitsForAFreePlace final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override {
        return "a connection waits only while 16 are served";
    }

    void rested() override {
        if (!history().quit && history().listenerReady) {
            expect(history().waiting == 0 || history().served.size() >= mostServed,
                   "one waits though there is a place");
        }
    }
};

class EveryPlaceIsGivenBack final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override {
        return "a connection is gone when it is answered, lost, or late";
    }

    void rested() override {
        for (const ConnectionHistory* const connection : history().served) {
            look(*connection);
        }
    }
    void look(const ConnectionHistory& connection) const {
        const auto age = now().time - connection.started->time;
        expect(age < deadline || connection.cancelled.has_value(), "it outlives the deadline");
        if (age >= deadline) {
            expect(connection.isRouted(), "it keeps its place behind the deadline");
            expect(age <= longestRouting + deadline, "a hanging request keeps its place");
        }
        expect(!connection.sent, "its answer has left, and it keeps its place");
        expect(!connection.endSeen || connection.complete, "its client has gone without asking");
        expect(!history().quit || now().time == history().quit->time || connection.cancelled,
               "the host has been told to end");
        expect(!connection.lost || connection.complete || !connection.becomesReady,
               "it was lost before it had asked");
    }
};

class NobodyIsCutOffEarly final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override {
        return "nobody is cut off before the deadline without a reason";
    }

    void connectionCancelled(const ConnectionHistory& connection) override {
        check(connection);
        if (connection.started && !connection.lost && !connection.answered && !history().quit) {
            course_.reach(connection.isRouted() ? SimulationState::cutOffWhileRouting
                                                : SimulationState::cutOffAtTheDeadline);
            if (!connection.becomesReady) {
                course_.reach(SimulationState::neverReady);
            }
        }
    }
    void connectionDropped(const ConnectionHistory& connection) override { check(connection); }
    void check(const ConnectionHistory& connection) const {
        const bool isLate = connection.started && now().time - connection.started->time >= deadline;
        expect(
            isLate || connection.lost || connection.endSeen || connection.sent || history().isToEnd,
            "it is");
    }
};

class AConnectionIsEndedBeforeItGoes final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override {
        return "a connection is ended before it is let go of";
    }

    void connectionDropped(const ConnectionHistory& connection) override {
        // Its client has ended it by itself.
        const bool hasLeft = connection.endSeen && !connection.complete;
        expect(connection.cancelled || hasLeft, "it is not");
    }
};

class NothingIsReadBehindTheRequest final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override {
        return "what follows the request is never received";
    }

    void connectionReceived(const ConnectionHistory& connection) override {
        expect(!connection.complete, "it is");
    }
};

}  // namespace

void addServingRules(SimulationRuleList& rules, SimulationCourse& course) {
    addRule<AtMostSixteen>(rules, course);
    addRule<FirstInFirstOut>(rules, course);
    addRule<NobodyWaitsForAFreePlace>(rules, course);
    addRule<EveryPlaceIsGivenBack>(rules, course);
    addRule<NobodyIsCutOffEarly>(rules, course);
    addRule<AConnectionIsEndedBeforeItGoes>(rules, course);
    addRule<NothingIsReadBehindTheRequest>(rules, course);
}

}  // namespace velmora
