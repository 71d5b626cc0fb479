#include "viewerctl/ViewerTerminalText.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cwchar>

#include "core/protocol/ViewerUTF8.h"

namespace velmora::ViewerTerminalText {

namespace {

/// A code point at the front of a text, and the bytes that it takes.
struct CodePoint final {
    char32_t value;
    std::size_t length;
};

/// Of well-formed UTF-8.
CodePoint firstCodePoint(std::string_view text) {
    const auto byte = [&](std::size_t index) {
        return static_cast<char32_t>(static_cast<unsigned char>(text[index]));
    };
    const char32_t lead = byte(0);
    if (lead < 0x80) {
        return {lead, 1};
    }
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t value = lead & (0xFFU >> (length + 1));
    for (std::size_t index = 1; index < length; ++index) {
        value = value << 6U | (byte(index) & 0x3FU);
    }
    return {value, length};
}

struct Range final {
    char32_t first;
    char32_t last;
};

/// Control and format characters, line and paragraph separators, and tags (general categories Cc,
/// Cf, Zl and Zp of Unicode 15, as ranges of the Basic Multilingual Plane and of plane 14).
constexpr std::array unsafe{
    Range{0x0000, 0x001F}, Range{0x007F, 0x009F}, Range{0x00AD, 0x00AD}, Range{0x0600, 0x0605},
    Range{0x061C, 0x061C}, Range{0x06DD, 0x06DD}, Range{0x070F, 0x070F}, Range{0x0890, 0x0891},
    Range{0x08E2, 0x08E2}, Range{0x180E, 0x180E}, Range{0x200B, 0x200F}, Range{0x2028, 0x202E},
    Range{0x2060, 0x206F}, Range{0xFEFF, 0xFEFF}, Range{0xFFF9, 0xFFFB}, Range{0xE0000, 0xE0FFF},
};

bool isUnsafe(char32_t value) {
    return std::any_of(unsafe.begin(), unsafe.end(), [&](const Range& range) {
        return value >= range.first && value <= range.last;
    });
}

/// `text` with `replacement(codePoint)` for each code point that is unsafe.
template <typename Replacement>
std::string replaced(std::string_view text, Replacement replacement) {
    const std::string valid = ViewerUTF8::repaired(text);
    std::string result;
    for (std::string_view rest = valid; !rest.empty();) {
        const CodePoint point = firstCodePoint(rest);
        result += isUnsafe(point.value) ? replacement(point.value)
                                        : std::string(rest.substr(0, point.length));
        rest.remove_prefix(point.length);
    }
    return result;
}

/// One unit of UTF-16 as JSON escapes it.
std::string escapeOf(char32_t unit) {
    std::array<char, 8> text{};
    (void)std::snprintf(text.data(), text.size(), "\\u%04x",
                        static_cast<unsigned>(unit & 0xFFFFU));  // always fits
    return text.data();
}

}  // namespace

std::string safe(std::string_view text) {
    return replaced(text, [](char32_t) { return std::string("\uFFFD"); });
}

std::string safeJSON(std::string_view json) {
    constexpr char32_t beyond = 0x10000;
    return replaced(json, [](char32_t value) {
        if (value < beyond) {
            return escapeOf(value);
        }
        // Two surrogates, of ten bits each (RFC 8259, section 7).
        return escapeOf(0xD800U + ((value - beyond) >> 10U)) + escapeOf(0xDC00U + (value & 0x3FFU));
    });
}

std::size_t columns(std::string_view text) {
    std::size_t sum = 0;
    while (!text.empty()) {
        const CodePoint point = firstCodePoint(text);
        const int width = ::wcwidth(static_cast<wchar_t>(point.value));
        sum += width < 0 ? 1 : static_cast<std::size_t>(width);
        text.remove_prefix(point.length);
    }
    return sum;
}

std::string cut(std::string_view text, std::size_t wanted) {
    if (columns(text) <= wanted) {
        return std::string(text);
    }
    std::size_t length = 0;
    while (length < text.size()) {
        const std::size_t next = length + firstCodePoint(text.substr(length)).length;
        if (columns(text.substr(0, next)) + 1 > wanted) {
            break;
        }
        length = next;
    }
    return std::string(text.substr(0, length)) + (wanted == 0 ? "" : "…");
}

std::string padded(std::string_view text, std::size_t wanted) {
    const std::size_t taken = columns(text);
    return std::string(text) + std::string(taken < wanted ? wanted - taken : 0, ' ');
}

}  // namespace velmora::ViewerTerminalText
