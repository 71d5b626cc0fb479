#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/wayland/ViewerScreenCastGrant.h"
#include "core/capture/linux/wayland/outputs/ViewerWaylandOutput.h"

namespace velmora {

/// What PipeWire itself tells of a granted stream's node. A plain value.
struct ViewerStreamNode final {
    friend bool operator==(const ViewerStreamNode&, const ViewerStreamNode&) = default;

    std::uint32_t id = 0;
    std::optional<std::uint64_t> serial = std::nullopt;
    /// The node's `media.name`, which only its info event tells; empty when it has none.
    std::string mediaName = {};
};

/// One connection to PipeWire over a portal's descriptor. Made, used and destroyed on the main
/// thread, on which everything it tells arrives.
class ViewerScreenCastRemote {
  public:
    /// Receives the nodes that are there, or nothing when PipeWire did not answer in time.
    using Nodes = std::function<void(std::optional<std::vector<ViewerStreamNode>>)>;
    /// Hands one plain copy of a still output to the receiver that it is given; false when there
    /// was none to be had. Blocks for the answer limit at most; any thread.
    using StillPicture = std::function<bool(const std::function<void(const ViewerPixelBuffer&)>&)>;

    virtual ~ViewerScreenCastRemote() = default;

    virtual void describe(Nodes nodes) = 0;
    /// A stream of the granted node that is not started yet. `still` may be empty.
    virtual std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerGrantedStream& stream,
                                                            const ViewerStreamSettings& settings,
                                                            StillPicture still) = 0;
    /// The output of the granted node has become this large, as it is seen. A stream that does not
    /// come to show it so ends soon: some desktops send nothing more to the old one.
    virtual void outputHasResized(const ViewerGrantedStream& stream,
                                  ViewerWaylandOutput::PixelSize size) = 0;
    /// Ends every stream that was made, each with its notice, for good. The connection stays, and
    /// still tells its end.
    virtual void endStreams() = 0;
};

}  // namespace velmora
