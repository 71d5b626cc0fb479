// Any bytes of one connection, in any deliveries, have one outcome, and that outcome obeys the
// limits.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "core/protocol/ViewerHostRequestParser.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Result = ViewerHostRequestParseResult;

constexpr std::size_t limit = ViewerHostProtocolV1::maxRequestHeaderBytes;
constexpr std::size_t longestDelivery = 1024;

/// Bytes made of what requests are made of, of single bytes and of runs long enough for the limit.
Bytes arbitraryBytes(FuzzedDataProvider& choices) {
    constexpr std::array<std::string_view, 11> words{
        "GET ",     "GET", "POST ",          "/a", " ", "\r\n", "\r", "HTTP/1.1",
        "\r\n\r\n", "\n",  "Content-Length:"};
    Bytes data;
    const auto count = choices.ConsumeIntegralInRange<std::size_t>(0, 24);
    for (std::size_t index = 0; index < count; ++index) {
        const auto choice = choices.ConsumeIntegralInRange<std::size_t>(0, words.size() + 1);
        if (choice < words.size()) {
            data.insert(data.end(), words[choice].begin(), words[choice].end());
            continue;
        }
        const std::size_t length =
            choice == words.size() ? 1 : choices.ConsumeIntegralInRange<std::size_t>(0, limit + 8);
        data.insert(data.end(), length, choices.ConsumeIntegral<std::uint8_t>());
    }
    return data;
}

/// The outcome of the first `length` bytes, which lie in memory of exactly that length.
Result parsePrefix(const Bytes& data, std::size_t length) {
    return ViewerHostRequestParser::parse(
        Bytes(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(length)));
}

/// The first outcome other than `incomplete` as the deliveries arrive.
Result deliver(const Bytes& data, FuzzedDataProvider& choices) {
    std::size_t length = 0;
    while (length < data.size()) {
        // Deliveries are at their longest once the choices have run out.
        const auto shortfall = choices.ConsumeIntegralInRange<std::size_t>(0, longestDelivery - 1);
        length = std::min(data.size(), length + longestDelivery - shortfall);
        const Result result = parsePrefix(data, length);
        if (result != Result::incomplete()) {
            return result;
        }
    }
    return Result::incomplete();
}

bool isRequestLineOf(const std::string& text, const ViewerHostRequest& request) {
    const std::string line = text.substr(0, text.find("\r\n"));
    const std::size_t method = line.find_first_not_of(' ');
    const std::size_t target = line.find_first_not_of(' ', method + request.method.size());
    const std::string_view taken = request.target;
    return request.method == "GET" && line.compare(method, 3, "GET") == 0 &&
           line[method + 3] == ' ' && !taken.empty() && taken.find(' ') == std::string::npos &&
           line.compare(target, taken.size(), taken) == 0;
}

void checkOutcome(const Bytes& data, const Result& whole) {
    const std::string text(data.begin(), data.end());
    const bool isTerminated = text.find("\r\n\r\n") != std::string::npos;
    const bool isTooLarge = data.size() > limit || (data.size() == limit && !isTerminated);
    viewerCheck((whole == Result::headersTooLarge()) == isTooLarge, "the limit is exact");
    viewerCheck((whole == Result::incomplete()) == (!isTooLarge && !isTerminated),
                "only a short head without its end is incomplete");
    const bool hasMore = ViewerHostRequestParser::hasMoreThanHead(data);
    viewerCheck(isTerminated || !hasMore, "without an end there is no head");
    viewerCheck(!isTerminated || text.find("\r\n\r\n") + 4 == text.size() || hasMore,
                "what stands behind a head is more than it");
    if (whole.which() == Result::Case::request) {
        viewerCheck(std::ranges::all_of(data, [](std::uint8_t byte) { return byte <= 0x7F; }),
                    "a request is ASCII");
        viewerCheck(isRequestLineOf(text, whole.payload()), "a request is what its line says");
    }
}

}  // namespace
}  // namespace velmora

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace velmora;
    FuzzedDataProvider choices(bytes, size);
    const Bytes data = arbitraryBytes(choices);
    const Result whole = parsePrefix(data, data.size());
    checkOutcome(data, whole);
    const Result delivered = deliver(data, choices);
    if (whole.which() == Result::Case::request || whole == Result::incomplete()) {
        viewerCheck(delivered == whole, "the deliveries do not change a request");
    } else {
        viewerCheck(delivered != Result::incomplete(), "an outcome is never taken back");
    }
    return 0;
}
