// Whatever bytes a host sends for a head, what is taken of it is within its bounds.
#include "viewerctl/ViewerAnswerHead.h"

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/runtime/ViewerCheck.h"

using velmora::ViewerAnswerHead;
using velmora::viewerCheck;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string text(bytes, bytes + size);
    const auto head = ViewerAnswerHead::parse(text);
    // The first line is not found by chance: with it, every other byte counts.
    (void)ViewerAnswerHead::parse("HTTP/1.1 200 OK\r\nContent-Type: a\r\nContent-Length: 1\r\n" +
                                  text + "\r\n\r\n");
    if (!head) {
        return 0;
    }
    viewerCheck(head->status >= 0 && head->status <= 999, "a status has three digits");
    viewerCheck(size <= ViewerAnswerHead::longest, "a head is not too long");
    const std::string taken = head->contentType + head->label.value_or("");
    for (const char character : taken) {
        const auto byte = static_cast<unsigned char>(character);
        viewerCheck((byte >= ' ' || byte == '\t') && byte != 0x7F, "a value has no control bytes");
    }
    viewerCheck(!ViewerAnswerHead::parse(text + "\r\n"), "a head is whole, and alone");
    return 0;
}
