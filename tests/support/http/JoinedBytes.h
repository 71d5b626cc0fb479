#pragma once

#include <string>

#include "core/protocol/ViewerHostHTTPResponse.h"

namespace velmora {

/// A response in one text, as it goes over the wire.
inline std::string joined(const ViewerHostResponseBytes& response) {
    return std::string(response.head) + std::string(response.body.text());
}

}  // namespace velmora
