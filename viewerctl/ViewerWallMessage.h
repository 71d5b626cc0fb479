#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "viewerctl/ViewerWallHost.h"
#include "viewerctl/ViewerWallRoom.h"
#include "viewerctl/ViewerWallTile.h"

namespace velmora {

/// What the program tells a page of the wall. Pure; any thread.
namespace ViewerWallMessage {

using TimePoint = std::chrono::steady_clock::time_point;
using Hosts = ViewerWallRoom::Hosts;
using DisplayOf = std::function<const ViewerWallTile&(std::uint32_t)>;

/// The hosts in their order; JSON.
std::string ofHosts(const Hosts& hosts);
/// How it stands with a host, and which displays it has; JSON.
std::string ofHost(std::size_t index, const ViewerWallHost& host, const DisplayOf& displayOf,
                   TimePoint now);
/// How it stands with a display; JSON. Only once that is known.
std::string ofTile(const ViewerWallTile& tile, TimePoint now);
/// What stands before the picture: the tile's number and the milliseconds for which the bytes have
/// been these, each in four bytes, the most significant first; the length of the frame's label in
/// one byte; the label. Only where there is a picture.
std::string beforePicture(const ViewerWallTile& tile, TimePoint now);

}  // namespace ViewerWallMessage

}  // namespace velmora
