#include "tests/simulation/SimulatedExchange.h"

#include <string_view>
#include <utility>

namespace velmora {

namespace {

constexpr const char* headersEnd = " HTTP/1.1\r\nHost: host\r\nAccept: */*\r\n\r\n";

std::string text(std::string_view status, std::string_view type, std::string_view body,
                 std::string_view moreHeaders = "") {
    std::string response = "HTTP/1.1 ";
    response.append(status).append("\r\nContent-Type: ").append(type);
    response.append("\r\nContent-Length: ").append(std::to_string(body.size()));
    response.append("\r\nCache-Control: no-store\r\nConnection: close\r\n");
    response.append(moreHeaders).append("\r\n").append(body);
    return response;
}

std::string error(std::string_view status) {
    return text(status, "text/plain", "");
}

std::string get(std::string_view target) {
    return std::string("GET ").append(target).append(headersEnd);
}

std::string bigFrame() {
    std::string bytes;
    for (int i = 0; i < 30'000; ++i) {
        bytes.push_back(static_cast<char>(i * 7));
    }
    return bytes;
}

std::vector<SimulatedExchange> makeExchanges() {
    const std::string listing =
        R"({"protocol":"Velmora.Windows.ViewerHost","version":1,"machineName":"Simulated machine",)"
        R"("displays":[{"id":"one","name":"First","width":640,"height":360},)"
        R"({"id":"two words","name":"Second","width":576,"height":360},)"
        R"({"id":"none","name":"Third","width":1,"height":1},)"
        R"({"id":"slow","name":"Fourth","width":2,"height":2}]})";
    const auto frame = [](std::string_view body, std::string_view label) {
        const std::string header = std::string("X-Velmora-Frame: ").append(label).append("\r\n");
        return text("200 OK", "image/jpeg", body, header);
    };
    const std::string notFound = error("404 Not Found");
    const std::string notAllowed = error("405 Method Not Allowed");
    return {
        {get("/viewer/v1/displays"), text("200 OK", "application/json", listing)},
        {get("/viewer/v1/frame?id=one"), frame("tiny", "label-1")},
        {get("/viewer/v1/frame?id=two%20words"), frame(bigFrame(), "label-2")},
        {get("/viewer/v1/frame?id=none"), error("503 Service Unavailable")},
        {get("/viewer/v1/frame?id=slow"), frame("slow one", "label-3"), true},
        {get("/viewer/v1/frame?id=three"), notFound},
        {get("/viewer/v1/frame?id=%G1"), notFound},
        {get("/"), notFound},
        {get("/viewer/v1/displays") + get("/"), text("200 OK", "application/json", listing)},
        {"POST /viewer/v1/displays HTTP/1.1\r\n\r\nbody", notAllowed},
        {"GET /a b HTTP/1.1\r\n\r\n", notAllowed},
        {"GET / HTTP/1.1\r\nName: \xC3\xA4\r\n\r\n", notAllowed},
        {"GET / HTTP/1.1\r\nName: " + std::string(9'000, 'x'),
         error("431 Request Header Fields Too Large")},
        {"GET /viewer/v1/displays HTTP/1.1\r\nHost: host\r\n", std::nullopt},
        {"", std::nullopt},
    };
}

}  // namespace

std::shared_ptr<FakeFrameProvider> makeSimulatedProvider() {
    auto provider = std::make_shared<FakeFrameProvider>();
    provider->listed.emplace_back("one", "First", 640, 360);
    provider->listed.emplace_back("two words", "Second", 576, 360);
    provider->listed.emplace_back("none", "Third", 1, 1);
    provider->listed.emplace_back(slowDisplay, "Fourth", 2, 2);
    const auto add = [&provider](const char* id, std::string_view jpeg, const char* label) {
        provider->frames.emplace(id, ViewerHostFrame(ViewerBytes(jpeg), label));
    };
    add("one", "tiny", "label-1");
    add("two words", bigFrame(), "label-2");
    add(slowDisplay, "slow one", "label-3");
    return provider;
}

const std::vector<SimulatedExchange>& simulatedExchanges() {
    static const std::vector<SimulatedExchange> exchanges = makeExchanges();
    return exchanges;
}

}  // namespace velmora
