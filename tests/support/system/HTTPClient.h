#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

/// What came back on one connection until its end.
struct HTTPAnswer final {
    /// The number of the status line; 0 when there is none.
    int status() const;
    /// Everything before the empty line, that included.
    std::string head() const;
    std::string body() const;
    std::optional<std::string> header(std::string_view name) const;

    std::string bytes;
    /// Whether the peer ended its side in order: neither a reset nor the time limit cut it short.
    bool isWhole = false;
};

/// One TCP connection to the host on this machine, blocking. One thread.
class HTTPClient final {
  public:
    static constexpr std::uint16_t hostPort = 9090;

    HTTPClient() : HTTPClient(hostPort) {}
    explicit HTTPClient(std::uint16_t port) : HTTPClient(port, std::nullopt) {}
    /// One for which the kernel takes in only about so many bytes before they are read.
    static HTTPClient takingIn(int bytes) { return {hostPort, bytes}; }
    ~HTTPClient();
    HTTPClient(HTTPClient&& other) noexcept;
    HTTPClient(const HTTPClient&) = delete;
    HTTPClient& operator=(const HTTPClient&) = delete;

    bool isConnected() const { return isConnected_; }
    /// Sends everything; false when the peer does not take it.
    bool send(std::string_view bytes);
    void endSending();
    /// Whether something, or the end, comes within that time.
    bool awaitBytes(std::chrono::milliseconds limit) const;
    /// Everything until the end.
    HTTPAnswer receive();
    /// The next bytes, at most `size`; empty at the end.
    std::string receiveSome(std::size_t size);
    /// Ends the connection with a reset.
    void reset();

    /// One request of its own connection.
    static HTTPAnswer get(std::string_view target);

  private:
    HTTPClient(std::uint16_t port, std::optional<int> receiveBuffer);

    int descriptor_ = -1;
    bool isConnected_ = false;
};

}  // namespace velmora
