#pragma once

#include <sys/types.h>
#include <sys/uio.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "core/http/ViewerTransport.h"
#include "core/http/linux/ViewerLingeringSockets.h"
#include "core/http/linux/ViewerSocketDescriptor.h"
#include "core/http/linux/ViewerSocketSet.h"

namespace velmora {

/// One accepted connection on a non-blocking socket. Made by the listener, owned by whoever serves
/// it; its queue is the listener's. A connection that is destroyed closes its socket. The socket is
/// tried first, and watched only when it is not ready. What has come in is delivered in the next
/// round of the set: so all of a batch is there before the first of it is answered.
///
/// `send` holds the last segment back for the half-close that `cancel` brings, so that both leave
/// in one packet; without a `cancel` it leaves after 200 ms. `cancel` ends the socket by what there
/// is to protect: an answer that the kernel has taken as a whole lingers, unless the peer has ended
/// its side; one that is cut off is aborted, so that the kernel does not go on offering its
/// beginning to a peer that does not read; everything else is closed.
class ViewerSocketConnection final : public ViewerConnection,
                                     public ViewerWatchedSocket,
                                     public std::enable_shared_from_this<ViewerSocketConnection> {
  public:
    ViewerSocketConnection(ViewerSocketDescriptor socket, std::shared_ptr<ViewerSocketSet> set,
                           std::shared_ptr<ViewerLingeringSockets> ending);
    ~ViewerSocketConnection() override;
    ViewerSocketConnection(const ViewerSocketConnection&) = delete;
    ViewerSocketConnection& operator=(const ViewerSocketConnection&) = delete;

    /// `queue` is the listener's.
    void start(ViewerExecutor queue, std::weak_ptr<ViewerConnectionReceiver> receiver) override;
    /// On the queue only, one at a time.
    void receive(std::size_t maximum) override;
    /// On the queue only.
    void expectMore() override;
    /// Once.
    void send(ViewerHostResponseBytes message) override;
    void cancel() override;

    void proceed() override;

  private:
    enum class Answer { none, underWay, taken, lost };

    void startOnQueue(std::weak_ptr<ViewerConnectionReceiver> receiver);
    void proceedOnce();
    void reportState(ViewerConnectionState state);
    void receiveNow();
    void deliver();
    void sendOnQueue(ViewerHostResponseBytes message);
    void sendRest();
    void endSend(Answer answer);
    /// Head and body without what was sent.
    std::array<iovec, 2> unsent() const;
    void cancelOnQueue();
    void endSocket();
    void watchFor(std::uint32_t events);
    /// Has what is due done behind the present call.
    void runSoon();

    const std::shared_ptr<ViewerSocketSet> set_;
    const std::shared_ptr<ViewerLingeringSockets> ending_;

    // What follows is touched on the queue only.
    std::weak_ptr<ViewerConnectionReceiver> receiver_;
    bool isStarted_ = false;
    bool isCancelled_ = false;
    /// Whether the receiver is still to be told the state.
    bool isStateDue_ = false;
    bool isProceeding_ = false;
    bool isAskedAgain_ = false;

    bool isReceiving_ = false;
    std::size_t receiveMaximum_ = 0;
    /// What the last receive yielded, while it is still to be delivered.
    std::optional<ssize_t> received_;
    bool hasPeerEnded_ = false;
    bool expectsMore_ = false;

    Answer answer_ = Answer::none;
    /// Whether the receiver is still to be told that its message is sent.
    bool isSending_ = false;
    std::optional<ViewerHostResponseBytes> message_;
    std::size_t sentBytes_ = 0;

    ViewerSocketDescriptor socket_;
    /// What the set watches it for; 0 while it does not.
    std::uint32_t watchedEvents_ = 0;
    /// Not written before something is received, and never more than that.
    std::array<std::uint8_t, 1024> receiveBuffer_;
};

}  // namespace velmora
