// Tells what parser and router make of bytes, for another program that compares it. Reads a machine
// and then, up to the end, what connections have received; writes one answer for each.
// A number has 8 bytes, a text its length in 4 and then its bytes, the lowest byte first.
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/protocol/ViewerHostRequestParser.h"
#include "core/protocol/ViewerHostRouter.h"
#include "core/runtime/ViewerCheck.h"
#include "tests/support/http/FakeFrameProvider.h"

namespace velmora {
namespace {

/// The number in the next `bytes` bytes, or nothing at the end.
std::optional<std::uint64_t> readNumber(std::size_t bytes) {
    std::uint64_t number = 0;
    for (std::size_t index = 0; index < bytes; ++index) {
        const int byte = std::getchar();
        if (byte == EOF) {
            viewerCheck(index == 0, "the input ends behind a text");
            return std::nullopt;
        }
        number |= static_cast<std::uint64_t>(byte) << (8 * index);
    }
    return number;
}

std::optional<std::string> readText() {
    const auto length = readNumber(4);
    if (!length) {
        return std::nullopt;
    }
    std::string text(*length, '\0');
    viewerCheck(std::fread(text.data(), 1, text.size(), stdin) == text.size(), "a text is whole");
    return text;
}

void writeText(const std::string& text) {
    for (std::size_t index = 0; index < 4; ++index) {
        (void)std::putchar(static_cast<int>((text.size() >> (8 * index)) & 0xFFU));  // see fflush
    }
    (void)std::fwrite(text.data(), 1, text.size(), stdout);  // see fflush
}

/// The first of several displays with the same id counts, its frame as well.
std::shared_ptr<FakeFrameProvider> readDisplays() {
    auto provider = std::make_shared<FakeFrameProvider>();
    const std::uint64_t count = readNumber(8).value();
    for (std::uint64_t index = 0; index < count; ++index) {
        const std::string id = readText().value();
        const std::string name = readText().value();
        const auto width = static_cast<std::int64_t>(readNumber(8).value());
        const auto height = static_cast<std::int64_t>(readNumber(8).value());
        const auto frameBytes = static_cast<std::int64_t>(readNumber(8).value());
        bool isFirst = true;
        for (const ViewerHostDisplay& display : provider->listed) {
            isFirst = isFirst && display.id != id;
        }
        provider->listed.emplace_back(id, name, width, height);
        if (isFirst && frameBytes >= 0) {
            std::vector<std::uint8_t> jpeg(static_cast<std::size_t>(frameBytes), 0xD8);
            provider->frames.emplace(
                id, ViewerHostFrame(ViewerBytes(std::move(jpeg)), "label of " + id));
        }
    }
    return provider;
}

/// A frame is told by its length.
std::string answerText(const ViewerHostHTTPResponse& response) {
    const ViewerHostResponseBytes bytes = response.serialized();
    const bool isFrame = response.contentType == "image/jpeg";
    return "answer\n" + std::string(bytes.head) +
           (isFrame ? std::to_string(bytes.body.size()) + " bytes"
                    : std::string(bytes.body.text()));
}

ViewerTask<void> keep(ViewerTask<ViewerHostHTTPResponse> routing,
                      std::shared_ptr<std::optional<ViewerHostHTTPResponse>> response) {
    response->emplace(co_await std::move(routing));
}

std::string routed(const ViewerHostRouter& router, FakeFrameProvider& provider,
                   const ViewerHostRequest& request) {
    boost::asio::io_context context;
    const auto response = std::make_shared<std::optional<ViewerHostHTTPResponse>>();
    provider.calls.clear();
    boost::asio::co_spawn(ViewerExecutor(context.get_executor()),
                          keep(router.response(request), response), boost::asio::detached);
    context.run();
    std::string text = "request " + request.method + " " + std::string(request.target) + "\n";
    for (const std::string& call : provider.calls) {
        text += call + "\n";
    }
    return text + answerText(response->value());
}

std::string decided(const ViewerHostRouter& router, FakeFrameProvider& provider,
                    const std::string& text) {
    const std::vector<std::uint8_t> data(text.begin(), text.end());
    const ViewerHostRequestParseResult result = ViewerHostRequestParser::parse(data);
    switch (result.which()) {
        case ViewerHostRequestParseResult::Case::request:
            return routed(router, provider, result.payload());
        case ViewerHostRequestParseResult::Case::incomplete:
            return "incomplete";
        case ViewerHostRequestParseResult::Case::methodNotAllowed:
            return answerText(ViewerHostHTTPResponse::methodNotAllowed());
        case ViewerHostRequestParseResult::Case::headersTooLarge:
            return answerText(ViewerHostHTTPResponse::headersTooLarge());
    }
    return "no outcome of these";
}

}  // namespace
}  // namespace velmora

int main() {
    using namespace velmora;
    const std::string machineName = readText().value();
    const std::shared_ptr<FakeFrameProvider> provider = readDisplays();
    const ViewerHostRouter router(provider, machineName);
    while (const std::optional<std::string> data = readText()) {
        writeText(decided(router, *provider, *data));
    }
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 ? 0 : 1;
}
