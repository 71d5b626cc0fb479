#include <Network/Network.h>

#include <memory>
#include <utility>

#include "tests/mac/frameworks/dispatch/DispatchObjects.h"
#include "tests/mac/frameworks/network/FakeListener.h"
#include "tests/mac/frameworks/network/NetworkObjects.h"

using velmora::FakeListener;

@interface NetworkParameters : NSObject <OS_nw_parameters>
@property(nonatomic) BOOL isSecure;
@end

@implementation NetworkParameters
@end

@interface NetworkListener : NSObject <OS_nw_listener>
@end

@implementation NetworkListener {
  @public
    std::shared_ptr<FakeListener> _fake;
}
- (void)dealloc {
    _fake->drop();
}
@end

namespace {

FakeListener& fakeOf(nw_listener_t listener) {
    return *static_cast<NetworkListener*>(listener)->_fake;
}

}  // namespace

const nw_parameters_configure_protocol_block_t _nw_parameters_configure_protocol_disable =
    ^(nw_protocol_options_t) {
    };
const nw_parameters_configure_protocol_block_t
    _nw_parameters_configure_protocol_default_configuration = ^(nw_protocol_options_t) {
    };

nw_parameters_t nw_parameters_create_secure_tcp(
    nw_parameters_configure_protocol_block_t configureTLS,
    nw_parameters_configure_protocol_block_t /*configureTCP*/) {
    NetworkParameters* const parameters = [[NetworkParameters alloc] init];
    parameters.isSecure = configureTLS != _nw_parameters_configure_protocol_disable;
    return parameters;
}

nw_listener_t nw_listener_create_with_port(const char* port, nw_parameters_t parameters) {
    auto fake = FakeListener::make(port, static_cast<NetworkParameters*>(parameters).isSecure);
    if (!fake) {
        return nil;
    }
    NetworkListener* const listener = [[NetworkListener alloc] init];
    listener->_fake = std::move(fake);
    return listener;
}

void nw_listener_set_queue(nw_listener_t listener, dispatch_queue_t queue) {
    fakeOf(listener).setQueue(velmora::worldQueue(queue));
}

void nw_listener_set_state_changed_handler(nw_listener_t listener,
                                           nw_listener_state_changed_handler_t handler) {
    fakeOf(listener).setStateHandler(velmora::stateHandlerOf<nw_listener_state_t>(handler));
}

void nw_listener_set_new_connection_handler(nw_listener_t listener,
                                            nw_listener_new_connection_handler_t handler) {
    FakeListener::ConnectionHandler connectionHandler;
    if (handler != nil) {
        connectionHandler = [handler](std::shared_ptr<velmora::FakeConnection> connection) {
            handler(velmora::networkConnectionOf(std::move(connection)));
        };
    }
    fakeOf(listener).setConnectionHandler(std::move(connectionHandler));
}

std::uint16_t nw_listener_get_port(nw_listener_t listener) {
    return fakeOf(listener).boundPort();
}

void nw_listener_start(nw_listener_t listener) {
    fakeOf(listener).start([listener] { (void)listener; });
}

void nw_listener_cancel(nw_listener_t listener) {
    fakeOf(listener).cancel();
}
