#pragma once

#include <functional>

namespace velmora {

/// Whether the person's session is locked. Main thread only; what is given a function runs it
/// later, on the main thread.
class ViewerSessionLock {
  public:
    enum class State {
        /// Also where nothing can lock the session.
        unlocked,
        locked,
        /// Who should know does not answer.
        unknown,
    };

    virtual ~ViewerSessionLock() = default;

    /// `changed` runs whenever the session is locked or unlocked from now on. Called once.
    virtual void watch(std::function<void(bool isLocked)> changed) = 0;
    /// `answer` runs once, within some seconds; not after `end`.
    virtual void ask(std::function<void(State)> answer) = 0;
    virtual void end() = 0;
};

}  // namespace velmora
