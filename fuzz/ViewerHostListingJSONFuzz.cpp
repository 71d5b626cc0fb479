// What is encoded decodes to itself, repaired; what decodes at all encodes to the same again.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "core/protocol/ViewerHostListingJSON.h"
#include "core/protocol/ViewerUTF8.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora {
namespace {

ViewerHostDisplayListing arbitraryListing(FuzzedDataProvider& source) {
    std::string protocol = source.ConsumeRandomLengthString();
    const auto version = source.ConsumeIntegral<std::int64_t>();
    std::string machineName = source.ConsumeRandomLengthString();
    std::vector<ViewerHostDisplay> displays;
    while (source.remaining_bytes() > 0) {
        std::string id = source.ConsumeRandomLengthString();
        std::string name = source.ConsumeRandomLengthString();
        const auto width = source.ConsumeIntegral<std::int64_t>();
        displays.emplace_back(std::move(id), std::move(name), width,
                              source.ConsumeIntegral<std::int64_t>());
    }
    return {std::move(protocol), version, std::move(machineName), std::move(displays)};
}

ViewerHostDisplayListing repaired(ViewerHostDisplayListing listing) {
    listing.protocol = ViewerUTF8::repaired(listing.protocol);
    listing.machineName = ViewerUTF8::repaired(listing.machineName);
    for (ViewerHostDisplay& display : listing.displays) {
        display.id = ViewerUTF8::repaired(display.id);
        display.name = ViewerUTF8::repaired(display.name);
    }
    return listing;
}

void checkRoundTrip(const ViewerHostDisplayListing& listing) {
    const ViewerBytes bytes = ViewerHostListingJSON::encode(listing);
    viewerCheck(ViewerHostListingJSON::decodeListing(bytes.text()) == repaired(listing),
                "a listing decodes to itself");
    for (const ViewerHostDisplay& display : repaired(listing).displays) {
        const ViewerBytes displayBytes = ViewerHostListingJSON::encode(display);
        viewerCheck(ViewerHostListingJSON::decodeDisplay(displayBytes.text()) == display,
                    "a display decodes to itself");
    }
}

}  // namespace
}  // namespace velmora

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace velmora;
    FuzzedDataProvider source(bytes, size);
    checkRoundTrip(arbitraryListing(source));

    const std::string text(bytes, bytes + size);
    if (const auto listing = ViewerHostListingJSON::decodeListing(text)) {
        checkRoundTrip(*listing);
    }
    if (const auto display = ViewerHostListingJSON::decodeDisplay(text)) {
        const ViewerBytes encoded = ViewerHostListingJSON::encode(*display);
        viewerCheck(ViewerHostListingJSON::decodeDisplay(encoded.text()) == display,
                    "what was decoded decodes again");
    }
    return 0;
}
