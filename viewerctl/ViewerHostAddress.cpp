#include "viewerctl/ViewerHostAddress.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <utility>

namespace velmora {

namespace {

/// The longest name that the domain name system has, in characters (RFC 1035, section 2.3.4).
constexpr std::size_t longestName = 253;

bool isNameCharacter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '-' || character == '.' ||
           character == '_';
}

bool isName(std::string_view text) {
    return !text.empty() && text.size() <= longestName && text.front() != '-' &&
           text.front() != '.' && std::all_of(text.begin(), text.end(), isNameCharacter);
}

bool isAddressV6(std::string_view text) {
    // Behind a percent sign stands the interface of a link-local address.
    const std::size_t zone = text.find('%');
    if (zone != std::string_view::npos && !isName(text.substr(zone + 1))) {
        return false;
    }
    in6_addr ignored{};
    return text.find('\0') == std::string_view::npos &&
           ::inet_pton(AF_INET6, std::string(text.substr(0, zone)).c_str(), &ignored) == 1;
}

std::optional<std::uint16_t> portOf(std::string_view text) {
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole && port != 0 ? std::optional(port) : std::nullopt;
}

}  // namespace

ViewerHostAddress::ViewerHostAddress(std::string hostName, std::uint16_t tcpPort)
    : name(std::move(hostName)), port(tcpPort) {}

std::optional<ViewerHostAddress> ViewerHostAddress::parse(std::string_view text) {
    const bool isBracketed = text.starts_with('[');
    const std::size_t nameEnd = text.find(isBracketed ? ']' : ':');
    if (isBracketed && nameEnd == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view name =
        isBracketed ? text.substr(1, nameEnd - 1) : text.substr(0, nameEnd);
    if (isBracketed ? !isAddressV6(name) : !isName(name)) {
        return std::nullopt;
    }
    std::string_view rest = nameEnd == std::string_view::npos ? "" : text.substr(nameEnd);
    if (isBracketed) {
        rest.remove_prefix(1);
    }
    if (rest.empty()) {
        return ViewerHostAddress(std::string(name), ViewerHostProtocolV1::defaultPort);
    }
    const auto port = rest.front() == ':' ? portOf(rest.substr(1)) : std::nullopt;
    return port ? std::optional(ViewerHostAddress(std::string(name), *port)) : std::nullopt;
}

bool ViewerHostAddress::isLiteralV4() const {
    in_addr ignored{};
    return ::inet_pton(AF_INET, name.c_str(), &ignored) == 1;
}

std::string ViewerHostAddress::text() const {
    if (port != ViewerHostProtocolV1::defaultPort) {
        return (isLiteralV6() ? "[" + name + "]" : name) + ":" + std::to_string(port);
    }
    return isLiteralV6() ? "[" + name + "]" : name;
}

std::string ViewerHostAddress::authority() const {
    std::string host = name;
    if (isLiteralV6()) {
        // In a URL the percent sign before the interface is written as an escape (RFC 6874).
        const std::size_t zone = host.find('%');
        if (zone != std::string::npos) {
            host.replace(zone, 1, "%25");
        }
        host = "[" + host + "]";
    }
    return host + ":" + std::to_string(port);
}

}  // namespace velmora
