#include <algorithm>
#include <chrono>
#include <set>
#include <string>

#include "tests/simulation/SimulationCourse.h"
#include "tests/simulation/rules/SimulationRules.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr auto grace = 3s;
constexpr auto stopLimit = 4s;

class NothingBeforeThePermission final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override {
        return "nothing is captured, listed or served without the permission";
    }

    void listenerMade() override { check(); }
    void listingAsked() override { check(); }
    void streamMade(const StreamHistory&) override { check(); }
    void systemAsked() override {
        expect(history().consentGiven.has_value(), "the system asks before the person agreed");
    }
    void check() const { expect(history().granted.has_value(), "it is"); }
};

class AHostThatMayServes final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override { return "with the permission the host listens"; }

    void listenerMade() override {
        expect(!hasListener_, "it makes two listeners");
        hasListener_ = true;
    }
    void rested() override {
        expect(!history().granted || hasListener_ || history().isToEnd, "it does not");
    }

    bool hasListener_ = false;
};

class NothingBeginsBehindTheEnd final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override {
        return "a host that is to end asks for nothing more, and nothing twice";
    }

    void alertShown(std::string_view title) override {
        expect(!history().quit, "an alert shows behind the end");
        expect(shown_.insert(std::string(title)).second, "an alert shows twice");
    }
    void systemAsked() override {
        expect(!history().quit, "the system asks behind the end");
        expect(!hasAsked_, "the system asks twice");
        hasAsked_ = true;
    }
    void listenerMade() override { expect(!history().quit, "it listens behind the end"); }
    void sessionWatched() override { expect(!history().quit, "it goes on behind the end"); }

    std::set<std::string> shown_;
    bool hasAsked_ = false;
};

class TheEndComesInTime final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override {
        return "a host ends when it is to, within the grace";
    }

    void rested() override {
        const OptionalMoment& begin = history().quit ? history().quit : history().mustEnd;
        if (history().hostEnded) {
            check(begin);
            return;
        }
        if (!begin || begin->time == now().time) {
            return;
        }
        expect(now().time <= begin->time + grace, "it takes longer");
        expect(!history().served.empty() || isStopping(), "it waits for nothing");
    }
    void check(const OptionalMoment& begin) {
        if (isChecked_) {
            return;
        }
        isChecked_ = true;
        expect(begin.has_value(), "nobody has told it to");
        if (begin && history().hostEnded->time == begin->time + grace) {
            course_.reach(SimulationState::endAfterTheGrace);
            return;
        }
        expect(history().served.empty(), "it leaves connections behind");
        expect(std::ranges::none_of(history().streams, &StreamHistory::isRecording),
               "it leaves captures behind");
    }
    bool isStopping() const {
        return std::ranges::any_of(history().streams, [this](const StreamHistory& stream) {
            return stream.stopAsked && !stream.stopAnswered &&
                   now().time < stream.stopAsked->time + stopLimit;
        });
    }

    bool isChecked_ = false;
};

class EverythingIsGone final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override { return "everything is gone at the end"; }

    void over() override {
        for (const ConnectionHistory& connection : history().connections) {
            expect(!connection.arrived || connection.dropped, "a connection is not");
        }
    }
};

}  // namespace

void addLifeRules(SimulationRuleList& rules, SimulationCourse& course) {
    addRule<NothingBeforeThePermission>(rules, course);
    addRule<AHostThatMayServes>(rules, course);
    addRule<NothingBeginsBehindTheEnd>(rules, course);
    addRule<TheEndComesInTime>(rules, course);
    addRule<EverythingIsGone>(rules, course);
}

}  // namespace velmora
