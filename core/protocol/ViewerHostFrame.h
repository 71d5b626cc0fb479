#pragma once

#include "core/protocol/ViewerBytes.h"
#include "core/protocol/ViewerText.h"

namespace velmora {

/// One encoded frame of one display. A plain value; any thread.
struct ViewerHostFrame final {
    ViewerHostFrame(ViewerBytes jpeg, ViewerText sequence);

    friend bool operator==(const ViewerHostFrame&, const ViewerHostFrame&) = default;

    /// One complete JPEG image.
    ViewerBytes jpeg;
    /// The frame's sequence label, sent verbatim to the client.
    ViewerText sequence;
};

}  // namespace velmora
