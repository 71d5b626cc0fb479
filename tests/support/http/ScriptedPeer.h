#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/http/ViewerTransport.h"
#include "core/protocol/ViewerHostHTTPResponse.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerLock.h"

namespace velmora {

/// The far end of one connection: plays its client and its network, and keeps what the host did
/// with it beyond the connection's own life. Shared by the test and the connection; any thread.
class ScriptedPeer final : public std::enable_shared_from_this<ScriptedPeer> {
  public:
    /// How the network behaves by itself. Set before the connection is made.
    struct Network final {
        /// A started connection becomes ready.
        bool becomesReady = true;
        /// A message is on its way as soon as it was sent; else `completeSend` says when.
        bool completesSends = true;
    };

    ScriptedPeer() = default;
    explicit ScriptedPeer(Network network) : network_(network) {}
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    /// The near end, made once; the peer keeps no reference to it.
    std::shared_ptr<ViewerConnection> makeConnection();

    /// What the client sends waits until the host receives it.
    void send(std::string_view bytes);
    /// The client ends its side, or breaks the connection off, behind what it has sent.
    void end();
    void breakOff();
    void change(ViewerConnectionState state);
    /// Says that the oldest message not completed yet has left, or never will.
    void completeSend();

    /// The messages of the host, in order; those after `cancel` are counted instead.
    std::vector<std::string> messages() const;
    std::size_t sendsAfterCancel() const;
    std::size_t cancellations() const;
    /// What each receive asked for at most.
    std::vector<std::size_t> receiveLimits() const;
    bool isStarted() const;
    bool isReceiving() const;
    /// The host was told that more may come.
    bool expectsMore() const;
    /// The connection object is gone.
    bool isDropped() const;
    /// The queue the connection was started on.
    ViewerExecutor queue() const;

    /// Called for each message, on the thread that sends. Set before the connection is made.
    std::function<void()> onMessage;
    /// Called before the host receives that many bytes, with or without the client's end behind
    /// them, and before it is told that a message has left. Set before the connection is made.
    std::function<void(std::size_t bytes, bool hasEnd)> onDelivery;
    std::function<void()> onSent;
    /// Called when the connection is started, at each cancel, and when it has gone. Set before it
    /// is made.
    std::function<void()> onStart;
    std::function<void()> onCancel;
    std::function<void()> onDrop;

  private:
    class Connection;

    void start(ViewerExecutor queue, std::weak_ptr<ViewerConnectionReceiver> receiver);
    void receive(std::size_t maximum);
    void take(const ViewerHostResponseBytes& message);
    void cancel();
    void drop();
    void wake();
    void deliver();
    /// Nobody once the connection has gone.
    std::shared_ptr<ViewerConnectionReceiver> receiver() const;

    mutable ViewerLock lock_;
    Network network_;
    std::optional<ViewerExecutor> queue_ VIEWER_GUARDED_BY(lock_);
    std::weak_ptr<ViewerConnectionReceiver> receiver_ VIEWER_GUARDED_BY(lock_);
    bool isReceiving_ VIEWER_GUARDED_BY(lock_) = false;
    std::size_t unfinishedSends_ VIEWER_GUARDED_BY(lock_) = 0;
    std::string arrived_ VIEWER_GUARDED_BY(lock_);
    bool hasEnded_ VIEWER_GUARDED_BY(lock_) = false;
    bool isBroken_ VIEWER_GUARDED_BY(lock_) = false;
    bool isDropped_ VIEWER_GUARDED_BY(lock_) = false;
    bool expectsMore_ VIEWER_GUARDED_BY(lock_) = false;
    std::vector<std::string> messages_ VIEWER_GUARDED_BY(lock_);
    std::size_t sendsAfterCancel_ VIEWER_GUARDED_BY(lock_) = 0;
    std::size_t cancellations_ VIEWER_GUARDED_BY(lock_) = 0;
    std::vector<std::size_t> receiveLimits_ VIEWER_GUARDED_BY(lock_);
};

}  // namespace velmora
