#include "core/capture/linux/identity/ViewerEDID.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace velmora {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t blockBytes = 128;
constexpr std::array<std::uint8_t, 8> blockHeader = {0x00, 0xff, 0xff, 0xff,
                                                     0xff, 0xff, 0xff, 0x00};
constexpr std::size_t serialNumberOffset = 12;
constexpr std::size_t firstDescriptorOffset = 54;
constexpr std::size_t descriptorBytes = 18;
constexpr std::size_t descriptorCount = 4;
constexpr std::size_t descriptorTagOffset = 3;
constexpr std::size_t descriptorTextOffset = 5;
constexpr std::uint8_t serialNumberTag = 0xff;
constexpr std::uint8_t monitorNameTag = 0xfc;
constexpr std::uint8_t lineEnd = 0x0a;

/// The upper half of code page 437, the character set of an EDID's texts.
constexpr std::u16string_view codePage437 =
    u"ÇüéâäàåçêëèïîìÄÅÉæÆôöòûùÿÖÜ¢£¥₧ƒ"
    u"áíóúñÑªº¿⌐¬½¼¡«»░▒▓│┤╡╢╖╕╣║╗╝╜╛┐"
    u"└┴┬├─┼╞╟╚╔╩╦╠═╬╧╨╤╥╙╘╒╓╫╪┘┌█▄▌▐▀"
    u"αßΓπΣσµτΦΘΩδ∞φε∩≡±≥≤⌠⌡÷≈°∙·√ⁿ²■\u00a0";
static_assert(codePage437.size() == 128);

/// The text of a descriptor up to its end mark.
std::string_view textOf(Bytes descriptor) {
    const Bytes field = descriptor.subspan(descriptorTextOffset);
    const auto end = std::find(field.begin(), field.end(), lineEnd);
    return {reinterpret_cast<const char*>(field.data()),
            static_cast<std::size_t>(end - field.begin())};
}

/// Every character of the code page lies below U+10000 and outside the surrogates.
void appendUTF8(std::string& text, char16_t character) {
    const auto append = [&](unsigned value) { text.push_back(static_cast<char>(value)); };
    if (character < 0x80U) {
        append(character);
    } else if (character < 0x800U) {
        append(0xc0U | (character >> 6U));
        append(0x80U | (character & 0x3fU));
    } else {
        append(0xe0U | (character >> 12U));
        append(0x80U | ((character >> 6U) & 0x3fU));
        append(0x80U | (character & 0x3fU));
    }
}

std::string utf8Of(std::string_view codePageText) {
    std::string text;
    for (const char each : codePageText) {
        const auto byte = static_cast<unsigned char>(each);
        if (byte >= 0x80U) {
            appendUTF8(text, codePage437[byte - 0x80U]);
        } else if (byte >= 0x20U && byte != 0x7fU) {
            appendUTF8(text, byte);
        }
    }
    return text;
}

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? ""
                                      : text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

bool isSerialNumber(std::string_view text) {
    return text.find_first_not_of("0 ") != std::string_view::npos;
}

bool hasSerialNumberField(Bytes block) {
    constexpr std::array<std::uint32_t, 3> placeholders = {0, 0x01010101, 0xffffffff};
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < sizeof number; ++i) {
        number |= static_cast<std::uint32_t>(block[serialNumberOffset + i]) << (8U * i);
    }
    return std::find(placeholders.begin(), placeholders.end(), number) == placeholders.end();
}

/// Whether a descriptor holds data of the kind that its tag names, not a timing.
bool isTagged(Bytes descriptor) {
    return descriptor[0] == 0 && descriptor[1] == 0;
}

}  // namespace

ViewerEDID ViewerEDID::parse(Bytes bytes) {
    ViewerEDID result;
    if (bytes.size() < blockBytes ||
        !std::equal(blockHeader.begin(), blockHeader.end(), bytes.begin())) {
        return result;
    }
    result.hasSerialNumber = hasSerialNumberField(bytes);
    for (std::size_t i = 0; i < descriptorCount; ++i) {
        const Bytes descriptor =
            bytes.subspan(firstDescriptorOffset + i * descriptorBytes, descriptorBytes);
        if (!isTagged(descriptor)) {
            continue;
        }
        const std::string text = trimmed(utf8Of(textOf(descriptor)));
        if (descriptor[descriptorTagOffset] == serialNumberTag && isSerialNumber(text)) {
            result.hasSerialNumber = true;
        } else if (descriptor[descriptorTagOffset] == monitorNameTag &&
                   result.monitorName.empty()) {
            result.monitorName = text;
        }
    }
    return result;
}

}  // namespace velmora
