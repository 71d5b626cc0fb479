#include "bench/polling/Pollers.h"

#include <thread>
#include <utility>

#include "tests/support/system/HostAnswers.h"

namespace velmora::bench {

using Clock = std::chrono::steady_clock;

void Pollers::poll(std::chrono::seconds duration) {
    constexpr std::chrono::milliseconds pause{100};
    const Clock::time_point begin = Clock::now();
    std::size_t seconds = 0;
    for (Clock::time_point next = begin; next < begin + duration; next += pause) {
        std::this_thread::sleep_until(next);
        look();
        if (next - begin >= std::chrono::seconds(seconds)) {
            (void)HTTPClient::get("/viewer/v1/displays");  // what it costs is all that counts
            harass(seconds++);
        }
    }
}

void Pollers::look() {
    for (const std::string& each : ids_) {
        const HTTPAnswer answer = HTTPClient::get(frameTarget(each));
        const bool isFrame = answer.status() == 200 && answer.isWhole;
        ++(isFrame ? frames_ : refusals_);
        const std::string label = answer.header("X-Velmora-Frame").value_or("");
        newFrames_ += isFrame && std::exchange(labels_[each], label) != label ? 1U : 0U;
    }
}

void Pollers::harass(std::size_t second) {
    constexpr std::size_t manners = 6;
    const std::string request = "GET " + frameTarget(ids_.front()) + " HTTP/1.1\r\n\r\n";
    HTTPClient client = second % manners == 0 ? HTTPClient::takingIn(1) : HTTPClient();
    switch (second % manners) {
        case 0:  // asks, and takes in next to nothing
            (void)client.send(request);
            break;
        case 1:  // says nothing
            break;
        case 2:  // half a request
            (void)client.send(request.substr(0, request.size() / 2));
            break;
        case 3:  // anything but a request; what is refused of it does not matter
            (void)client.send(std::string(100'000, '\xff'));
            break;
        case 4:  // a head without an end
            (void)client.send("GET / HTTP/1.1\r\nX: " + std::string(100'000, 'x'));
            break;
        default:  // asks, and is gone
            (void)client.send(request);
            client.reset();
            return;
    }
    open_.push_back(std::move(client));
}

}  // namespace velmora::bench
