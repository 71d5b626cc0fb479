#include "core/http/ViewerHTTPServerError.h"

#include <utility>

namespace velmora {

ViewerHTTPServerError ViewerHTTPServerError::startupFailed(std::string reason) {
    return {Case::startupFailed, std::move(reason)};
}

ViewerHTTPServerError ViewerHTTPServerError::invalidPort() {
    return {Case::invalidPort, ""};
}

ViewerHTTPServerError ViewerHTTPServerError::stoppedBeforeReady() {
    return {Case::stoppedBeforeReady, ""};
}

ViewerHTTPServerError::ViewerHTTPServerError(Case which, std::string reason)
    : case_(which), reason_(std::move(reason)) {}

std::string ViewerHTTPServerError::errorDescription() const {
    switch (case_) {
        case Case::invalidPort:
            return "Invalid Viewer Host TCP port.";
        case Case::stoppedBeforeReady:
            return "Viewer Host stopped before its listener became ready.";
        case Case::startupFailed:
            break;
    }
    return "Viewer Host could not start: " + reason_;
}

}  // namespace velmora
