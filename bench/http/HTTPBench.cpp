// Puts the same requests to the host, to nginx and to a bare loop in turn and compares what they
// cost each server:
//   http_bench HOST-PID HOST-PORT NGINX-PID NGINX-PORT LOOP-PID LOOP-PORT DISPLAY-ID ROUNDS
// Fails when the host does not reach what it must. All answer the same paths with the same bytes;
// bench/http/run brings everything that it needs.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "bench/Measuring.h"
#include "bench/http/LoadClient.h"

namespace velmora {

namespace {

constexpr std::size_t requestsARound = 10000;
/// Before each round: they bring the capture up again and the caches into the state that lasts.
constexpr std::size_t warmUpRequests = 1000;

/// What the host must reach: its cost as a multiple of nginx's or of the bare loop's, whichever is
/// more, and of 1,000 connections at once the 99th percentile as a multiple of the 50th and the
/// longest answer.
constexpr double mostOfNginx = 1.00;
constexpr double mostOfLoop = 1.10;
constexpr double mostSpread = 2.0;
constexpr double mostMilliseconds = 1000;

struct Server final {
    pid_t process;
    std::uint16_t port;
};

struct Servers final {
    Server host;
    Server nginx;
    Server loop;
};

struct Round final {
    double microsecondsARequest = 0;
    double p50Milliseconds = 0;
    double p99Milliseconds = 0;
    double longestMilliseconds = 0;
    std::size_t errors = 0;
};

/// All rounds of one request at one concurrency; those of the servers at the same place were run
/// one right after the other.
struct Comparison final {
    std::vector<Round> host;
    std::vector<Round> nginx;
    std::vector<Round> loop;
};

double milliseconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

Round measure(const Server& server, const std::string& request, std::size_t concurrency) {
    LoadPlan plan;
    plan.port = server.port;
    plan.request = request;
    plan.concurrency = concurrency;
    plan.requests = warmUpRequests;
    Round round;
    round.errors = runLoad(plan).errors;

    plan.requests = requestsARound;
    const auto before = bench::processorTime(server.process);
    const LoadResult result = runLoad(plan);
    const std::chrono::duration<double, std::micro> spent =
        bench::processorTime(server.process) - before;
    round.microsecondsARequest = spent.count() / static_cast<double>(requestsARound);
    round.p50Milliseconds = milliseconds(result.percentile(0.50));
    round.p99Milliseconds = milliseconds(result.percentile(0.99));
    round.longestMilliseconds = milliseconds(result.percentile(1));
    round.errors += result.errors;
    return round;
}

Comparison compare(const Servers& servers, const std::string& request, std::size_t concurrency,
                   std::size_t rounds) {
    Comparison comparison;
    const std::array turns = {std::pair(&servers.host, &comparison.host),
                              std::pair(&servers.nginx, &comparison.nginx),
                              std::pair(&servers.loop, &comparison.loop)};
    for (std::size_t i = 0; i < rounds * turns.size(); ++i) {
        // Who is first changes, so that a load which rises or falls favours nobody.
        const auto& [server, results] = turns[(i + i / turns.size()) % turns.size()];
        results->push_back(measure(*server, request, concurrency));
    }
    return comparison;
}

template <typename Value>
std::vector<double> each(const std::vector<Round>& rounds, Value value) {
    std::vector<double> values;
    values.reserve(rounds.size());
    for (const Round& round : rounds) {
        values.push_back(value(round));
    }
    return values;
}

double cost(const Round& round) {
    return round.microsecondsARequest;
}

double spread(const Round& round) {
    return round.p99Milliseconds / round.p50Milliseconds;
}

double longest(const Round& round) {
    return round.longestMilliseconds;
}

double errors(const Round& round) {
    return static_cast<double>(round.errors);
}

double sum(const std::vector<double>& values) {
    double total = 0;
    for (const double value : values) {
        total += value;
    }
    return total;
}

/// Prints what the host costs as a multiple of another server, and yields it.
double reportRatio(const std::vector<Round>& host, const std::vector<Round>& other) {
    std::vector<double> ratios;
    ratios.reserve(host.size());
    for (std::size_t i = 0; i < host.size(); ++i) {
        ratios.push_back(cost(host[i]) / cost(other[i]));
    }
    const auto [least, most] = std::minmax_element(ratios.begin(), ratios.end());
    const double usual = bench::median(ratios);
    std::printf("  %5.1f us %.2f (%.2f ... %.2f)", bench::median(each(other, cost)), usual, *least,
                *most);
    return usual;
}

/// Prints a line; true when the host costs at most what it may.
bool reportCost(const char* name, std::size_t concurrency, const Comparison& comparison) {
    std::printf("%-8s %11zu  %5.1f us", name, concurrency,
                bench::median(each(comparison.host, cost)));
    const double ofNginx = reportRatio(comparison.host, comparison.nginx);
    const double ofLoop = reportRatio(comparison.host, comparison.loop);
    std::printf("  %.0f / %.0f / %.0f\n", sum(each(comparison.host, errors)),
                sum(each(comparison.nginx, errors)), sum(each(comparison.loop, errors)));
    (void)std::fflush(stdout);  // only so that a reader sees the lines as they come
    const bool isCheap = ofNginx <= mostOfNginx || ofLoop <= mostOfLoop;
    return isCheap && sum(each(comparison.host, errors)) == 0;
}

/// Prints a line; true when the answers came as evenly and as soon as they must from the host.
bool reportCrowd(const char* server, const std::vector<Round>& rounds) {
    const std::vector<double> longestOfRounds = each(rounds, longest);
    const double longestOfAll = *std::max_element(longestOfRounds.begin(), longestOfRounds.end());
    const double usualSpread = bench::median(each(rounds, spread));
    std::printf("  %-6s errors %.0f   p99/p50 %.2f   longest %.0f ms\n", server,
                sum(each(rounds, errors)), usualSpread, longestOfAll);
    return usualSpread <= mostSpread && longestOfAll <= mostMilliseconds;
}

/// True when the host reached everything that it must.
bool compareAll(const Servers& servers, const std::string& display, std::size_t rounds) {
    struct Asked final {
        const char* name;
        std::string path;
    };
    const std::array<Asked, 2> all = {Asked{"frame", "/viewer/v1/frame?id=" + display},
                                      Asked{"listing", "/viewer/v1/displays"}};
    constexpr std::array<std::size_t, 3> concurrencies = {16, 64, 1000};

    bool isReached = true;
    bench::printLoadAverage();
    std::printf(
        "server CPU per request, medians of %zu rounds, and errors; the host must cost at\n"
        "most %.2f times nginx or %.2f times the bare loop\n",
        rounds, mostOfNginx, mostOfLoop);
    std::printf(
        "request  connections      host     nginx ratio (least ... most)      loop ratio "
        "(least ... most)  errors\n");
    for (const Asked& asked : all) {
        const std::string request = "GET " + asked.path + " HTTP/1.1\r\nHost: localhost\r\n\r\n";
        Comparison comparison;
        for (const std::size_t concurrency : concurrencies) {
            comparison = compare(servers, request, concurrency, rounds);
            isReached = reportCost(asked.name, concurrency, comparison) && isReached;
        }
        std::printf("%zu connections at once, %s:\n", concurrencies.back(), asked.name);
        isReached = reportCrowd("host", comparison.host) && isReached;
        (void)reportCrowd("nginx", comparison.nginx);  // nothing is required of these
        (void)reportCrowd("loop", comparison.loop);
    }
    bench::printLoadAverage();
    return isReached;
}

std::uint16_t port(const char* text) {
    return static_cast<std::uint16_t>(std::atoi(text));
}

}  // namespace

}  // namespace velmora

int main(int argumentCount, char** arguments) {
    constexpr int expectedArguments = 9;
    const int rounds = argumentCount == expectedArguments ? std::atoi(arguments[8]) : 0;
    if (rounds < 1) {
        std::cerr << "http_bench HOST-PID HOST-PORT NGINX-PID NGINX-PORT LOOP-PID LOOP-PORT "
                     "DISPLAY-ID ROUNDS\n";
        return 2;
    }
    const velmora::Servers servers = {{std::atoi(arguments[1]), velmora::port(arguments[2])},
                                      {std::atoi(arguments[3]), velmora::port(arguments[4])},
                                      {std::atoi(arguments[5]), velmora::port(arguments[6])}};
    const bool isReached =
        velmora::compareAll(servers, arguments[7], static_cast<std::size_t>(rounds));
    return isReached ? 0 : 1;
}
