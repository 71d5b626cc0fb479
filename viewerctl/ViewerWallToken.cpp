#include "viewerctl/ViewerWallToken.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <system_error>

namespace velmora::ViewerWallToken {

namespace {

constexpr std::size_t randomBytes = 32;

bool isSame(std::string_view one, std::string_view other) {
    if (one.size() != other.size()) {
        return false;
    }
    unsigned difference = 0;
    for (std::size_t index = 0; index < one.size(); ++index) {
        difference |= static_cast<unsigned>(one[index] ^ other[index]);
    }
    return difference == 0;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string_view::npos
               ? std::string_view()
               : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

}  // namespace

std::string make() {
    std::array<std::uint8_t, randomBytes> bytes{};
    // So few bytes come whole or not at all (getrandom(2)).
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw std::system_error(errno, std::generic_category(), "getrandom");
    }
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4U];
        text += digits[byte & 15U];
    }
    return text;
}

bool isOffered(std::string_view list, std::string_view token) {
    bool isThere = false;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(','), list.size());
        isThere = isSame(trimmed(list.substr(0, end)), token) || isThere;
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return isThere;
}

}  // namespace velmora::ViewerWallToken
