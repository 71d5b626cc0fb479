#pragma once

#include <string>

#include "core/protocol/ViewerBytes.h"

namespace velmora {

/// One encoded frame of one display. A plain value; any thread.
struct ViewerHostFrame final {
    ViewerHostFrame(ViewerBytes jpeg, std::string sequence);

    friend bool operator==(const ViewerHostFrame&, const ViewerHostFrame&) = default;

    /// One complete JPEG image.
    ViewerBytes jpeg;
    /// The frame's sequence label, sent verbatim to the client.
    std::string sequence;
};

}  // namespace velmora
