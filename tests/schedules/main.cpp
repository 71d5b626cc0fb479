#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

#include "tests/schedules/ScheduleExplorer.h"
#include "tests/schedules/SmallWorld.h"
#include "tests/schedules/WatchedMemory.h"

// Tries every schedule of small worlds:
//   viewer_schedules [--short] [--world NAME]      those that differ in more than independent steps
//   viewer_schedules --every                       of tiny worlds, with none left out
//   viewer_schedules --compare COUNT               both, of tiny worlds and of COUNT random ones
//   viewer_schedules --world NAME --schedule 0.2.1 one of them again, told step by step

namespace {

using velmora::ScheduleExplorer;
using velmora::SmallWorldKind;

constexpr int usage = 2;

const ScheduleExplorer* exploring = nullptr;  // NOLINT: for the signal handler
const SmallWorldKind* playing = nullptr;      // NOLINT: the same

std::string textOf(const ScheduleExplorer::Schedule& schedule) {
    std::string text;
    for (const std::size_t place : schedule) {
        text += (text.empty() ? "" : ".") + std::to_string(place);
    }
    return text.empty() ? "0" : text;
}

void tellBroken(const SmallWorldKind& kind, const ScheduleExplorer::Schedule& schedule,
                const char* what) {
    std::printf("%s: %s\n    scripts/schedules --world %s --schedule %s\n",
                std::string(kind.name).c_str(), what, std::string(kind.name).c_str(),
                textOf(schedule).c_str());
    (void)std::fflush(stdout);
}

/// A host that stops its process is told with its schedule. The process ends here in any case.
void tellSchedule(int signal) {
    (void)std::signal(signal, SIG_DFL);
    if (exploring != nullptr) {
        const velmora::Unwatched guard;
        tellBroken(*playing, exploring->current(), "the host stopped the process");
    }
    (void)std::raise(signal);
}

bool tellStates(const SmallWorldKind& kind, const ScheduleExplorer::Result& result) {
    bool isEveryoneReached = true;
    for (const std::string_view state : kind.states) {
        const auto found = result.reached.find(state);
        const std::uint64_t times = found == result.reached.end() ? 0 : found->second;
        isEveryoneReached = isEveryoneReached && times > 0;
        std::printf("  %12llu  %s\n", static_cast<unsigned long long>(times),
                    std::string(state).c_str());
    }
    return isEveryoneReached;
}

std::optional<ScheduleExplorer::Result> explore(const SmallWorldKind& kind, bool isReduced) {
    const auto begin = std::chrono::steady_clock::now();
    ScheduleExplorer explorer(kind, isReduced);
    playing = &kind;
    exploring = &explorer;
    auto result = explorer.explore();
    exploring = nullptr;
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    if (!result.failures.empty()) {
        tellBroken(kind, result.broken, result.failures.front().c_str());
        return std::nullopt;
    }
    std::printf(
        "%-14s %9llu schedules%s, %llu pruned, %llu states, up to %llu steps, %zu outcomes, %.1f "
        "s: %s\n",
        std::string(kind.name).c_str(), static_cast<unsigned long long>(result.schedules),
        isReduced ? "" : " (all)", static_cast<unsigned long long>(result.pruned),
        static_cast<unsigned long long>(result.states),
        static_cast<unsigned long long>(result.longest), result.outcomes.size(), seconds.count(),
        std::string(kind.content).c_str());
    (void)std::fflush(stdout);
    return result;
}

/// Whether leaving schedules out loses no outcome.
bool compare(const SmallWorldKind& kind) {
    playing = &kind;
    const auto all = ScheduleExplorer(kind, false).explore();
    const auto reduced = ScheduleExplorer(kind, true).explore();
    const bool isSame = all.outcomes == reduced.outcomes;
    std::printf("%-14s %9llu schedules (all), %llu reduced, %zu outcomes of %zu%s\n",
                std::string(kind.name).c_str(), static_cast<unsigned long long>(all.schedules),
                static_cast<unsigned long long>(reduced.schedules), reduced.outcomes.size(),
                all.outcomes.size(), isSame ? "" : ": some are lost");
    return isSame && all.failures.empty() && reduced.failures.empty();
}

struct Order final {
    bool isShort = false;
    bool isEvery = false;
    std::optional<std::uint64_t> comparisons;
    std::string_view world;
    std::optional<ScheduleExplorer::Schedule> schedule;
};

std::optional<std::uint64_t> numberOf(std::string_view text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number)
                                                                    : std::nullopt;
}

