// Whatever the bytes of an alert's message, they are decoded to what encodes to the same bytes, or
// to nothing; and every alert with a button arrives as it was sent.
#include "app/linux/ViewerAlertMessage.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "core/runtime/ViewerCheck.h"

namespace velmora {
namespace {

std::string arbitraryText(FuzzedDataProvider& source) {
    return source.ConsumeRandomLengthString(300);
}

ViewerAlertMessage arbitraryMessage(FuzzedDataProvider& source) {
    const auto style = static_cast<ViewerAlertStyle>(
        source.ConsumeIntegralInRange<int>(0, static_cast<int>(ViewerAlertStyle::critical)));
    std::string folder = arbitraryText(source);
    std::string title = arbitraryText(source);
    std::string text = arbitraryText(source);
    std::vector<std::string> buttons{arbitraryText(source)};
    while (source.remaining_bytes() > 0) {
        buttons.push_back(arbitraryText(source));
    }
    ViewerAlert alert(style, std::move(title), std::move(text), std::move(buttons));
    return {std::move(alert), std::move(folder)};
}

}  // namespace
}  // namespace velmora

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velmora;
    const std::span<const std::uint8_t> bytes(data, size);
    if (const auto message = ViewerAlertMessage::decoded(bytes)) {
        viewerCheck(std::ranges::equal(message->encoded(), bytes), "a message has one encoding");
    }
    FuzzedDataProvider source(data, size);
    const ViewerAlertMessage message = arbitraryMessage(source);
    viewerCheck(ViewerAlertMessage::decoded(message.encoded()) == message,
                "a message arrives as it was sent");
    return 0;
}
