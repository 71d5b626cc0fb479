#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "core/capture/linux/wayland/ViewerScreenCast.h"

namespace velmora {

/// A desktop whose person and portal do what a test says. One thread.
class FakeScreenCast final : public ViewerScreenCast {
  public:
    State state() const override { return state_; }
    std::shared_ptr<const ViewerScreenCastGrant> grant() const override { return grant_; }
    void request(Answer answer) override { request_ = std::move(answer); }
    void watch(std::function<void()> changed) override { changed_ = std::move(changed); }
    void openRemote(Remote remote) override { openings.push_back(std::move(remote)); }
    void remoteIsLost() override {
        ++losses;
        if (state_ == State::granted) {
            become(State::interrupted, {});
        }
    }
    void outputsHaveChanged() override { ++outputChanges; }

    bool isAsked() const { return request_ != nullptr; }
    /// The person grants these in the first dialog.
    void allow(std::vector<ViewerGrantedStream> streams) {
        state_ = State::granted;
        grant_ = std::make_shared<const ViewerScreenCastGrant>(
            ViewerScreenCastGrant{std::move(streams)});
        std::exchange(request_, nullptr)(ViewerCaptureAccess::granted);
    }
    void refuse(ViewerCaptureAccess reason) { std::exchange(request_, nullptr)(reason); }
    void interrupt() { become(State::interrupted, {}); }
    void renew(std::vector<ViewerGrantedStream> streams) {
        become(State::granted, std::make_shared<const ViewerScreenCastGrant>(
                                   ViewerScreenCastGrant{std::move(streams)}));
    }
    void stop() { become(State::stopped, {}); }
    /// Tells a change where there was none.
    void tellAgain() { changed_(); }

    /// Those who wait for a descriptor, in their order.
    std::vector<Remote> openings;
    int losses = 0;
    int outputChanges = 0;

  private:
    void become(State state, std::shared_ptr<const ViewerScreenCastGrant> grant) {
        state_ = state;
        grant_ = std::move(grant);
        if (changed_) {
            changed_();
        }
    }

    State state_ = State::none;
    std::shared_ptr<const ViewerScreenCastGrant> grant_;
    Answer request_;
    std::function<void()> changed_;
};

}  // namespace velmora
