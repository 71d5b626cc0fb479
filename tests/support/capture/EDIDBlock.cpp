#include "tests/support/capture/EDIDBlock.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr std::size_t modelOffset = 10;
constexpr std::size_t serialNumberOffset = 12;
constexpr std::size_t firstDescriptorOffset = 54;
constexpr std::size_t descriptorBytes = 18;
constexpr std::size_t textBytes = 13;

}  // namespace

EDIDBlock::EDIDBlock() : bytes_(128) {
    std::fill(bytes_.begin() + 1, bytes_.begin() + 7, std::uint8_t{0xff});
    bytes_[18] = 1;
    bytes_[19] = 4;
}

EDIDBlock& EDIDBlock::model(std::uint16_t number) {
    bytes_[modelOffset] = static_cast<std::uint8_t>(number);
    bytes_[modelOffset + 1] = static_cast<std::uint8_t>(number >> 8U);
    return *this;
}

EDIDBlock& EDIDBlock::serialNumber(std::uint32_t number) {
    for (std::size_t i = 0; i < sizeof number; ++i) {
        bytes_[serialNumberOffset + i] = static_cast<std::uint8_t>(number >> (8U * i));
    }
    return *this;
}

EDIDBlock& EDIDBlock::serialText(std::string_view text) {
    return addText(0xff, text);
}

EDIDBlock& EDIDBlock::monitorName(std::string_view text) {
    return addText(0xfc, text);
}

EDIDBlock& EDIDBlock::addText(std::uint8_t tag, std::string_view text) {
    viewerCheck(descriptors_ < 4 && text.size() <= textBytes,
                "an EDID block has room for four texts");
    const std::size_t offset = firstDescriptorOffset + descriptorBytes * descriptors_++;
    bytes_[offset + 3] = tag;
    for (std::size_t i = 0; i < textBytes; ++i) {
        const char padding = i == text.size() ? '\n' : ' ';
        bytes_[offset + 5 + i] = static_cast<std::uint8_t>(i < text.size() ? text[i] : padding);
    }
    return *this;
}

std::vector<std::uint8_t> EDIDBlock::bytes() const {
    std::vector<std::uint8_t> result = bytes_;
    const unsigned sum = std::accumulate(result.begin(), result.end() - 1, 0U);
    result.back() = static_cast<std::uint8_t>(256U - sum % 256U);
    return result;
}

}  // namespace velmora