std::optional<ScheduleExplorer::Schedule> scheduleOf(std::string_view text) {
    ScheduleExplorer::Schedule schedule;
    while (!text.empty()) {
        const auto place = numberOf(text.substr(0, text.find('.')));
        if (!place) {
            return std::nullopt;
        }
        schedule.push_back(*place);
        text.remove_prefix(std::min(text.size(), text.find('.')));
        text.remove_prefix(text.empty() ? 0 : 1);
    }
    return schedule;
}

std::optional<Order> orderOf(std::span<const char* const> arguments) {
    Order order;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        if (argument == "--short") {
            order.isShort = true;
            continue;
        }
        if (argument == "--every") {
            order.isEvery = true;
            continue;
        }
        if (++i == arguments.size()) {
            return std::nullopt;
        }
        if (argument == "--world") {
            order.world = arguments[i];
        } else if (argument == "--compare") {
            order.comparisons = numberOf(arguments[i]);
        } else if (argument == "--schedule") {
            order.schedule = scheduleOf(arguments[i]);
        }
        if (order.world.empty() && !order.comparisons) {
            return std::nullopt;
        }
    }
    return order.schedule && order.world.empty() ? std::nullopt : std::optional(order);
}

bool replay(const SmallWorldKind& kind, const ScheduleExplorer::Schedule& schedule) {
    const auto failures = ScheduleExplorer::replay(
        kind, schedule, [](const std::string& line) { std::printf("%s\n", line.c_str()); });
    for (const std::string& failure : failures) {
        std::printf("%s: %s\n", std::string(kind.name).c_str(), failure.c_str());
    }
    return failures.empty();
}

bool compareRandom(std::uint64_t count) {
    bool isSame = true;
    for (std::uint64_t seed = 1; seed <= count && isSame; ++seed) {
        isSame = compare(velmora::randomWorld(seed));
    }
    return isSame;
}

bool perform(const SmallWorldKind& kind, const Order& order) {
    if (order.schedule) {
        return replay(kind, *order.schedule);
    }
    if (order.comparisons) {
        return compare(kind);
    }
    const auto result = explore(kind, !order.isEvery);
    return result && tellStates(kind, *result);
}

bool isMeant(const SmallWorldKind& kind, const Order& order) {
    if (!order.world.empty()) {
        return kind.name == order.world;
    }
    const bool isTinyOnly = order.isEvery || order.comparisons.has_value();
    return isTinyOnly ? kind.isTiny : kind.isShort || !order.isShort;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    const auto order =
        orderOf(std::span(arguments, static_cast<std::size_t>(argumentCount)).subspan(1));
    if (!order) {
        std::fputs(
            "viewer_schedules [--short] [--world NAME [--schedule 0.2.1…]], --every or "
            "--compare COUNT\n",
            stderr);
        return usage;
    }
    if (!velmora::WatchedMemory::isThere() && !order->isEvery && !order->schedule) {
        std::fputs(
            "This program was built without the watch on memory, and can only try --every "
            "schedule.\n",
            stderr);
        return usage;
    }
    for (const int signal : {SIGABRT, SIGSEGV, SIGBUS}) {
        (void)std::signal(signal, tellSchedule);
    }
    bool isFine = true;
    bool isAny = false;
    for (const auto& kind : velmora::smallWorlds()) {
        if (isMeant(kind, *order)) {
            isAny = true;
            isFine = perform(kind, *order) && isFine;
        }
    }
    isFine = compareRandom(order->comparisons.value_or(0)) && isFine;
    return isFine && isAny ? EXIT_SUCCESS : EXIT_FAILURE;
}
