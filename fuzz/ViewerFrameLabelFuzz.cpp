// Whatever a host sends for a label, one that is taken is made of digits and signs alone.
#include "viewerctl/ViewerFrameLabel.h"

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/runtime/ViewerCheck.h"

using velmora::viewerCheck;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string text(bytes, bytes + size);
    const std::string identity = "0123456789abcdef0123456789abcdef-";
    const std::string identities = identity + identity;
    for (const std::string& label : {text, identity + text, identities + text}) {
        if (velmora::ViewerFrameLabel::isValid(label)) {
            viewerCheck(label.find_first_not_of("0123456789abcdef-") == std::string::npos,
                        "a label has no other characters");
            viewerCheck(label.size() > 66 && label.size() <= 86, "a label has its length");
            viewerCheck(label[66] != '0', "a frame's number begins at 1");
        }
    }
    return 0;
}
