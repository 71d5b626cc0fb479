#include "core/http/mac/ViewerNetworkTransport.h"

#import <Network/Network.h>

#include <cerrno>
#include <memory>
#include <string>
#include <system_error>

#include "core/http/mac/ViewerNetworkListener.h"

namespace velmora {

bool ViewerNetworkTransport::isUsablePort(std::uint16_t) const {
    return true;
}

ViewerListenerCreation ViewerNetworkTransport::makeListener(std::uint16_t port) {
    const nw_parameters_t parameters = nw_parameters_create_secure_tcp(
        NW_PARAMETERS_DISABLE_PROTOCOL, NW_PARAMETERS_DEFAULT_CONFIGURATION);
    const nw_listener_t _Nullable listener =
        nw_listener_create_with_port(std::to_string(port).c_str(), parameters);
    if (listener == nil) {
        // The platform does not say why; it refuses parameters that do not fit together.
        return ViewerPlatformError{std::generic_category().message(EINVAL)};
    }
    return std::make_shared<ViewerNetworkListener>(listener);
}

std::shared_ptr<ViewerTransport> makeTransport(std::shared_ptr<ViewerContinuousClock>) {
    return std::make_shared<ViewerNetworkTransport>();
}

}  // namespace velmora
