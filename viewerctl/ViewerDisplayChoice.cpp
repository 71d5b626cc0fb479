#include <algorithm>
#include <charconv>
#include <cstddef>

#include "viewerctl/ViewerFrameCommand.h"

namespace velmora::ViewerDisplayChoice {

std::optional<ViewerHostDisplay> in(const ViewerHostDisplayListing& listing,
                                    const std::string& wanted) {
    const auto& displays = listing.displays;
    const auto byID = std::find_if(displays.begin(), displays.end(),
                                   [&](const auto& display) { return display.id == wanted; });
    if (byID != displays.end()) {
        return *byID;
    }
    const auto hasName = [&](const auto& display) { return display.name == wanted; };
    if (std::count_if(displays.begin(), displays.end(), hasName) == 1) {
        return *std::find_if(displays.begin(), displays.end(), hasName);
    }
    std::size_t number = 0;
    const char* const wantedEnd = wanted.data() + wanted.size();
    const auto [end, error] = std::from_chars(wanted.data(), wantedEnd, number);
    if (error != std::errc() || end != wantedEnd || number < 1 || number > displays.size()) {
        return std::nullopt;
    }
    return displays[number - 1];
}

}  // namespace velmora::ViewerDisplayChoice
