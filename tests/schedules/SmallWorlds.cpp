#include <utility>

#include "tests/schedules/CaptureWorld.h"
#include "tests/schedules/ServingWorld.h"
#include "tests/schedules/SmallWorld.h"

namespace velmora {

namespace {

using Moment = CaptureManners::Moment;
using Client = ServingPlan::Client;
using States = std::vector<std::string_view>;

enum class Size { tiny, brief, whole };

template <typename World, typename Plan>
SmallWorldKind kindOf(std::string_view name, std::string_view content, Size size, Plan plan,
                      States states) {
    return {name,
            content,
            size == Size::tiny,
            size != Size::whole,
            [plan = std::move(plan)](ScheduledWorld& world) {
                return std::unique_ptr<SmallWorld>(std::make_unique<World>(world, plan));
            },
            std::move(states)};
}

SmallWorldKind capture(std::string_view name, std::string_view content, Size size, CapturePlan plan,
                       States states) {
    return kindOf<CaptureWorld>(name, content, size, std::move(plan), std::move(states));
}

SmallWorldKind serving(std::string_view name, std::string_view content, Size size, ServingPlan plan,
                       States states) {
    return kindOf<ServingWorld>(name, content, size, std::move(plan), std::move(states));
}

std::vector<SmallWorldKind> captureWorlds() {
    const CaptureManners prompt{Moment::atOnce, Moment::atOnce, Moment::atOnce};
    const CaptureManners mortal{Moment::soon, Moment::soon, Moment::soon, true, true};
    const CaptureManners promptMortal{Moment::atOnce, Moment::atOnce, Moment::atOnce, true, true};
    const CaptureManners lateStart{Moment::late, Moment::soon, Moment::atOnce};
    return {
        capture("tiny-request", "one request", Size::tiny, {{{"one"}}, 2, prompt}, {}),
        capture("pair", "two requests for one display", Size::brief, {{{"one"}, {"one"}}}, {}),
        capture("displays", "two requests for two displays", Size::brief, {{{"one"}, {"two"}}}, {}),
        capture("limit", "two requests for two displays, of which one may be captured", Size::brief,
                {{{"one"}, {"two"}}, 1, prompt}, {"a display refused for the limit"}),
        capture("shutdown", "a request and a shutdown", Size::brief, {{{"one"}}, 2, {}, true},
                {"a stop during a start"}),
        capture("idle", "a request, and one for the same display when it likes", Size::brief,
                {{{"one"}, {"one", true}}}, {"a request at the instant of the idle stop"}),
        capture("death", "a request, one when it likes, and a stream that dies", Size::brief,
                {{{"one"}, {"one", true}}, 2, mortal}, {"a death between fetch and delivery"}),
        capture("late-start", "a request, a start that is answered when it likes, a shutdown",
                Size::brief, {{{"one"}}, 2, lateStart, true}, {"a stop during a start"}),
        capture("three", "three requests for two displays", Size::whole,
                {{{"one"}, {"one"}, {"two"}}, 2, prompt}, {}),
        capture("ends", "two requests for two displays, and a shutdown", Size::whole,
                {{{"one"}, {"two"}}, 2, prompt, true}, {}),
        capture("pair-end", "two requests for one display, a stream that dies, and a shutdown",
                Size::whole, {{{"one"}, {"one"}}, 2, promptMortal, true}, {}),
        capture("idle-end",
                "a request, one for the same display and a shutdown, each when it likes",
                Size::whole, {{{"one"}, {"one", true}}, 2, prompt, true},
                {"a request at the instant of the idle stop"}),
        capture("death-end", "a request, a stream that dies, and a shutdown", Size::brief,
                {{{"one"}}, 2, mortal, true}, {"a stop during a start"}),
        capture("no-start", "two requests for one display, whose start fails", Size::brief,
                {{{"one"}, {"one"}}, 2, {Moment::soon, Moment::soon, Moment::soon, false}}, {}),
    };
}

std::vector<SmallWorldKind> servingWorlds() {
    return {
        serving("tiny-client", "one client", Size::tiny, {{Client::asks}, 1}, {}),
        serving("tiny-silence", "a client that never asks, and one who waits", Size::tiny,
                {{Client::isSilent, Client::isSilent}, 1},
                {"a connection cut off at its deadline", "a connection that waited is served"}),
        serving("tiny-question", "a client that asks when it likes", Size::tiny,
                {{Client::asksLate}, 1}, {"a connection cut off at its deadline"}),
        serving("line", "three clients, two places", Size::brief,
                {{Client::asks, Client::asks, Client::asks}, 2},
                {"a connection that waited is served"}),
        serving("order", "three clients, one place", Size::brief,
                {{Client::asks, Client::asks, Client::asks}, 1},
                {"a connection that waited is served"}),
        serving("deadline", "an asker, a silent one and a late one; two places", Size::brief,
                {{Client::asks, Client::isSilent, Client::asksLate}, 2},
                {"a connection that waited is served", "a connection cut off at its deadline"}),
        serving("start", "a start, its listener, a client and a stop, each when it likes",
                Size::brief, {{Client::asks}, 2, true, false, true, false, true},
                {"a stop during the start"}),
        serving("question", "a client that asks when it likes, and a stop", Size::brief,
                {{Client::asksLate}, 1, false, false, false, false, true},
                {"a connection cut off at its deadline"}),
        serving("place", "two clients, one place, and a stop", Size::brief,
                {{Client::asks, Client::asks}, 1, false, false, false, false, true},
                {"a stop while somebody waits", "a connection that waited is served"}),
        serving("quit", "three clients, two places, and a stop", Size::brief,
                {{Client::asks, Client::asks, Client::asks}, 2, false, false, false, false, true},
                {"a stop while somebody waits", "a connection that waited is served"}),
        serving("leaving", "two clients, one place; the first leaves when it likes, and a stop",
                Size::brief, {{Client::leaves, Client::asks}, 1, false, false, false, false, true},
                {"a connection cut off at its deadline"}),
        serving("late-frame", "two clients, one place; frames come when they like, and a stop",
                Size::brief, {{Client::asks, Client::asks}, 1, false, false, false, true, true},
                {"a stop while somebody waits", "a connection cut off at its deadline"}),
        serving("failure",
                "a start whose listener is ready and fails, a client and a stop, when they like",
                Size::brief, {{Client::asks}, 1, true, true, true, false, true},
                {"a stop during the start"}),
        serving("losses", "two clients, one place; the first breaks off when it likes", Size::brief,
                {{Client::breaksOff, Client::asks}, 1, false, false, false, true},
                {"a connection that waited is served"}),
    };
}

}  // namespace

const std::vector<SmallWorldKind>& smallWorlds() {
    static const std::vector<SmallWorldKind> worlds = [] {
        std::vector<SmallWorldKind> all = captureWorlds();
        for (SmallWorldKind& kind : servingWorlds()) {
            all.push_back(std::move(kind));
        }
        return all;
    }();
    return worlds;
}

}  // namespace velmora
