// Whatever one client sends in whatever deliveries, its connection is answered at most once, by
// what parser and router say of what had arrived by then, and ends within its time.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/http/ViewerConnectionHandler.h"
#include "core/protocol/ViewerHostProtocolV1.h"
#include "core/protocol/ViewerHostRequestParser.h"
#include "core/runtime/ViewerCheck.h"
#include "tests/support/http/FakeFrameProvider.h"
#include "tests/support/http/JoinedBytes.h"
#include "tests/support/http/ScriptedPeer.h"
#include "tests/support/runtime/BorrowedClock.h"
#include "tests/support/runtime/SimulatedWorld.h"
#include "tests/support/runtime/SpawnedAnswer.h"

namespace velmora {
namespace {

constexpr std::size_t longestDelivery = 1024;

std::shared_ptr<FakeFrameProvider> displays() {
    auto provider = std::make_shared<FakeFrameProvider>();
    for (const char* const id : {"1", "a b", "\u00e9", ""}) {
        provider->listed.emplace_back(id, "Display", 640, 360);
    }
    provider->frames.emplace("1", ViewerHostFrame(ViewerBytes(std::string_view("JPEG")), "label"));
    provider->frames.emplace("a b", ViewerHostFrame(ViewerBytes(), "label"));
    return provider;
}

struct Client final {
    std::vector<std::string> deliveries;
    bool endsItsSide;
};

/// The input's bytes, with a run of one byte somewhere that makes a head about as long as it may be
/// where the input says so, cut anywhere.
Client arbitraryClient(FuzzedDataProvider& choices) {
    constexpr std::size_t longestRun = ViewerHostProtocolV1::maxRequestHeaderBytes + 8;
    Client client;
    client.endsItsSide = choices.ConsumeBool();
    const std::size_t run =
        choices.ConsumeBool() ? choices.ConsumeIntegralInRange<std::size_t>(0, longestRun) : 0;
    const auto place = choices.ConsumeIntegral<std::uint16_t>();
    const char filling = choices.ConsumeIntegral<char>();
    std::vector<std::size_t> lengths(choices.ConsumeIntegralInRange<std::size_t>(0, 12));
    for (std::size_t& length : lengths) {
        length = choices.ConsumeIntegralInRange<std::size_t>(1, longestDelivery);
    }
    std::string text = choices.ConsumeRemainingBytesAsString();
    text.insert(std::min<std::size_t>(place, text.size()), run, filling);
    for (std::size_t begin = 0, index = 0; begin < text.size(); ++index) {
        const std::size_t length = index < lengths.size() ? lengths[index] : longestDelivery;
        client.deliveries.push_back(text.substr(begin, length));
        begin += client.deliveries.back().size();
    }
    return client;
}

/// What has to be answered to these deliveries; empty where nothing is.
std::string expectedAnswer(const Client& client) {
    using Case = ViewerHostRequestParseResult::Case;
    std::vector<std::uint8_t> received;
    for (const std::string& delivery : client.deliveries) {
        received.insert(received.end(), delivery.begin(), delivery.end());
        const auto result = ViewerHostRequestParser::parse(received);
        if (result.which() == Case::methodNotAllowed) {
            return joined(ViewerHostHTTPResponse::methodNotAllowed().serialized());
        }
        if (result.which() == Case::headersTooLarge) {
            return joined(ViewerHostHTTPResponse::headersTooLarge().serialized());
        }
        if (result.which() == Case::request) {
            SimulatedWorld world;
            const ViewerHostRouter router(displays(), "machine");
            const SpawnedAnswer answer(world, router.response(result.payload()));
            world.settle();
            return joined(answer.value().serialized());
        }
    }
    return {};
}

}  // namespace
}  // namespace velmora

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace velmora;
    FuzzedDataProvider choices(bytes, size);
    const Client client = arbitraryClient(choices);

    SimulatedWorld world;
    int finishes = 0;
    const auto peer = std::make_shared<ScriptedPeer>();
    auto handler = std::make_shared<ViewerConnectionHandler>(
        peer->makeConnection(), std::make_shared<const ViewerHostRouter>(displays(), "machine"),
        world.makeSerialExecutor("http"), [&finishes] { ++finishes; }, world, borrowedClock(world));
    handler->start();
    for (const std::string& delivery : client.deliveries) {
        peer->send(delivery);
        world.settle();
    }
    if (client.endsItsSide) {
        peer->end();
        world.settle();
        viewerCheck(finishes == 1, "a client that ends its side is done with");
    }
    world.advance(ViewerHostProtocolV1::requestTimeout);
    viewerCheck(finishes == 1, "every connection ends once, in time");
    const std::vector<std::string> messages = peer->messages();
    const std::string expected = expectedAnswer(client);
    viewerCheck(messages.size() == (expected.empty() ? 0 : 1), "there is one answer or none");
    viewerCheck(messages.empty() || messages.front() == expected, "the answer is the right one");
    viewerCheck(peer->sendsAfterCancel() == 0, "nothing is sent behind the end");
    handler.reset();
    world.runToEnd();
    viewerCheck(peer->isDropped(), "nothing keeps an ended connection");
    return 0;
}
