#include "tests/acceptance/mac/MacClient.h"

#include <chrono>

#include "tests/mac/frameworks/network/FakeListener.h"

namespace velmora {

MacClient::MacClient(MacHost& host) : host_(host) {
    host_.perform([this] { peer_ = FakeListener::last()->connect(); });
}

bool MacClient::send(std::string_view bytes) {
    host_.perform([this, bytes] { peer_->deliver(std::string(bytes)); });
    return true;
}

void MacClient::endSending() {
    host_.perform([this] { peer_->deliverEnd(); });
}

HTTPAnswer MacClient::receive() {
    constexpr std::chrono::milliseconds step{10};
    constexpr int steps = 3000;
    for (int i = 0; i < steps && !peer_->isOver(); ++i) {
        host_.advance(step);
    }
    return {peer_->received(), peer_->isOver()};
}

HTTPAnswer MacClient::get(MacHost& host, std::string_view target) {
    MacClient client(host);
    client.send("GET " + std::string(target) + " HTTP/1.1\r\nHost: host\r\n\r\n");
    return client.receive();
}

}  // namespace velmora
