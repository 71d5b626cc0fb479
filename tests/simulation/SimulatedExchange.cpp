#include "tests/simulation/SimulatedExchange.h"

#include <utility>

namespace velmora {

namespace {

constexpr std::string_view headEnd = " HTTP/1.1\r\nHost: host\r\nAccept: */*\r\n\r\n";
constexpr std::size_t headLimit = 8'192;

/// A head whose last byte decides.
SimulatedExchange head(std::string request, SimulatedAnswer answer, std::string displayID = "") {
    const std::size_t size = request.size();
    return {std::move(request), answer, size, std::move(displayID)};
}

SimulatedExchange get(std::string_view target, SimulatedAnswer answer, std::string displayID = "") {
    return head(std::string("GET ").append(target).append(headEnd), answer, std::move(displayID));
}

/// Every character that is not plain as an escape, and by chance some that are.
std::string escaped(SimulatedWorld& world, std::string_view text) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string result;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        const bool isPlain = byte > ' ' && byte < 0x7F && character != '%';
        if (isPlain && world.choose(8) != 0) {
            result += character;
        } else {
            result += {'%', digits[byte / 16U], digits[byte % 16U]};
        }
    }
    return result;
}

/// A request that fills the largest head but for `missing` bytes.
SimulatedExchange largest(std::size_t missing) {
    std::string text = "GET /viewer/v1/displays HTTP/1.1\r\nName: ";
    constexpr std::string_view end = "\r\n\r\n";
    text.append(headLimit - missing - end.size() - text.size(), 'x').append(end);
    return head(std::move(text), SimulatedAnswer::listing);
}

/// More than a head may have, with its end or without.
SimulatedExchange tooLarge(SimulatedWorld& world) {
    std::string text = "GET / HTTP/1.1\r\nName: ";
    text.append(headLimit - text.size() + world.choose(600), 'x');
    return {std::move(text), SimulatedAnswer::headersTooLarge, headLimit, ""};
}

/// A part of a head, and what it never becomes.
SimulatedExchange part(SimulatedWorld& world) {
    std::string whole = "GET /viewer/v1/displays HTTP/1.1\r\nHost: host\r\n\r\n";
    whole.resize(world.choose(whole.size()));
    return {std::move(whole), SimulatedAnswer::none, headLimit, ""};
}

SimulatedExchange oddRequest(SimulatedWorld& world) {
    switch (world.choose(9)) {
        case 0:
            return get("/viewer/v1/displays/", SimulatedAnswer::notFound);
        case 1:
            return get("/viewer/v1/frame?id=%G1", SimulatedAnswer::notFound);
        case 2:
            return head("POST /viewer/v1/displays HTTP/1.1\r\n\r\n",
                        SimulatedAnswer::methodNotAllowed);
        case 3:
            return head("GET /a b HTTP/1.1\r\n\r\n", SimulatedAnswer::methodNotAllowed);
        case 4:
            return head("GET / HTTP/1.1\r\nName: \xC3\xA4\r\n\r\n",
                        SimulatedAnswer::methodNotAllowed);
        case 5:
            return tooLarge(world);
        case 6:
            return largest(world.choose(2));
        case 7:
            return get("/viewer/v1/frame?id=unknown", SimulatedAnswer::frame, "unknown");
        default:
            return part(world);
    }
}

}  // namespace

SimulatedExchange frameExchange(SimulatedWorld& world, const std::string& displayID) {
    return get("/viewer/v1/frame?id=" + escaped(world, displayID), SimulatedAnswer::frame,
               displayID);
}

SimulatedExchange anyExchange(SimulatedWorld& world, const std::vector<std::string>& displayIDs) {
    SimulatedExchange exchange;
    switch (world.choose(12)) {
        case 0:
            exchange = get("/viewer/v1/displays", SimulatedAnswer::listing);
            break;
        case 1:
        case 2:
            exchange = oddRequest(world);
            break;
        default:
            exchange = frameExchange(world, displayIDs[world.choose(displayIDs.size())]);
    }
    const bool isHead = exchange.decidingBytes == exchange.request.size();
    if (isHead && exchange.request.size() < headLimit / 2 && world.choose(6) == 0) {
        exchange.request.append("GET /viewer/v1/displays HTTP/1.1\r\n\r\n");
    }
    return exchange;
}

std::string responseText(std::string_view status, std::string_view type, std::string_view body,
                         std::string_view label) {
    std::string response = "HTTP/1.1 ";
    response.append(status).append("\r\nContent-Type: ").append(type);
    response.append("\r\nContent-Length: ").append(std::to_string(body.size()));
    response.append("\r\nCache-Control: no-store\r\nConnection: close\r\n");
    if (!label.empty()) {
        response.append("X-Velmora-Frame: ").append(label).append("\r\n");
    }
    return response.append("\r\n").append(body);
}

std::string listingText(const std::vector<ViewerHostDisplay>& displays) {
    std::string body = R"({"protocol":"Velmora.Windows.ViewerHost","version":1,)"
                       R"("machineName":"Simulated \"machine\"","displays":[)";
    bool isFirst = true;
    for (const ViewerHostDisplay& display : displays) {
        body.append(isFirst ? "" : ",").append(R"({"id":")").append(display.id);
        body.append(R"(","name":")").append(display.name);
        body.append(R"(","width":)").append(std::to_string(display.width));
        body.append(R"(,"height":)").append(std::to_string(display.height)).append("}");
        isFirst = false;
    }
    return responseText("200 OK", "application/json", body.append("]}"));
}

std::string fixedResponse(SimulatedAnswer answer) {
    switch (answer) {
        case SimulatedAnswer::notFound:
            return responseText("404 Not Found", "text/plain", "");
        case SimulatedAnswer::methodNotAllowed:
            return responseText("405 Method Not Allowed", "text/plain", "");
        case SimulatedAnswer::headersTooLarge:
            return responseText("431 Request Header Fields Too Large", "text/plain", "");
        default:
            return "";
    }
}

std::string unavailableResponse() {
    return responseText("503 Service Unavailable", "text/plain", "");
}

}  // namespace velmora
