#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

struct wl_display;

namespace velmora {

/// One connection to a Wayland compositor. A compositor that dies only makes every later call fail
/// quietly. One thread at a time.
class ViewerWaylandConnection final {
  public:
    /// What came of a try to connect.
    struct Attempt final {
        /// Null when there is none to be had.
        std::unique_ptr<ViewerWaylandConnection> connection;
        /// Whether somebody holds the socket, and only takes up nobody.
        bool isBusy = false;
    };

    /// Connects to the compositor behind a socket. Never blocks: a compositor that hangs is noticed
    /// by its silence.
    static Attempt connect(const std::string& socketPath);

    ~ViewerWaylandConnection();
    ViewerWaylandConnection(const ViewerWaylandConnection&) = delete;
    ViewerWaylandConnection& operator=(const ViewerWaylandConnection&) = delete;

    wl_display* display() const { return display_; }
    /// Becomes readable when there is something to exchange, and when the connection has ended.
    int descriptor() const;

    /// Sends what is waiting to be sent and lets the listeners have what has arrived. Never blocks.
    /// False once the connection has ended.
    bool exchange();
    /// Exchanges until `isDone`. False when that did not come about by the deadline, or the
    /// connection ended. Blocks.
    bool exchangeUntil(const std::function<bool()>& isDone,
                       std::chrono::steady_clock::time_point deadline);

    /// Exchanges until the compositor has answered to everything that was asked before. False as
    /// above.
    bool roundTrip(std::chrono::steady_clock::time_point deadline);

  private:
    explicit ViewerWaylandConnection(wl_display* display) : display_(display) {}

    wl_display* const display_;
};

}  // namespace velmora
