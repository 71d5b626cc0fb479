#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velmora {

/// What a load run does: `requests` exchanges, each on a connection of its own.
struct LoadPlan final {
    std::uint16_t port = 0;
    /// Sent as it is as soon as the connection stands.
    std::string request;
    std::size_t requests = 0;
    /// So many at a time, the next one as soon as one ends.
    std::size_t concurrency = 1;
    /// Where it is not zero, the exchanges begin at instants so far apart instead, however many
    /// have not ended by then.
    std::chrono::nanoseconds interval{0};
    /// What is not answered by then counts as an error.
    std::chrono::nanoseconds timeLimit = std::chrono::seconds(60);
};

/// What a load run saw.
struct LoadResult final {
    /// The time below which `share` (0 ... 1) of the good exchanges stayed; zero when there is
    /// none.
    std::chrono::nanoseconds percentile(double share) const;

    /// Exchanges that did not end with a whole 200 answer and the server's end of stream.
    std::size_t errors = 0;
    std::uint64_t receivedBytes = 0;
    std::chrono::nanoseconds elapsed{0};
    /// From connect, or from the instant at which it was to be, to the end of the answer, of each
    /// good exchange, shortest first.
    std::vector<std::chrono::nanoseconds> latencies;
};

/// Puts load on an HTTP server on the loopback interface and returns when the plan is done or its
/// time is over. One thread, epoll; blocks its caller.
LoadResult runLoad(const LoadPlan& plan);

}  // namespace velmora
