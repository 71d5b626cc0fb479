#include "core/protocol/ViewerHostRequestParser.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/protocol/ViewerHostProtocolV1.h"

namespace velmora::ViewerHostRequestParser {

namespace {

constexpr std::string_view headerTerminator = "\r\n\r\n";
constexpr std::string_view lineSeparator = "\r\n";
constexpr std::string_view method = "GET";

/// Method, target, version.
using Tokens = std::array<std::string_view, 3>;

bool isASCII(std::span<const std::uint8_t> data) {
    // Without a way out of the loop, so that the compiler takes many bytes at a time.
    unsigned bits = 0;
    for (const std::uint8_t byte : data) {
        bits |= byte;
    }
    return bits <= 0x7F;
}

/// The three tokens of a request line that spaces, and nothing else, separate; nothing when there
/// are fewer or more.
std::optional<Tokens> tokens(std::string_view line) {
    Tokens found;
    std::size_t count = 0;
    while (true) {
        const std::size_t start = line.find_first_not_of(' ');
        if (start == std::string_view::npos) {
            return count == found.size() ? std::optional(found) : std::nullopt;
        }
        if (count == found.size()) {
            return std::nullopt;
        }
        line.remove_prefix(start);
        found[count] = line.substr(0, line.find(' '));
        line.remove_prefix(found[count].size());
        ++count;
    }
}

std::string_view textOf(std::span<const std::uint8_t> data) {
    return {reinterpret_cast<const char*>(data.data()), data.size()};
}

/// Whether `line` is a header field of that name, which is given in lower case.
bool isField(std::string_view line, std::string_view name) {
    const auto isSame = [](char character, char lower) {
        return character == lower ||
               (character >= 'A' && character <= 'Z' && character - 'A' + 'a' == lower);
    };
    return line.size() > name.size() && line[name.size()] == ':' &&
           std::equal(name.begin(), name.end(), line.begin(),
                      [&](char lower, char character) { return isSame(character, lower); });
}

}  // namespace

ViewerHostRequestParseResult parse(std::span<const std::uint8_t> data) {
    constexpr std::size_t limit = ViewerHostProtocolV1::maxRequestHeaderBytes;
    if (data.size() > limit) {
        return ViewerHostRequestParseResult::headersTooLarge();
    }
    const std::string_view text = textOf(data);
    if (text.find(headerTerminator) == std::string_view::npos) {
        return data.size() == limit ? ViewerHostRequestParseResult::headersTooLarge()
                                    : ViewerHostRequestParseResult::incomplete();
    }
    if (!isASCII(data)) {
        return ViewerHostRequestParseResult::methodNotAllowed();
    }
    const auto line = tokens(text.substr(0, text.find(lineSeparator)));
    if (!line || line->front() != method) {
        return ViewerHostRequestParseResult::methodNotAllowed();
    }
    return ViewerHostRequestParseResult::request(
        ViewerHostRequest(std::string((*line)[0]), (*line)[1]));
}

bool hasMoreThanHead(std::span<const std::uint8_t> data) {
    std::string_view head = textOf(data);
    const std::size_t end = head.find(headerTerminator);
    if (end == std::string_view::npos || end + headerTerminator.size() < head.size()) {
        return end != std::string_view::npos;
    }
    head = head.substr(0, end);
    for (std::size_t next = head.find(lineSeparator); next != std::string_view::npos;
         next = head.find(lineSeparator)) {
        head.remove_prefix(next + lineSeparator.size());
        if (isField(head, "content-length") || isField(head, "transfer-encoding")) {
            return true;
        }
    }
    return false;
}

}  // namespace velmora::ViewerHostRequestParser
