#include "viewerctl/ViewerFrameLabel.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>

namespace velmora::ViewerFrameLabel {

namespace {

constexpr std::size_t identityLength = 32;

bool isIdentity(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char digit) {
        return (digit >= '0' && digit <= '9') || (digit >= 'a' && digit <= 'f');
    });
}

}  // namespace

bool isValid(std::string_view text) {
    constexpr std::size_t numberBegin = 2 * (identityLength + 1);
    if (text.size() <= numberBegin || text[identityLength] != '-' || text[numberBegin - 1] != '-' ||
        !isIdentity(text.substr(0, identityLength)) ||
        !isIdentity(text.substr(identityLength + 1, identityLength))) {
        return false;
    }
    const std::string_view number = text.substr(numberBegin);
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
    return error == std::errc() && end == number.data() + number.size() && number.front() != '0';
}

}  // namespace velmora::ViewerFrameLabel
