#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/coordination/ViewerHostFrameProviding.h"

namespace velmora {

/// Answers at once from what a test put in, and notes what it was asked for. One thread.
class FakeFrameProvider final : public ViewerHostFrameProviding {
  public:
    ViewerTask<std::vector<ViewerHostDisplay>> displays() override {
        calls.emplace_back("displays");
        return answered(listed);
    }
    ViewerTask<std::optional<ViewerHostFrame>> frame(std::string displayID) override {
        calls.push_back("frame " + displayID);
        const auto found = frames.find(displayID);
        return answered(found == frames.end() ? std::nullopt : std::optional(found->second));
    }
    ViewerTask<void> shutdown() override {
        calls.emplace_back("shutdown");
        return done();
    }

    std::vector<ViewerHostDisplay> listed;
    std::map<std::string, ViewerHostFrame> frames;
    /// "displays", "frame ID" and "shutdown", in the order of the calls.
    std::vector<std::string> calls;

  private:
    template <typename T>
    static ViewerTask<T> answered(T value) {
        co_return value;
    }
    static ViewerTask<void> done() { co_return; }
};

}  // namespace velmora
