#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/http/ViewerTransport.h"
#include "tests/support/http/ScriptedListener.h"

namespace velmora {

/// A transport that makes scripted listeners and notes for which ports. One thread.
class ScriptedTransport final : public ViewerTransport {
  public:
    bool isUsablePort(std::uint16_t) const override { return hasPorts; }

    ViewerListenerCreation makeListener(std::uint16_t port) override {
        requestedPorts.push_back(port);
        if (onMakeListener) {
            onMakeListener();
        }
        if (creationError) {
            return ViewerPlatformError{*creationError};
        }
        listeners.push_back(std::make_shared<ScriptedListener>(portAtStart));
        return listeners.back();
    }

    /// Whether any port is usable.
    bool hasPorts = true;
    /// When set, no listener can be created.
    std::optional<std::string> creationError;
    std::function<void()> onMakeListener;
    /// When set, listeners become ready on it by themselves.
    std::optional<std::uint16_t> portAtStart;

    std::vector<std::uint16_t> requestedPorts;
    std::vector<std::shared_ptr<ScriptedListener>> listeners;
};

}  // namespace velmora
