// Whatever a page says, what is taken of it has intervals within the limits, and reads the same
// when it is said again.
#include "viewerctl/ViewerWallLook.h"

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/runtime/ViewerCheck.h"

using velmora::viewerCheck;
namespace ViewerWallLook = velmora::ViewerWallLook;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string text(bytes, bytes + size);
    for (const std::string& said : {text, R"({"kind":"look","tiles":[)" + text + "]}"}) {
        const auto tiles = ViewerWallLook::parse(said);
        if (!tiles) {
            continue;
        }
        std::string again;
        for (const auto& [tile, interval] : *tiles) {
            viewerCheck(interval >= ViewerWallLook::shortestInterval &&
                            interval <= ViewerWallLook::longestInterval,
                        "an interval is within its limits");
            again += (again.empty() ? "[" : ",[") + std::to_string(tile) + "," +
                     std::to_string(interval.count()) + "]";
        }
        viewerCheck(ViewerWallLook::parse(R"({"kind":"look","tiles":[)" + again + "]}") == tiles,
                    "it reads the same when it is said again");
    }
    return 0;
}
