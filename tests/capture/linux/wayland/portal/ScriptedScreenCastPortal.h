#pragma once

#include <boost/asio/post.hpp>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/capture/linux/wayland/portal/ViewerScreenCastPortal.h"
#include "core/capture/linux/wayland/portal/ViewerSessionLock.h"
#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerExecutor.h"

namespace velmora {

/// A portal whose answers and closings a test plays. One thread.
class ScriptedScreenCastPortal final : public ViewerScreenCastPortal {
  public:
    explicit ScriptedScreenCastPortal(ViewerExecutor executor) : executor_(std::move(executor)) {}

    void watch(std::function<void(Ending)> ended) override { ended_ = std::move(ended); }
    void open(std::string token, Completion completion) override {
        viewerCheck(!isOpen() && !hasEnded, "one session at a time is asked for");
        opened.push_back(std::move(token));
        pending_ = std::move(completion);
        tokenIsSent = false;
        if (onOpen) {
            onOpen();
        }
    }
    bool hasSentToken() const override { return tokenIsSent; }
    void close() override {
        closings += isOpen() ? 1U : 0U;
        pending_ = nullptr;
        isGranted_ = false;
    }
    void openRemote(ViewerScreenCast::Remote remote) override {
        boost::asio::post(executor_, [remote = std::move(remote)] { remote(-1); });
    }
    void end() override {
        close();
        ended_ = nullptr;
        hasEnded = true;
    }

    bool isOpening() const { return pending_ != nullptr; }
    bool isOpen() const { return isOpening() || isGranted_; }
    void answer(Answer answer) {
        isGranted_ = answer.access == ViewerCaptureAccess::granted;
        std::exchange(pending_, nullptr)(std::move(answer));
    }
    /// Grants one stream, whose node counts the grants.
    void grant(std::string token) {
        Answer answer;
        answer.access = ViewerCaptureAccess::granted;
        ViewerGrantedStream stream;
        stream.node = static_cast<std::uint32_t>(opened.size());
        answer.grant.streams.push_back(stream);
        answer.token = std::move(token);
        this->answer(std::move(answer));
    }
    void refuse(ViewerCaptureAccess reason) {
        Answer refusal;
        refusal.access = reason;
        answer(std::move(refusal));
    }
    /// Ends the session that is open; none afterwards is nothing to this object's owner.
    void endSession(Ending ending) {
        isGranted_ = false;
        if (ended_) {
            const auto ended = ended_;
            ended(ending);
        }
    }

    /// The token of each session that was asked for.
    std::vector<std::string> opened;
    std::size_t closings = 0;
    bool tokenIsSent = false;
    bool hasEnded = false;
    std::function<void()> onOpen;

  private:
    const ViewerExecutor executor_;
    std::function<void(Ending)> ended_;
    Completion pending_;
    bool isGranted_ = false;
};

/// A lock that answers what a test says, as soon as it is asked or when it is told to. One thread.
class ScriptedSessionLock final : public ViewerSessionLock {
  public:
    explicit ScriptedSessionLock(ViewerExecutor executor) : executor_(std::move(executor)) {}

    void watch(std::function<void(bool)> changed) override { changed_ = std::move(changed); }
    void ask(std::function<void(State)> answer) override {
        ++asked;
        if (isSlow) {
            unanswered_.push_back({std::move(answer), state});
        } else {
            boost::asio::post(executor_,
                              [answer = std::move(answer), state = state] { answer(state); });
        }
    }
    void end() override {
        changed_ = nullptr;
        unanswered_.clear();
    }

    void change(bool isLocked) {
        state = isLocked ? State::locked : State::unlocked;
        if (changed_) {
            const auto changed = changed_;
            changed(isLocked);
        }
    }
    /// Gives the answers that were held back, as the state was when they were asked for.
    void answerAll() {
        for (const auto& [answer, said] : std::exchange(unanswered_, {})) {
            answer(said);
        }
    }
    bool isWatched() const { return changed_ != nullptr; }

    State state = State::unlocked;
    bool isSlow = false;
    std::size_t asked = 0;

  private:
    const ViewerExecutor executor_;
    std::function<void(bool)> changed_;
    std::vector<std::pair<std::function<void(State)>, State>> unanswered_;
};

}  // namespace velmora
