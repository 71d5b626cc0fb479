#include <Network/Network.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/mac/frameworks/dispatch/DispatchObjects.h"
#include "tests/mac/frameworks/foundation/FakeError.h"
#include "tests/mac/frameworks/network/NetworkObjects.h"

using velmora::FakeConnection;
using velmora::FakeNetworkObject;

@interface NetworkConnection : NSObject <OS_nw_connection>
@end

@implementation NetworkConnection {
  @public
    std::shared_ptr<FakeConnection> _fake;
}
- (void)dealloc {
    _fake->drop();
}
@end

@interface NetworkError : NSObject <OS_nw_error>
@end

@implementation NetworkError {
  @public
    velmora::FakeNetworkError _error;
}
@end

namespace velmora {

nw_error_t networkErrorOf(const FakeNetworkObject::Error& error) {
    if (!error) {
        return nil;
    }
    NetworkError* const made = [[NetworkError alloc] init];
    made->_error = *error;
    return made;
}

nw_connection_t networkConnectionOf(std::shared_ptr<FakeConnection> connection) {
    NetworkConnection* const made = [[NetworkConnection alloc] init];
    made->_fake = std::move(connection);
    return made;
}

}  // namespace velmora

namespace {

FakeConnection& fakeOf(nw_connection_t connection) {
    return *static_cast<NetworkConnection*>(connection)->_fake;
}

dispatch_data_t dataOf(const std::string& region) {
    return dispatch_data_create(region.data(), region.size(), nil,
                                DISPATCH_DATA_DESTRUCTOR_DEFAULT);
}

dispatch_data_t dataOf(const FakeConnection::Delivery& delivery) {
    dispatch_data_t data = nil;
    for (const std::string& region : delivery.content.value_or(std::vector<std::string>())) {
        data = data == nil ? dataOf(region) : dispatch_data_create_concat(data, dataOf(region));
    }
    return data;
}

std::string bytesOf(dispatch_data_t data) {
    std::string bytes;
    std::string* const gathered = &bytes;
    dispatch_data_apply(data,
                        ^bool(dispatch_data_t, std::size_t, const void* region, std::size_t size) {
                          gathered->append(static_cast<const char*>(region), size);
                          return true;
                        });
    return bytes;
}

}  // namespace

void nw_connection_set_queue(nw_connection_t connection, dispatch_queue_t queue) {
    fakeOf(connection).setQueue(velmora::worldQueue(queue));
}

void nw_connection_set_state_changed_handler(nw_connection_t connection,
                                             nw_connection_state_changed_handler_t handler) {
    fakeOf(connection).setStateHandler(velmora::stateHandlerOf<nw_connection_state_t>(handler));
}

void nw_connection_start(nw_connection_t connection) {
    fakeOf(connection).start([connection] { (void)connection; });
}

void nw_connection_receive(nw_connection_t connection, std::uint32_t minimumLength,
                           std::uint32_t maximumLength,
                           nw_connection_receive_completion_t completion) {
    fakeOf(connection)
        .receive({minimumLength, maximumLength},
                 [completion](const FakeConnection::Delivery& delivery) {
                     completion(dataOf(delivery), nil, delivery.isComplete,
                                velmora::networkErrorOf(delivery.error));
                 });
}

void nw_connection_send(nw_connection_t connection, dispatch_data_t content,
                        nw_content_context_t context, bool isComplete,
                        nw_connection_send_completion_t completion) {
    FakeConnection::Message message;
    message.bytes = [content] { return bytesOf(content); };
    message.isDefaultContext = context == NW_CONNECTION_DEFAULT_MESSAGE_CONTEXT;
    message.isComplete = isComplete;
    fakeOf(connection)
        .send(std::move(message), [completion](const FakeNetworkObject::Error& error) {
            completion(velmora::networkErrorOf(error));
        });
}

void nw_connection_cancel(nw_connection_t connection) {
    fakeOf(connection).cancel();
}

CFErrorRef nw_error_copy_cf_error(nw_error_t error) {
    FakeError* const made =
        [FakeError errorWithDescription:static_cast<NetworkError*>(error)->_error.description];
    return (__bridge_retained CFErrorRef)made;
}
