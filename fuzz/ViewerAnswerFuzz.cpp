// Whatever a host sends behind a proper head, a listing that is taken is one, a picture has a size,
// a label its form, and no name speaks to a terminal.
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/protocol/ViewerUTF8.h"
#include "core/runtime/ViewerCheck.h"
#include "viewerctl/ViewerAnswerCheck.h"
#include "viewerctl/ViewerFrameLabel.h"
#include "viewerctl/ViewerJPEGHeader.h"
#include "viewerctl/ViewerTerminalText.h"

namespace velmora {
namespace {

std::string headOf(const std::string& type, std::size_t length, const std::string& more) {
    return "HTTP/1.1 200 OK\r\nContent-Type: " + type +
           "\r\nContent-Length: " + std::to_string(length) + "\r\n" + more + "\r\n";
}

void checkListing(const std::string& body) {
    const auto listing =
        ViewerAnswerCheck::listing(headOf("application/json", body.size(), ""), body);
    if (!listing) {
        return;
    }
    for (const ViewerHostDisplay& display : listing->displays) {
        viewerCheck(display.width > 0 && display.height > 0, "a display has a size");
        viewerCheck(ViewerUTF8::isValid(display.name), "a name is UTF-8");
    }
}

void checkSafe(const std::string& text) {
    const std::string safe = ViewerTerminalText::safe(text);
    viewerCheck(ViewerUTF8::isValid(safe), "what is shown is UTF-8");
    for (const char character : safe) {
        viewerCheck(static_cast<unsigned char>(character) >= ' ' && character != 0x7F,
                    "what is shown has no control bytes");
    }
    viewerCheck(ViewerTerminalText::safe(safe) == safe, "what is safe stays as it is");
}

void checkPicture(const std::string& body) {
    const std::string identity = "0123456789abcdef0123456789abcdef";
    const std::string label = "X-Velmora-Frame: " + identity + "-" + identity + "-1\r\n";
    const auto frame = ViewerAnswerCheck::frame(headOf("image/jpeg", body.size(), label), body);
    if (frame) {
        const auto header = ViewerJPEGHeader::parse(frame->jpeg.span());
        viewerCheck(header && header->width >= 1 &&
                        header->width <= ViewerJPEGHeader::largestSide && header->height >= 1 &&
                        header->height <= ViewerJPEGHeader::largestSide,
                    "a picture has a size that is shown");
    }
}

}  // namespace
}  // namespace velmora

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace velmora;
    const std::string text(bytes, bytes + size);
    checkListing(text);
    checkSafe(text);
    checkPicture(text);
    // The first marker is not found by chance.
    checkPicture("\xFF\xD8" + text);
    return 0;
}
