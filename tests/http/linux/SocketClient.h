#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace velmora {

/// What a client got until the end of the connection.
struct ReceivedAnswer final {
    std::string bytes;
    /// Whether the server ended its side in order, by no reset.
    bool isEnded = false;
};

/// A blocking TCP client on the loopback interface. Each call gives up after a generous time. One
/// thread.
class SocketClient final {
  public:
    enum class Family { IPv4, IPv6 };

    explicit SocketClient(std::uint16_t port, Family family = Family::IPv4);
    ~SocketClient();
    SocketClient(SocketClient&& other) noexcept;
    SocketClient& operator=(SocketClient&&) = delete;

    bool isConnected() const { return isConnected_; }
    /// False when the server does not take everything.
    bool send(std::string_view bytes);
    /// What the server's system has not confirmed yet.
    std::size_t unsentBytes() const;
    void endSending();
    ReceivedAnswer receiveAll();
    /// At most `size` bytes, at least one unless the connection has ended.
    std::string receiveSome(std::size_t size);
    /// Waits until the server has reset the connection.
    bool waitForReset();
    /// Resets the connection.
    void reset();
    void close();

  private:
    int descriptor_ = -1;
    bool isConnected_ = false;
};

}  // namespace velmora
