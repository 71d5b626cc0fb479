#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/mac/frameworks/network/FakeNetworkObject.h"

namespace velmora {

/// An accepted connection of Network.framework's, seen from its peer. Any thread.
class FakeConnection final : public FakeNetworkObject {
  public:
    enum State : unsigned { invalid, waiting, preparing, ready, failed, cancelled };

    /// What one receive brings; the content may be in several regions.
    struct Delivery final {
        std::optional<std::vector<std::string>> content;
        bool isComplete = false;
        Error error;
    };
    /// One message that the program sent. The system may read its bytes at any time before it
    /// completes the send.
    struct Message final {
        std::function<std::string()> bytes;
        bool isDefaultContext = false;
        bool isComplete = false;
    };
    using ReceiveCompletion = std::function<void(const Delivery&)>;
    using SendCompletion = std::function<void(const Error&)>;
    using Sizes = std::pair<std::uint32_t, std::uint32_t>;

    FakeConnection() : FakeNetworkObject(cancelled) {}

    // What the program does.

    void receive(Sizes sizes, ReceiveCompletion completion);
    void send(Message message, SendCompletion completion);

    // What the test does and sees.

    /// Bytes of the peer's; a receive brings what is there, up to its maximum.
    void deliver(const std::string& bytes);
    /// The peer ends its side.
    void deliverEnd();
    /// Completes the outstanding receive with exactly that.
    void deliver(Delivery delivery);
    /// Completes the oldest outstanding send.
    void completeSend(Error error = std::nullopt);
    /// Whether the connection becomes ready, and sends complete, without the test's doing.
    void setAutomatic(bool isAutomatic);

    /// The bytes of the messages whose sends were completed, as they were at that moment.
    std::string received() const;
    /// The messages sent so far, their bytes gone.
    std::vector<Message> messages() const;
    /// The sizes of each receive.
    std::vector<Sizes> receives() const;
    bool hasOutstandingReceive() const;
    std::size_t outstandingSends() const;
    /// Whether the peer's side of the connection has ended: it was cancelled or dropped.
    bool isOver() const { return isCancelled() || isDropped(); }

  private:
    struct Send final {
        Message message;
        SendCompletion completion;
    };

    void begin() override;
    void end() override;
    /// Brings what is there to the outstanding receive.
    void pump();
    void complete(Delivery delivery);

    // Guarded by `lock_`.
    bool isAutomatic_ = true;
    std::string incoming_;
    bool isEnded_ = false;
    std::optional<Sizes> outstanding_;
    ReceiveCompletion receiveCompletion_;
    std::deque<Send> sends_;
    std::string received_;
    std::vector<Message> messages_;
    std::vector<Sizes> receives_;
};

}  // namespace velmora
