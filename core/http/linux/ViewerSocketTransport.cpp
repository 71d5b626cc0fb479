#include "core/http/linux/ViewerSocketTransport.h"

#include <utility>

#include "core/http/linux/ViewerSocketListener.h"

namespace velmora {

ViewerSocketTransport::ViewerSocketTransport(std::shared_ptr<ViewerContinuousClock> clock)
    : clock_(std::move(clock)) {}

bool ViewerSocketTransport::isUsablePort(std::uint16_t) const {
    return true;
}

ViewerListenerCreation ViewerSocketTransport::makeListener(std::uint16_t port) {
    return std::make_shared<ViewerSocketListener>(port, clock_);
}

std::shared_ptr<ViewerTransport> makeTransport(std::shared_ptr<ViewerContinuousClock> clock) {
    return std::make_shared<ViewerSocketTransport>(std::move(clock));
}

}  // namespace velmora
