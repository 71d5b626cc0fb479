#include "core/protocol/ViewerHostRequest.h"

#include <utility>

namespace velmora {

ViewerHostRequest::ViewerHostRequest(std::string requestMethod, ViewerText requestTarget)
    : method(std::move(requestMethod)), target(std::move(requestTarget)) {}

}  // namespace velmora
