#include "core/capture/linux/wayland/outputs/ViewerWaylandOutput.h"

namespace velmora {

ViewerWaylandOutput::PixelSize ViewerWaylandOutput::seenSize() const {
    return swapsSides(transform) ? PixelSize{mode.height, mode.width} : mode;
}

}  // namespace velmora
