#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/coordination/ViewerHostFrameProviding.h"

namespace velmora {

/// Answers at once from what a test put in, and notes what it was asked for. One thread.
class FakeFrameProvider final : public ViewerHostFrameProviding {
  public:
    ViewerTask<ViewerHostDisplays> displays() override {
        calls.emplace_back("displays");
        return answered(ViewerHostDisplays(listed));
    }
    ViewerTask<std::optional<ViewerHostFrame>> frame(std::string displayID) override {
        calls.push_back("frame " + displayID);
        const auto found = frames.find(displayID);
        return answered(found == frames.end() ? std::nullopt : std::optional(found->second));
    }
    std::optional<ViewerHostDisplays> displaysAtHand(const ViewerExecutor& executor) override {
        if (!areAtHand) {
            return std::nullopt;
        }
        calls.emplace_back("displays at hand");
        caller = executor;
        return ViewerHostDisplays(listed);
    }
    std::optional<ViewerHostFrame> frameAtHand(const ViewerExecutor& executor,
                                               std::string_view displayID) override {
        calls.push_back("frame at hand " + std::string(displayID));
        caller = executor;
        const auto found = framesAtHand.find(displayID);
        return found == framesAtHand.end() ? std::nullopt : std::optional(found->second);
    }
    ViewerTask<void> shutdown() override {
        calls.emplace_back("shutdown");
        return done();
    }

    std::vector<ViewerHostDisplay> listed;
    std::map<std::string, ViewerHostFrame, std::less<>> frames;
    /// Whether what is listed is at hand, and which frames are.
    bool areAtHand = false;
    std::map<std::string, ViewerHostFrame, std::less<>> framesAtHand;
    /// Where it was last asked for what is at hand.
    ViewerExecutor caller;
    /// "displays", "frame ID", "displays at hand", "frame at hand ID" and "shutdown", in the order
    /// of the calls.
    std::vector<std::string> calls;

  private:
    template <typename T>
    static ViewerTask<T> answered(T value) {
        co_return value;
    }
    static ViewerTask<void> done() { co_return; }
};

}  // namespace velmora
