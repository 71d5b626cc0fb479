#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/protocol/ViewerHostDisplay.h"
#include "tests/support/system/HTTPClient.h"
#include "tests/support/system/JPEGPicture.h"

namespace velmora {

/// What the host writes once it listens.
inline constexpr const char* listeningLine =
    "Velmora Viewer Host protocol v1 listening on TCP 9090";
/// Painted colours survive JPEG within this much a channel.
inline constexpr int jpegTolerance = 6;

/// The displays of a listing; nothing when the answer is no proper one.
std::optional<std::vector<ViewerHostDisplay>> displaysIn(const HTTPAnswer& answer);
/// The id of the display with that name; empty when it is not listed.
std::string idIn(const HTTPAnswer& answer, const std::string& name);
/// Where a display's frames are asked for.
std::string frameTarget(const std::string& id);
/// The picture of a frame; nothing when the answer is another one.
std::optional<JPEGPicture> pictureIn(const HTTPAnswer& answer);

}  // namespace velmora
