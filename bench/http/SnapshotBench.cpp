// What a frame costs the host and what a snapshot of the same size costs ustreamer, by turns:
//   snapshot_bench HOST-PID HOST-PORT USTREAMER-PID USTREAMER-PORT DISPLAY-ID ROUNDS
// Fails when the host does not reach what it must; bench/http/run-ustreamer brings everything that
// it needs.

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/Measuring.h"
#include "bench/capture/Comparison.h"
#include "bench/http/LoadClient.h"

namespace velmora::bench {

namespace {

constexpr std::size_t requestsARound = 10000;
/// Before each round: they bring the capture up again.
constexpr std::size_t warmUpRequests = 1000;
constexpr std::array<std::size_t, 3> concurrencies = {16, 64, 1000};

/// What the host must reach, as a multiple of ustreamer's.
constexpr double mostRatio = 0.55;

struct Server final {
    pid_t process;
    LoadPlan plan;
};

/// Of this machine. ustreamer keeps a connection open unless it is told not to.
Server serverOf(const char* process, const char* port, const std::string& path) {
    Server result{std::atoi(process), {}};
    result.plan.port = static_cast<std::uint16_t>(std::atoi(port));
    result.plan.request =
        "GET " + path + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n";
    return result;
}

/// Microseconds of the server's processor time for each request; adds to `errors`.
double measure(const Server& server, std::size_t concurrency, std::size_t& errors) {
    LoadPlan plan = server.plan;
    plan.concurrency = concurrency;
    plan.requests = warmUpRequests;
    errors += runLoad(plan).errors;
    plan.requests = requestsARound;
    const auto before = processorTime(server.process);
    errors += runLoad(plan).errors;
    const std::chrono::duration<double, std::micro> spent = processorTime(server.process) - before;
    return spent.count() / static_cast<double>(requestsARound);
}

/// True when the host reached what it must.
bool compareCosts(const Server& host, const Server& ustreamer, std::size_t rounds) {
    bool isReached = true;
    std::printf("server CPU per request, medians of %zu rounds\n", rounds);
    printLoadAverage();
    for (const std::size_t concurrency : concurrencies) {
        Comparison costs;
        std::size_t hostErrors = 0;
        std::size_t ustreamerErrors = 0;
        alternate(
            rounds, [&] { costs.host.push_back(measure(host, concurrency, hostErrors)); },
            [&] { costs.anchor.push_back(measure(ustreamer, concurrency, ustreamerErrors)); });
        const std::string name = std::to_string(concurrency) + " connections";
        isReached = costs.report(name.c_str(), "us", "ustreamer", mostRatio) && isReached;
        std::printf("  errors %zu, ustreamer %zu\n", hostErrors, ustreamerErrors);
        isReached = isReached && hostErrors == 0;
    }
    printLoadAverage();
    return isReached;
}

}  // namespace

}  // namespace velmora::bench

int main(int argumentCount, char** arguments) {
    constexpr int expectedArguments = 7;
    const int rounds = argumentCount == expectedArguments ? std::atoi(arguments[6]) : 0;
    if (rounds < 1) {
        (void)std::fputs(
            "snapshot_bench HOST-PID HOST-PORT USTREAMER-PID USTREAMER-PORT DISPLAY-ID ROUNDS\n",
            stderr);
        return EXIT_FAILURE;
    }
    const auto host = velmora::bench::serverOf(arguments[1], arguments[2],
                                               "/viewer/v1/frame?id=" + std::string(arguments[5]));
    const auto ustreamer = velmora::bench::serverOf(arguments[3], arguments[4], "/snapshot");
    return velmora::bench::compareCosts(host, ustreamer, static_cast<std::size_t>(rounds))
               ? EXIT_SUCCESS
               : EXIT_FAILURE;
}
