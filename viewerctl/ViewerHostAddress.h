#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/protocol/ViewerHostProtocolV1.h"

namespace velmora {

/// Where a host is: a name or an address, and a TCP port. A plain value; any thread.
struct ViewerHostAddress final {
    ViewerHostAddress(std::string hostName, std::uint16_t tcpPort);

    /// Of "name", "192.0.2.1" or "[2001:db8::1]", each with ":port" behind it where the port is not
    /// the protocol's own. Nothing for anything else: blanks, a port of 0, an IPv6 address without
    /// brackets, characters that no name has.
    static std::optional<ViewerHostAddress> parse(std::string_view text);

    friend bool operator==(const ViewerHostAddress&, const ViewerHostAddress&) = default;

    /// Whether the name is an IPv4 or IPv6 address, so that nobody has to be asked for it.
    bool isLiteral() const { return isLiteralV4() || isLiteralV6(); }
    bool isLiteralV4() const;
    bool isLiteralV6() const { return name.find(':') != std::string::npos; }
    /// As it is written: the port is left out where it is the protocol's own.
    std::string text() const;
    /// As it stands in a URL: always with the port.
    std::string authority() const;

    /// Without brackets.
    std::string name;
    std::uint16_t port = ViewerHostProtocolV1::defaultPort;
};

}  // namespace velmora
