#pragma once

#include <memory>
#include <string>
#include <utility>

#include "core/runtime/linux/ViewerBoottimeClock.h"
#include "tests/http/linux/AnsweringServer.h"
#include "tests/http/linux/LoopThread.h"
#include "tests/http/linux/SocketClient.h"

namespace velmora {

/// An answering server on a loop of its own, ready for clients.
class AnsweringWorld final {
  public:
    explicit AnsweringWorld(ViewerHostResponseBytes answer,
                            std::shared_ptr<ViewerContinuousClock> clock = nullptr)
        : server(loop.executor(),
                 clock ? std::move(clock) : std::make_shared<ViewerBoottimeClock>(loop.context()),
                 std::move(answer)) {
        server.start();
        isReady = server.log.waitFor("ready");
    }
    ~AnsweringWorld() { loop.stop(); }
    AnsweringWorld(const AnsweringWorld&) = delete;
    AnsweringWorld& operator=(const AnsweringWorld&) = delete;

    SocketClient connect() const { return SocketClient(server.port()); }

    LoopThread loop;
    AnsweringServer server;
    bool isReady = false;
};

}  // namespace velmora
