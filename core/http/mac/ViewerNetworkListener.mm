#include "core/http/mac/ViewerNetworkListener.h"

#include <memory>
#include <string>
#include <utility>

#include "core/http/mac/ViewerNetworkConnection.h"
#include "core/runtime/mac/ViewerDispatchExecutors.h"
#include "core/runtime/mac/ViewerFoundationText.h"

namespace velmora {

namespace {

ViewerListenerState stateOf(nw_listener_state_t state) {
    switch (state) {
        case nw_listener_state_invalid:
            return ViewerListenerState::setup;
        case nw_listener_state_waiting:
            return ViewerListenerState::waiting;
        case nw_listener_state_ready:
            return ViewerListenerState::ready;
        case nw_listener_state_failed:
            return ViewerListenerState::failed;
        case nw_listener_state_cancelled:
            return ViewerListenerState::cancelled;
    }
    return ViewerListenerState::setup;  // of a later system
}

std::string descriptionOf(nw_error_t _Nullable error) {
    if (error == nil) {
        return {};
    }
    NSError* const foundationError = (__bridge_transfer NSError*)nw_error_copy_cf_error(error);
    return ViewerFoundationText::textOf(foundationError.localizedDescription).value_or("");
}

}  // namespace

ViewerNetworkListener::ViewerNetworkListener(nw_listener_t listener) : listener_(listener) {}

ViewerNetworkListener::~ViewerNetworkListener() {
    nw_listener_set_state_changed_handler(listener_, nil);
    nw_listener_set_new_connection_handler(listener_, nil);
    nw_listener_cancel(listener_);
}

void ViewerNetworkListener::setStateHandler(StateHandler handler) {
    nw_listener_set_state_changed_handler(listener_,
                                          ^(nw_listener_state_t state, nw_error_t _Nullable error) {
                                            handler(stateOf(state), descriptionOf(error));
                                          });
}

void ViewerNetworkListener::setConnectionHandler(ConnectionHandler handler) {
    nw_listener_set_new_connection_handler(listener_, ^(nw_connection_t connection) {
      handler(std::make_shared<ViewerNetworkConnection>(connection));
    });
}

void ViewerNetworkListener::start(ViewerExecutor queue) {
    nw_listener_set_queue(listener_, queueOf(queue));
    nw_listener_start(listener_);
    if (isCancelled_) {
        nw_listener_cancel(listener_);  // a cancel before the start may have been lost
    }
}

std::optional<std::uint16_t> ViewerNetworkListener::port() const {
    const std::uint16_t bound = nw_listener_get_port(listener_);
    return bound != 0 ? std::optional(bound) : std::nullopt;
}

void ViewerNetworkListener::cancel() {
    isCancelled_ = true;
    nw_listener_cancel(listener_);
}

}  // namespace velmora
