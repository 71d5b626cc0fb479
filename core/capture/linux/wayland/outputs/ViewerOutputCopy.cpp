#include "core/capture/linux/wayland/outputs/ViewerOutputCopy.h"

#include "core/capture/linux/wayland/outputs/ViewerImageCopy.h"
#include "core/capture/linux/wayland/outputs/ViewerWlrootsCopy.h"

namespace velmora {

std::unique_ptr<ViewerOutputCopy> ViewerOutputCopy::ask(const ViewerOutputReader& reader,
                                                        const ViewerWaylandOutput& output) {
    if (reader.screenCopy().name != 0) {
        return std::make_unique<ViewerWlrootsCopy>(reader, output);
    }
    if (reader.offersImageCopy()) {
        return std::make_unique<ViewerImageCopy>(reader, output);
    }
    return nullptr;
}

}  // namespace velmora
