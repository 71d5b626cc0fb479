#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/runtime/ViewerAction.h"
#include "tests/schedules/Footprint.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {

/// A simulated world whose every choice is made from outside. What may happen next is the first
/// function of any queue; an outside event, which may be left for later as long as one likes; and,
/// while no queue has anything to do, that time goes on to the next timer. One thread.
class ScheduledWorld final : public SimulatedWorld {
  public:
    /// Who does the next step: a queue, an outside event, or time.
    using Actor = std::size_t;
    static constexpr Actor time = static_cast<Actor>(-1);
    static constexpr std::size_t noStep = static_cast<std::size_t>(-1);

    /// What a step did.
    struct Step final {
        Actor actor = time;
        Footprint footprint;
        /// The step that put the function of this one into its queue, if one did.
        std::size_t cause = noStep;
    };

    ScheduledWorld() = default;
    ScheduledWorld(const ScheduledWorld&) = delete;
    ScheduledWorld& operator=(const ScheduledWorld&) = delete;

    /// From now on `event` may happen, once.
    void mayHappen(std::string name, std::function<void()> event);

    /// Who may be next, time as the last. Nobody when everything has happened.
    std::vector<Actor> actors() const;
    /// Whether no queue has anything to do.
    bool isAtRest() const;
    bool isOutside(Actor actor) const;
    /// Lets one of the actors do a step. Only a watched one has a footprint.
    Step take(Actor actor, bool isWatched);
    std::string nameOf(Actor actor) const;
    /// How many steps were begun.
    std::size_t steps() const { return steps_; }

    TimerId schedule(Instant deadline, ViewerExecutor executor, ViewerAction action) override;
    void withdraw(TimerId timer) override;
    ViewerExecutor mainExecutor() override;
    ViewerExecutor taskExecutor() override;
    ViewerExecutor makeSerialExecutor(std::string_view label) override;
    void enqueue(std::size_t queue, std::unique_ptr<Work> work) override;

  private:
    struct QueueNotes final {
        std::string name;
        bool isOutside = false;
        /// For each function in the queue the step that put it there.
        std::deque<std::size_t> causes;
    };

    ViewerExecutor addNamed(std::string_view name, bool isOutside);
    void run(std::size_t queue);

    std::deque<QueueNotes> notes_;
    std::size_t step_ = noStep;
    std::size_t steps_ = 0;
    /// The queues that there were before the step.
    std::size_t known_ = 0;
    /// Queues and deadlines that the step touched.
    Footprint reached_;
};

}  // namespace velmora
