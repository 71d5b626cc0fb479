#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/http/ViewerConnectionHandler.h"
#include "tests/support/http/FakeFrameProvider.h"
#include "tests/support/http/PausingFrameProvider.h"
#include "tests/support/http/ScriptedPeer.h"
#include "tests/support/runtime/BorrowedClock.h"
#include "tests/support/runtime/ScriptedGate.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {

/// One handler on a scripted connection in a simulated world. The provider has the display "one"
/// with the frame "JPEG"; before it answers it makes the pause, which normally is the gate.
class HandledConnection final {
  public:
    static constexpr std::string_view frameRequest =
        "GET /viewer/v1/frame?id=one HTTP/1.1\r\nHost: h\r\n\r\n";
    static constexpr const char* frameResponse =
        "HTTP/1.1 200 OK\r\nContent-Type: image/jpeg\r\nContent-Length: 4\r\n"
        "Cache-Control: no-store\r\nConnection: close\r\nX-Velmora-Frame: label-1\r\n\r\nJPEG";
    static constexpr const char* methodNotAllowedResponse =
        "HTTP/1.1 405 Method Not Allowed\r\nContent-Type: text/plain\r\nContent-Length: 0\r\n"
        "Cache-Control: no-store\r\nConnection: close\r\n\r\n";
    static constexpr const char* headersTooLargeResponse =
        "HTTP/1.1 431 Request Header Fields Too Large\r\nContent-Type: text/plain\r\n"
        "Content-Length: 0\r\nCache-Control: no-store\r\nConnection: close\r\n\r\n";

    explicit HandledConnection(ScriptedPeer::Network network = {})
        : peer(std::make_shared<ScriptedPeer>(network)) {
        provider->listed.emplace_back("one", "First", 640, 360);
        provider->frames.emplace("one",
                                 ViewerHostFrame(ViewerBytes(std::string_view("JPEG")), "label-1"));
        auto pausing = std::make_shared<PausingFrameProvider>(provider, [this] { return pause(); });
        handler = std::make_shared<ViewerConnectionHandler>(
            peer->makeConnection(),
            std::make_shared<ViewerHostRouter>(std::move(pausing), "machine"),
            world.makeSerialExecutor("http"), [this] { ++finishes; }, world, borrowedClock(world));
    }

    SimulatedWorld world;
    ScriptedGate gate;
    PausingFrameProvider::Pause pause = [this] { return gate.pass(); };
    std::shared_ptr<FakeFrameProvider> provider = std::make_shared<FakeFrameProvider>();
    std::shared_ptr<ScriptedPeer> peer;
    int finishes = 0;
    std::shared_ptr<ViewerConnectionHandler> handler;
};

}  // namespace velmora
