#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "core/protocol/ViewerBytes.h"
#include "core/protocol/ViewerText.h"

namespace velmora {

/// The bytes of one response: the header text with its empty line, then the body. They are two
/// pieces so that the body is sent from where the encoder put it. A plain value; any thread.
struct ViewerHostResponseBytes final {
    ViewerHostResponseBytes(ViewerText head, ViewerBytes body);

    friend bool operator==(const ViewerHostResponseBytes&,
                           const ViewerHostResponseBytes&) = default;

    ViewerText head;
    ViewerBytes body;
};

/// A response before serialisation. Its reason and type are texts of the program. A plain value;
/// any thread.
struct ViewerHostHTTPResponse final {
    ViewerHostHTTPResponse(std::int64_t status, std::string_view reason,
                           std::string_view contentType, ViewerBytes body,
                           std::optional<ViewerText> frameSequence);

    friend bool operator==(const ViewerHostHTTPResponse&, const ViewerHostHTTPResponse&) = default;

    static const ViewerHostHTTPResponse& notFound();
    static const ViewerHostHTTPResponse& methodNotAllowed();
    static const ViewerHostHTTPResponse& headersTooLarge();
    static const ViewerHostHTTPResponse& serviceUnavailable();

    /// The bytes to send.
    ViewerHostResponseBytes serialized() const;

    std::int64_t status;
    /// Reason phrase after the status code.
    std::string_view reason;
    std::string_view contentType;
    ViewerBytes body;
    /// When present, the response carries the frame-sequence header with this value.
    std::optional<ViewerText> frameSequence;
};

}  // namespace velmora
