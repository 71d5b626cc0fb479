#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/capture/linux/wayland/ViewerScreenCastGrant.h"
#include "core/capture/linux/wayland/ViewerScreenCastRemote.h"
#include "core/capture/linux/wayland/outputs/ViewerOutputs.h"

namespace velmora {

/// A granted stream that shows a whole output. A plain value.
struct ViewerMatchedStream final {
    friend bool operator==(const ViewerMatchedStream&, const ViewerMatchedStream&) = default;

    ViewerGrantedStream stream;
    /// The compositor's number of the output that it shows beyond doubt; nothing where several of
    /// one size cannot be told apart.
    std::optional<std::uint32_t> output = std::nullopt;
    /// These are the several, then.
    std::vector<std::uint32_t> likeOutputs = {};
};

/// Which output each granted stream shows. Pure; any thread.
namespace ViewerStreamMatching {

/// Portals differ in what they tell, so each stream is matched by the first that tells an output:
/// the connector's name, from the portal (`mapping_id`) or from KWin (its node's `media.name`);
/// position and size in logical coordinates; a size that only one output has, in logical
/// coordinates or in pixels as seen. The order of streams means nothing, and no output is given to
/// two. A stream that shows no output - a window, a region, a whole workspace - is left out.
///
/// Where the compositor has wlr-screencopy, its portal may be one that puts every monitor at the
/// origin, which counts for nothing there.
std::vector<ViewerMatchedStream> match(const std::vector<ViewerGrantedStream>& streams,
                                       const std::vector<ViewerStreamNode>& nodes,
                                       const ViewerOutputs::Snapshot& compositor);

}  // namespace ViewerStreamMatching

}  // namespace velmora
