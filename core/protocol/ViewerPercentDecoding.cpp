#include "core/protocol/ViewerPercentDecoding.h"

#include <cstddef>

#include "core/protocol/ViewerUTF8.h"

namespace velmora {

namespace {

/// The value of a hexadecimal digit of either case, or -1.
constexpr int digitValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    return -1;
}

}  // namespace

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] != '%') {
            decoded.push_back(text[index]);
            continue;
        }
        if (text.size() - index < 3) {
            return std::nullopt;
        }
        const int high = digitValue(text[index + 1]);
        const int low = digitValue(text[index + 2]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        decoded.push_back(static_cast<char>(high * 16 + low));
        index += 2;
    }
    if (!ViewerUTF8::isValid(decoded)) {
        return std::nullopt;
    }
    return decoded;
}

}  // namespace velmora
