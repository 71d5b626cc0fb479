// Whatever the bytes of an EDID, the monitor's name in it is fit for the wire.
#include "core/capture/linux/identity/ViewerEDID.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "core/protocol/ViewerUTF8.h"
#include "core/runtime/ViewerCheck.h"

using velmora::viewerCheck;
using velmora::ViewerEDID;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> bytes(data, size);
    const ViewerEDID facts = ViewerEDID::parse(bytes);
    const std::string& name = facts.monitorName;
    viewerCheck(velmora::ViewerUTF8::isValid(name), "a monitor's name is valid UTF-8");
    viewerCheck(name.empty() || (name.front() != ' ' && name.back() != ' '),
                "a monitor's name has no blanks around it");

    // The header is not found by chance: with it, every other byte counts.
    std::vector<std::uint8_t> block = {0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x00};
    block.insert(block.end(), bytes.begin(), bytes.end());
    viewerCheck(velmora::ViewerUTF8::isValid(ViewerEDID::parse(block).monitorName),
                "a monitor's name is valid UTF-8");
    // What follows the first block changes nothing.
    if (size >= 128) {
        viewerCheck(ViewerEDID::parse(bytes.first(128)) == facts, "only the first block counts");
    }
    return 0;
}
