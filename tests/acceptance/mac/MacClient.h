#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tests/acceptance/mac/MacHost.h"
#include "tests/mac/frameworks/network/FakeConnection.h"
#include "tests/support/system/HTTPClient.h"

namespace velmora {

/// One connection to the host on the doubles, as seen from its client. Used on the test's thread.
class MacClient final {
  public:
    explicit MacClient(MacHost& host);

    /// Always true: the doubles take everything.
    bool send(std::string_view bytes);
    void endSending();
    /// Everything until the host ends the connection, however much virtual time that takes.
    HTTPAnswer receive();
    /// What has come so far.
    std::string received() const { return peer_->received(); }
    bool isOver() const { return peer_->isOver(); }
    FakeConnection& peer() const { return *peer_; }

    /// One request of its own connection.
    static HTTPAnswer get(MacHost& host, std::string_view target);

  private:
    MacHost& host_;
    std::shared_ptr<FakeConnection> peer_;
};

}  // namespace velmora
