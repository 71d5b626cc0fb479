#pragma once

#include <Network/Network.h>

#include <memory>

#include "tests/mac/frameworks/network/FakeConnection.h"
#include "tests/mac/frameworks/network/FakeNetworkObject.h"

namespace velmora {

/// An error as the program sees it; nil for none.
nw_error_t _Nullable networkErrorOf(const FakeNetworkObject::Error& error);

/// A handler of the program's for the tests' side; empty for nil.
template <typename State, typename Handler>
FakeNetworkObject::StateHandler stateHandlerOf(Handler _Nullable handler) {
    if (handler == nil) {
        return nullptr;
    }
    return [handler](unsigned state, const FakeNetworkObject::Error& error) {
        handler(static_cast<State>(state), networkErrorOf(error));
    };
}

/// A new connection as the program sees it.
nw_connection_t _Nonnull networkConnectionOf(std::shared_ptr<FakeConnection> connection);

}  // namespace velmora
