#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/coordination/ViewerHostFrameProviding.h"

namespace velmora {

/// A provider before whose every answer comes a pause. As thread-safe as the provider behind it.
class PausingFrameProvider final : public ViewerHostFrameProviding {
  public:
    using Pause = std::function<ViewerTask<void>()>;

    PausingFrameProvider(std::shared_ptr<ViewerHostFrameProviding> provider, Pause pause)
        : provider_(std::move(provider)), pause_(std::move(pause)) {}

    ViewerTask<ViewerHostDisplays> displays() override {
        co_await pause_();
        co_return co_await provider_->displays();
    }
    ViewerTask<std::optional<ViewerHostFrame>> frame(std::string displayID) override {
        co_await pause_();
        co_return co_await provider_->frame(std::move(displayID));
    }
    ViewerTask<void> shutdown() override {
        co_await pause_();
        co_await provider_->shutdown();
    }

  private:
    const std::shared_ptr<ViewerHostFrameProviding> provider_;
    const Pause pause_;
};

}  // namespace velmora
