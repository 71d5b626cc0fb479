#include "core/protocol/ViewerUTF8.h"

#include <cstddef>
#include <cstdint>

namespace velmora::ViewerUTF8 {

namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

/// What a lead byte asks for: the length of its sequence, and the range of the second byte, which
/// alone keeps out overlong forms, surrogates and code points above U+10FFFF (The Unicode Standard,
/// table 3-7). The length is 0 for a byte that starts no sequence.
struct LeadByte final {
    std::size_t length;
    std::uint8_t lowestSecond = 0x80;
    std::uint8_t highestSecond = 0xBF;
};

/// For a byte outside ASCII.
constexpr LeadByte leadByte(std::uint8_t byte) {
    if (byte < 0xC2 || byte > 0xF4) {
        return {0};
    }
    switch (byte) {
        case 0xE0:
            return {3, 0xA0, 0xBF};
        case 0xED:
            return {3, 0x80, 0x9F};
        case 0xF0:
            return {4, 0x90, 0xBF};
        case 0xF4:
            return {4, 0x80, 0x8F};
        default:
            return {byte < 0xE0 ? std::size_t{2} : byte < 0xF0 ? std::size_t{3} : std::size_t{4}};
    }
}

/// The bytes at the front of a text that stand or fall together.
struct Piece final {
    std::size_t length;
    bool isWellFormed;
};

/// Of a text whose first byte is outside ASCII.
Piece firstPiece(std::string_view text) {
    const LeadByte lead = leadByte(static_cast<std::uint8_t>(text.front()));
    if (lead.length == 0) {
        return {1, false};
    }
    std::uint8_t lowest = lead.lowestSecond;
    std::uint8_t highest = lead.highestSecond;
    for (std::size_t index = 1; index < lead.length; ++index) {
        const auto byte = index < text.size() ? static_cast<std::uint8_t>(text[index]) : 0;
        if (byte < lowest || byte > highest) {
            return {index, false};
        }
        lowest = 0x80;
        highest = 0xBF;
    }
    return {lead.length, true};
}

/// The length of the well-formed text at the front.
std::size_t validLength(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size()) {
        // Most text is ASCII, a byte of which is a piece of its own.
        if (static_cast<std::uint8_t>(text[length]) < 0x80) {
            ++length;
            continue;
        }
        const Piece piece = firstPiece(text.substr(length));
        if (!piece.isWellFormed) {
            break;
        }
        length += piece.length;
    }
    return length;
}

}  // namespace

bool isValid(std::string_view bytes) {
    return validLength(bytes) == bytes.size();
}

std::string repaired(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (true) {
        const std::size_t valid = validLength(bytes);
        text.append(bytes.substr(0, valid));
        bytes.remove_prefix(valid);
        if (bytes.empty()) {
            return text;
        }
        text.append(replacementCharacter);
        bytes.remove_prefix(firstPiece(bytes).length);
    }
}

}  // namespace velmora::ViewerUTF8
