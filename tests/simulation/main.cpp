#include <unistd.h>

#include <array>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>

#include "tests/simulation/HostSimulation.h"

// Simulates the host: viewer_simulation --seeds A..B, or --seed N [--trace].

namespace {

using velmora::SimulationOutcome;
using velmora::SimulationState;
using velmora::SimulationStates;

/// Every so many seeds one is played twice.
constexpr std::uint64_t seedsOfATwin = 100;
/// From so many seeds on, each state has to come up once in so many of them.
constexpr std::uint64_t seedsWithStates = 10'000;
constexpr std::uint64_t seedsOfAState = 100;
constexpr int usage = 2;
/// Seconds; a host that waits for itself is ended.
constexpr unsigned longestSimulation = 60;

struct Order final {
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    bool isPrinted = false;
};

std::uint64_t seedNow = 0;  // NOLINT: for the signal handler

/// A host that stops its process is told with its seed.
void tellSeed(int signal) {
    std::array<char, 64> text{};
    const int length =
        std::snprintf(text.data(), text.size(), "seed %llu: the host stopped the process\n",
                      static_cast<unsigned long long>(seedNow));
    (void)!::write(STDERR_FILENO, text.data(), static_cast<std::size_t>(length));
    (void)std::signal(signal, SIG_DFL);
    (void)std::raise(signal);
}

std::optional<std::uint64_t> numberOf(std::string_view text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number)
                                                                    : std::nullopt;
}

std::optional<Order> orderOf(std::span<const char* const> arguments) {
    Order order;
    bool isComplete = false;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        const std::string_view value = i + 1 < arguments.size() ? arguments[i + 1] : "";
        const std::size_t dots = value.find("..");
        if (argument == "--trace") {
            order.isPrinted = true;
            continue;
        }
        const auto first = numberOf(value.substr(0, dots));
        const auto last = dots == std::string_view::npos ? first : numberOf(value.substr(dots + 2));
        if ((argument != "--seeds" && argument != "--seed") || !first || !last) {
            return std::nullopt;
        }
        order.first = *first;
        order.last = *last;
        isComplete = true;
        ++i;
    }
    return isComplete ? std::optional(order) : std::nullopt;
}

bool tellFailures(std::uint64_t seed, const SimulationOutcome& outcome) {
    for (const auto& failure : outcome.failures) {
        std::printf("seed %llu: %s\n", static_cast<unsigned long long>(seed), failure.c_str());
    }
    return outcome.failures.empty();
}

bool playTwin(std::uint64_t seed, std::uint64_t hash) {
    if (seed % seedsOfATwin != 0 || velmora::simulateHost(seed, false).hash == hash) {
        return true;
    }
    std::printf("seed %llu: two runs are not the same\n", static_cast<unsigned long long>(seed));
    return false;
}

bool tellStates(const SimulationStates& states, std::uint64_t seeds) {
    bool isEveryoneReached = true;
    for (std::size_t place = 0; place < velmora::simulationStates; ++place) {
        const auto state = static_cast<SimulationState>(place);
        const bool isRare = seeds >= seedsWithStates && states.times(state) * seedsOfAState < seeds;
        isEveryoneReached = isEveryoneReached && !isRare;
        std::printf("%8llu  %s%s\n", static_cast<unsigned long long>(states.times(state)),
                    std::string(nameOf(state)).c_str(), isRare ? "  (too rare)" : "");
    }
    return isEveryoneReached;
}

int simulate(const Order& order) {
    SimulationStates states;
    std::uint64_t seeds = 0;
    const auto begin = std::chrono::steady_clock::now();
    for (seedNow = order.first; seedNow <= order.last; ++seedNow, ++seeds) {
        (void)::alarm(longestSimulation);
        const SimulationOutcome outcome = velmora::simulateHost(seedNow, order.isPrinted);
        states.add(outcome.states);
        if (!tellFailures(seedNow, outcome) || !playTwin(seedNow, outcome.hash)) {
            return EXIT_FAILURE;
        }
    }
    if (order.isPrinted) {
        return EXIT_SUCCESS;
    }
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - begin;
    const bool isEveryoneReached = tellStates(states, seeds);
    std::printf("%llu seeds, %.0f a second, no rule broken\n",
                static_cast<unsigned long long>(seeds),
                static_cast<double>(seeds) / duration.count());
    return isEveryoneReached ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    const auto order = orderOf(std::span(arguments, static_cast<std::size_t>(argumentCount)));
    if (!order) {
        std::fputs("viewer_simulation --seeds A..B, or --seed N [--trace]\n", stderr);
        return usage;
    }
    for (const int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGALRM}) {
        (void)std::signal(signal, tellSeed);
    }
    return simulate(*order);
}
