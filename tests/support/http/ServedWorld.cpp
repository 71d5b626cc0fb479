#include "tests/support/http/ServedWorld.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "tests/support/runtime/BorrowedClock.h"

namespace velmora {

ServedWorld::ServedWorld(std::uint64_t seed) : world(seed) {
    provider->listed.emplace_back("one", "First", 640, 360);
    provider->frames.emplace("one",
                             ViewerHostFrame(ViewerBytes(std::string_view("JPEG")), "label-1"));
    auto gated = std::make_shared<PausingFrameProvider>(provider, [this] { return gate.pass(); });
    server = std::make_shared<ViewerHTTPServer>(std::move(gated), requestedPort, "machine",
                                                transport, world, borrowedClock(world));
}

void ServedWorld::listen() {
    (void)start();  // every test of the start itself looks at its outcome
    world.settle();
    listener().becomeReady(requestedPort);
    world.settle();
}

std::vector<std::shared_ptr<ScriptedPeer>> ServedWorld::connect(std::size_t count) {
    std::vector<std::shared_ptr<ScriptedPeer>> peers;
    peers.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        peers.push_back(listener().connect());
    }
    return peers;
}

std::size_t ServedWorld::shutdowns() const {
    return static_cast<std::size_t>(std::ranges::count(provider->calls, "shutdown"));
}

ViewerTask<bool> ServedWorld::completed(ViewerTask<void> operation) {
    co_await std::move(operation);
    co_return true;
}

std::size_t startedCount(const std::vector<std::shared_ptr<ScriptedPeer>>& peers) {
    return static_cast<std::size_t>(
        std::ranges::count_if(peers, [](const auto& peer) { return peer->isStarted(); }));
}

}  // namespace velmora
