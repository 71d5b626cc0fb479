#include "core/protocol/ViewerPercentDecoding.h"

#include <algorithm>
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

std::optional<ViewerText> percentDecoded(std::string_view text) {
    ViewerText decoded;
    while (true) {
        const std::size_t plain = std::min(text.find('%'), text.size());
        decoded.append(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty()) {
            break;
        }
        constexpr std::size_t encodedBytes = 3;
        if (text.size() < encodedBytes) {
            return std::nullopt;
        }
        const int high = digitValue(text[1]);
        const int low = digitValue(text[2]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        const auto byte = static_cast<char>(high * 16 + low);
        decoded.append({&byte, 1});
        text.remove_prefix(encodedBytes);
    }
    if (!ViewerUTF8::isValid(decoded)) {
        return std::nullopt;
    }
    return decoded;
}

}  // namespace velmora
