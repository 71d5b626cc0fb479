#include "core/protocol/ViewerBytes.h"

#include <algorithm>
#include <utility>

namespace velmora {

ViewerBytes::ViewerBytes(std::vector<std::uint8_t> bytes)
    : bytes_(std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes))) {}

ViewerBytes::ViewerBytes(std::string_view text)
    : ViewerBytes(std::vector<std::uint8_t>(text.begin(), text.end())) {}

bool operator==(const ViewerBytes& a, const ViewerBytes& b) {
    return a.bytes_ == b.bytes_ || std::ranges::equal(a.span(), b.span());
}

}  // namespace velmora
