// How long the host and nginx let wait for a frame when 1,000 are asked for in a second, each on a
// connection of its own and at its instant, whether those before it are answered or not:
//   latency_bench HOST-PORT NGINX-PORT DISPLAY-ID ROUNDS
// Fails when the host does not reach what it must; bench/http/run brings everything that it needs.

#include <sys/prctl.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/Measuring.h"
#include "bench/capture/Comparison.h"
#include "bench/http/LoadClient.h"

namespace velmora::bench {

namespace {

constexpr std::chrono::milliseconds interval{1};
constexpr std::size_t requestsARound = 5000;
/// Before each round: they bring the capture up again.
constexpr std::size_t warmUpRequests = 500;

/// What the host must reach, as a multiple of nginx's.
constexpr double mostRatio = 1.10;

struct Latencies final {
    Comparison median;
    Comparison percentile99;
    std::size_t hostErrors = 0;
    std::size_t nginxErrors = 0;
};

/// Adds a round of one server to its rows.
void measure(LoadPlan plan, std::vector<double>& median, std::vector<double>& percentile99,
             std::size_t& errors) {
    using Microseconds = std::chrono::duration<double, std::micro>;
    plan.requests = warmUpRequests;
    errors += runLoad(plan).errors;
    plan.requests = requestsARound;
    const LoadResult result = runLoad(plan);
    errors += result.errors;
    median.push_back(Microseconds(result.percentile(0.50)).count());
    percentile99.push_back(Microseconds(result.percentile(0.99)).count());
}

/// True when the host reached everything that it must.
bool compareLatencies(LoadPlan host, LoadPlan nginx, std::size_t rounds) {
    Latencies all;
    printLoadAverage();
    alternate(
        rounds, [&] { measure(host, all.median.host, all.percentile99.host, all.hostErrors); },
        [&] { measure(nginx, all.median.anchor, all.percentile99.anchor, all.nginxErrors); });
    std::printf(
        "latency at 1,000 requests a second, medians of %zu rounds; errors %zu, nginx %zu\n",
        rounds, all.hostErrors, all.nginxErrors);
    const bool isMedianReached = all.median.report("p50", "us", "nginx", mostRatio);
    const bool isReached = all.percentile99.report("p99", "us", "nginx", mostRatio);
    printLoadAverage();
    return isMedianReached && isReached && all.hostErrors == 0;
}

}  // namespace

}  // namespace velmora::bench

int main(int argumentCount, char** arguments) {
    constexpr int expectedArguments = 5;
    const int rounds = argumentCount == expectedArguments ? std::atoi(arguments[4]) : 0;
    if (rounds < 1) {
        (void)std::fputs("latency_bench HOST-PORT NGINX-PORT DISPLAY-ID ROUNDS\n", stderr);
        return EXIT_FAILURE;
    }
    // An instant is met to the microsecond; by default the system may be 50 late.
    ::prctl(PR_SET_TIMERSLACK, 1);
    velmora::LoadPlan host;
    host.port = static_cast<std::uint16_t>(std::atoi(arguments[1]));
    host.request = "GET /viewer/v1/frame?id=" + std::string(arguments[3]) +
                   " HTTP/1.1\r\nHost: localhost\r\n\r\n";
    host.interval = velmora::bench::interval;
    velmora::LoadPlan nginx = host;
    nginx.port = static_cast<std::uint16_t>(std::atoi(arguments[2]));
    return velmora::bench::compareLatencies(host, nginx, static_cast<std::size_t>(rounds))
               ? EXIT_SUCCESS
               : EXIT_FAILURE;
}
