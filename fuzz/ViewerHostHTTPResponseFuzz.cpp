// A response's bytes are its lines in their order, and its body untouched.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/protocol/ViewerHostHTTPResponse.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora {
namespace {

std::string expectedHead(const ViewerHostHTTPResponse& response) {
    std::vector<std::string> lines{
        "HTTP/1.1 " + std::to_string(response.status) + " " + std::string(response.reason),
        "Content-Type: " + std::string(response.contentType),
        "Content-Length: " + std::to_string(response.body.size()), "Cache-Control: no-store",
        "Connection: close"};
    if (response.frameSequence) {
        lines.push_back("X-Velmora-Frame: " + std::string(*response.frameSequence));
    }
    std::string head;
    for (const std::string& line : lines) {
        head += line;
        head += "\r\n";
    }
    return head + "\r\n";
}

}  // namespace
}  // namespace velmora

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace velmora;
    FuzzedDataProvider source(bytes, size);
    const auto status = source.ConsumeIntegral<std::int64_t>();
    const std::string reason = source.ConsumeRandomLengthString();
    const std::string contentType = source.ConsumeRandomLengthString();
    std::optional<ViewerText> sequence;
    if (source.ConsumeBool()) {
        sequence = source.ConsumeRandomLengthString();
    }
    const ViewerHostHTTPResponse response(status, reason, contentType,
                                          ViewerBytes(source.ConsumeRemainingBytes<std::uint8_t>()),
                                          std::move(sequence));

    const ViewerHostResponseBytes wire = response.serialized();
    viewerCheck(wire.head == expectedHead(response), "the head is its lines in their order");
    viewerCheck(wire.body.data() == response.body.data(), "the body is not copied");
    return 0;
}
