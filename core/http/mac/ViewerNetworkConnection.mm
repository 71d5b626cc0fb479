#include "core/http/mac/ViewerNetworkConnection.h"

#import <dispatch/dispatch.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "core/runtime/mac/ViewerDispatchExecutors.h"

namespace velmora {

namespace {

ViewerConnectionState stateOf(nw_connection_state_t state) {
    switch (state) {
        case nw_connection_state_invalid:
            return ViewerConnectionState::setup;
        case nw_connection_state_waiting:
            return ViewerConnectionState::waiting;
        case nw_connection_state_preparing:
            return ViewerConnectionState::preparing;
        case nw_connection_state_ready:
            return ViewerConnectionState::ready;
        case nw_connection_state_failed:
            return ViewerConnectionState::failed;
        case nw_connection_state_cancelled:
            return ViewerConnectionState::cancelled;
    }
    return ViewerConnectionState::setup;  // of a later system
}

/// The bytes of all regions in one piece.
std::vector<std::uint8_t> bytesOf(dispatch_data_t _Nullable content) {
    std::vector<std::uint8_t> bytes;
    if (content != nil) {
        auto* const gathered = &bytes;
        dispatch_data_apply(content, ^bool(dispatch_data_t, std::size_t, const void* region,
                                           std::size_t regionBytes) {
          const auto* const begin = static_cast<const std::uint8_t*>(region);
          gathered->insert(gathered->end(), begin, begin + regionBytes);
          return true;
        });
    }
    return bytes;
}

/// A message for the platform: its head is copied, its body stays where the encoder put it.
dispatch_data_t dataOf(const ViewerHostResponseBytes& message) {
    const dispatch_data_t head = dispatch_data_create(message.head.data(), message.head.size(), nil,
                                                      DISPATCH_DATA_DESTRUCTOR_DEFAULT);
    const ViewerBytes body = message.body;
    const dispatch_data_t rest = dispatch_data_create(body.data(), body.size(), nil, ^{
      (void)body;  // held until the platform lets go of the bytes
    });
    return dispatch_data_create_concat(head, rest);
}

}  // namespace

ViewerNetworkConnection::ViewerNetworkConnection(nw_connection_t connection)
    : connection_(connection) {}

ViewerNetworkConnection::~ViewerNetworkConnection() {
    nw_connection_set_state_changed_handler(connection_, nil);
    nw_connection_cancel(connection_);
}

void ViewerNetworkConnection::start(ViewerExecutor queue,
                                    std::weak_ptr<ViewerConnectionReceiver> receiver) {
    receiver_ = receiver;
    nw_connection_set_state_changed_handler(connection_,
                                            ^(nw_connection_state_t state, nw_error_t _Nullable) {
                                              if (const auto told = receiver.lock()) {
                                                  told->connectionDidChange(stateOf(state));
                                              }
                                            });
    nw_connection_set_queue(connection_, queueOf(queue));
    nw_connection_start(connection_);
    if (isCancelled_) {
        nw_connection_cancel(connection_);  // a cancel before the start may have been lost
    }
}

void ViewerNetworkConnection::receive(std::size_t maximum) {
    constexpr std::uint32_t minimum = 1;
    const auto receiver = receiver_;
    nw_connection_receive(connection_, minimum, static_cast<std::uint32_t>(maximum),
                          ^(dispatch_data_t _Nullable content, nw_content_context_t _Nullable,
                            bool isComplete, nw_error_t _Nullable error) {
                            const std::vector<std::uint8_t> bytes = bytesOf(content);
                            if (const auto told = receiver.lock()) {
                                told->connectionDidReceive({bytes, isComplete, error != nil});
                            }
                          });
}

void ViewerNetworkConnection::send(ViewerHostResponseBytes message) {
    const auto receiver = receiver_;
    nw_connection_send(connection_, dataOf(message), NW_CONNECTION_DEFAULT_MESSAGE_CONTEXT, true,
                       ^(nw_error_t _Nullable) {
                         if (const auto told = receiver.lock()) {
                             told->connectionDidSend();
                         }
                       });
}

void ViewerNetworkConnection::cancel() {
    isCancelled_ = true;
    nw_connection_cancel(connection_);
}

}  // namespace velmora
