#pragma once

#include <optional>
#include <string_view>

#include "core/protocol/ViewerBytes.h"
#include "core/protocol/ViewerHostDisplay.h"
#include "core/protocol/ViewerHostDisplayListing.h"

namespace velmora {

/// The JSON form of displays and of their listing, both ways. Pure; any thread.
namespace ViewerHostListingJSON {

/// UTF-8 without white space, members in the order of the record's fields, "/" as it is. Always
/// succeeds: what is not valid UTF-8 in a text is written as U+FFFD.
ViewerBytes encode(const ViewerHostDisplay& display);
ViewerBytes encode(const ViewerHostDisplayListing& listing);

/// Nothing unless `text` is one JSON object that has every member with the right type; members that
/// the record does not have are passed over. An integer may be written 2 or 2.0, not 2.5, and must
/// fit into 64 bits.
std::optional<ViewerHostDisplay> decodeDisplay(std::string_view text);
std::optional<ViewerHostDisplayListing> decodeListing(std::string_view text);

}  // namespace ViewerHostListingJSON

}  // namespace velmora
