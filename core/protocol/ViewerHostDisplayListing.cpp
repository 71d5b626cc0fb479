#include "core/protocol/ViewerHostDisplayListing.h"

#include <utility>

namespace velmora {

ViewerHostDisplayListing::ViewerHostDisplayListing(std::string listingProtocol,
                                                   std::int64_t listingVersion,
                                                   std::string listingMachineName,
                                                   std::vector<ViewerHostDisplay> listingDisplays)
    : protocol(std::move(listingProtocol)),
      version(listingVersion),
      machineName(std::move(listingMachineName)),
      displays(std::move(listingDisplays)) {}

}  // namespace velmora
