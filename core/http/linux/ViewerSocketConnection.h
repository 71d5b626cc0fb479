#pragma once

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "core/http/ViewerTransport.h"
#include "core/http/linux/ViewerLingeringSockets.h"

namespace velmora {

/// One accepted connection on a non-blocking socket. Made by the listener, owned by whoever serves
/// it; its queue is the listener's. No handler runs inside the call that it was given to. A
/// connection that is destroyed closes its socket and drops its handlers.
///
/// `send` holds the last segment back for the half-close that `cancel` brings, so that both leave
/// in one packet; without a `cancel` it leaves after 200 ms. `cancel` ends the socket by what there
/// is to protect: an answer that the kernel has taken as a whole lingers; one that is cut off is
/// aborted, so that the kernel does not go on offering its beginning to a peer that does not read;
/// everything else is closed.
class ViewerSocketConnection final : public ViewerConnection,
                                     public std::enable_shared_from_this<ViewerSocketConnection> {
  public:
    using Socket = ViewerLingeringSockets::Socket;

    ViewerSocketConnection(Socket socket, std::shared_ptr<ViewerLingeringSockets> ending);
    ~ViewerSocketConnection() override;
    ViewerSocketConnection(const ViewerSocketConnection&) = delete;
    ViewerSocketConnection& operator=(const ViewerSocketConnection&) = delete;

    void setStateHandler(StateHandler handler) override;
    /// `queue` is the listener's.
    void start(ViewerExecutor queue) override;
    /// On the queue only, one at a time.
    void receive(std::size_t maximum, ReceiveHandler handler) override;
    /// Once.
    void send(ViewerHostResponseBytes message, SendHandler handler) override;
    void cancel() override;

  private:
    enum class Answer { none, underWay, taken, lost };

    void started();
    void received(const boost::system::error_code& error, std::size_t bytes);
    void sendOnQueue(ViewerHostResponseBytes message, SendHandler handler);
    void sendRest();
    void endSend(Answer answer);
    std::array<boost::asio::const_buffer, 2> unsent() const;
    void cancelOnQueue();
    void endSocket();

    const ViewerExecutor queue_;
    const std::shared_ptr<ViewerLingeringSockets> ending_;

    // What follows is touched on the queue only; the state handler also before the start.
    StateHandler stateHandler_;
    bool isStarted_ = false;
    bool isCancelled_ = false;

    ReceiveHandler receiveHandler_;
    /// Not written before something is received, and never more than that.
    std::array<std::uint8_t, 1024> receiveBuffer_;

    Answer answer_ = Answer::none;
    SendHandler sendHandler_;
    std::optional<ViewerHostResponseBytes> message_;
    std::size_t sentBytes_ = 0;

    /// Behind the buffers, so that it is closed before they go.
    Socket socket_;
};

}  // namespace velmora
