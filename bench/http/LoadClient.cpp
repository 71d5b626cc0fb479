#include "bench/http/LoadClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <string_view>

namespace velmora {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t receiveBytes = 128UL * 1024;
constexpr int eventsAtOnce = 256;

/// One connection after another; what it knows of the present one.
struct Exchange final {
    int descriptor = -1;
    bool isSent = false;
    Clock::time_point began;
    /// The answer up to the end of its header.
    std::string header;
    bool hasHeader = false;
    std::size_t bodyBytes = 0;
};

/// The length that a 200 header announces; nothing that a body can have for any other header.
std::size_t announcedBytes(std::string_view header) {
    constexpr std::string_view field = "Content-Length: ";
    const std::size_t found = header.find(field);
    std::size_t length = 0;
    if (!header.starts_with("HTTP/1.1 200 ") || found == std::string_view::npos) {
        return SIZE_MAX;
    }
    const std::string_view digits = header.substr(found + field.size());
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), length);
    return parsed.ec == std::errc() ? length : SIZE_MAX;
}

class LoadRun final {
  public:
    explicit LoadRun(const LoadPlan& plan)
        : plan_(plan),
          epoll_(::epoll_create1(EPOLL_CLOEXEC)),
          exchanges_(isPlanned() ? plan.requests : plan.concurrency) {
        result_.latencies.reserve(plan.requests);
    }
    LoadRun(const LoadRun&) = delete;
    LoadRun& operator=(const LoadRun&) = delete;
    ~LoadRun() {
        for (const Exchange& exchange : exchanges_) {
            if (exchange.descriptor >= 0) {
                ::close(exchange.descriptor);
            }
        }
        ::close(epoll_);
    }

    LoadResult run() {
        for (Exchange& exchange : exchanges_) {
            beginNext(exchange);
        }
        while (ended_ < plan_.requests && Clock::now() - start_ < plan_.timeLimit) {
            if (isPlanned()) {
                beginPlanned();
            }
            waitOnce();
        }
        result_.elapsed = Clock::now() - start_;
        result_.errors += plan_.requests - ended_;
        std::sort(result_.latencies.begin(), result_.latencies.end());
        return std::move(result_);
    }

  private:
    bool isPlanned() const { return plan_.interval.count() > 0; }

    Clock::time_point nextPlanned() const {
        return start_ + plan_.interval * static_cast<std::int64_t>(begun_);
    }

    /// Waits for what the server does, up to the next instant at which an exchange begins.
    void waitOnce() {
        std::chrono::nanoseconds wait = std::chrono::milliseconds(100);
        if (isPlanned() && begun_ < plan_.requests) {
            wait = std::clamp(nextPlanned() - Clock::now(), std::chrono::nanoseconds(0), wait);
        }
        const timespec timeout{0, wait.count()};
        std::array<epoll_event, eventsAtOnce> events;
        const int count = ::epoll_pwait2(epoll_, events.data(), eventsAtOnce, &timeout, nullptr);
        for (int i = 0; i < count; ++i) {
            proceed(*static_cast<Exchange*>(events[static_cast<std::size_t>(i)].data.ptr));
        }
    }

    /// Begins every exchange whose instant has come.
    void beginPlanned() {
        while (begun_ < plan_.requests && nextPlanned() <= Clock::now()) {
            const Clock::time_point planned = nextPlanned();
            Exchange& exchange = exchanges_[begun_];
            ++begun_;
            exchange.began = planned;
            if (!connect(exchange)) {
                end(exchange, false);
            }
        }
    }

    /// Where exchanges follow each other, connects the next one if one is left.
    void beginNext(Exchange& exchange) {
        while (!isPlanned() && begun_ < plan_.requests) {
            ++begun_;
            exchange = Exchange();
            exchange.began = Clock::now();
            if (connect(exchange)) {
                return;
            }
            end(exchange, false);
        }
    }

    bool connect(Exchange& exchange) {
        exchange.descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(plan_.port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int connected =
            ::connect(exchange.descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address);
        if (connected != 0 && errno != EINPROGRESS) {
            return false;
        }
        // Edges suffice: the request is sent on the first one, and each is read until nothing is
        // left.
        epoll_event event{};
        event.events = EPOLLIN | EPOLLOUT | EPOLLET;
        event.data.ptr = &exchange;
        return ::epoll_ctl(epoll_, EPOLL_CTL_ADD, exchange.descriptor, &event) == 0;
    }

    void end(Exchange& exchange, bool isGood) {
        if (isGood) {
            result_.latencies.push_back(Clock::now() - exchange.began);
        } else {
            ++result_.errors;
        }
        ++ended_;
        if (exchange.descriptor >= 0) {
            ::close(exchange.descriptor);
        }
        exchange.descriptor = -1;
    }

    void proceed(Exchange& exchange) {
        if (!exchange.isSent) {
            const ssize_t sent = ::send(exchange.descriptor, plan_.request.data(),
                                        plan_.request.size(), MSG_NOSIGNAL);
            if (sent != static_cast<ssize_t>(plan_.request.size())) {
                end(exchange, false);
                beginNext(exchange);
                return;
            }
            exchange.isSent = true;
        }
        receiveAll(exchange);
    }

    void receiveAll(Exchange& exchange) {
        for (;;) {
            const ssize_t received = ::recv(exchange.descriptor, buffer_.data(), buffer_.size(), 0);
            if (received < 0 && errno == EAGAIN) {
                return;
            }
            if (received <= 0) {
                end(exchange, received == 0 && isWhole(exchange));
                beginNext(exchange);
                return;
            }
            result_.receivedBytes += static_cast<std::uint64_t>(received);
            take(exchange, {buffer_.data(), static_cast<std::size_t>(received)});
        }
    }

    static void take(Exchange& exchange, std::string_view bytes) {
        if (exchange.hasHeader) {
            exchange.bodyBytes += bytes.size();
            return;
        }
        exchange.header += bytes;
        const std::size_t headerEnd = exchange.header.find("\r\n\r\n");
        if (headerEnd != std::string::npos) {
            constexpr std::size_t emptyLineBytes = 4;
            exchange.bodyBytes = exchange.header.size() - headerEnd - emptyLineBytes;
            exchange.header.resize(headerEnd);
            exchange.hasHeader = true;
        }
    }

    static bool isWhole(const Exchange& exchange) {
        return exchange.hasHeader && exchange.bodyBytes == announcedBytes(exchange.header);
    }

    const LoadPlan& plan_;
    const int epoll_;
    std::vector<Exchange> exchanges_;
    const Clock::time_point start_ = Clock::now();
    std::size_t begun_ = 0;
    std::size_t ended_ = 0;
    std::array<char, receiveBytes> buffer_{};
    LoadResult result_;
};

}  // namespace

std::chrono::nanoseconds LoadResult::percentile(double share) const {
    if (latencies.empty()) {
        return {};
    }
    const auto last = static_cast<double>(latencies.size() - 1);
    return latencies[static_cast<std::size_t>(share * last)];
}

LoadResult runLoad(const LoadPlan& plan) {
    LoadRun run(plan);
    return run.run();
}

}  // namespace velmora
