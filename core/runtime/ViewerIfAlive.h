#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace velmora {

/// A function that calls `action` with `object` and its own arguments, and does nothing once
/// `object` is gone: what whoever calls back later is given, so as not to keep `object` alive until
/// then. A call keeps it alive while it lasts. As safe to call as `action` is.
template <typename Object, typename Action>
auto ifAlive(std::weak_ptr<Object> object, Action action) {
    return [object = std::move(object),
            action = std::move(action)]<typename... Arguments>(Arguments&&... arguments) {
        if (const auto alive = object.lock()) {
            std::invoke(action, *alive, std::forward<Arguments>(arguments)...);
        }
    };
}

}  // namespace velmora
