#include "core/runtime/ViewerDeadlineQueue.h"

#include <utility>

namespace velmora {

ViewerDeadlineQueue::TimerId ViewerDeadlineQueue::add(Instant deadline, ViewerExecutor executor,
                                                      Action action) {
    const TimerId id{deadline, ++lastNumber_};
    pending_.emplace(id, Due{std::move(executor), std::move(action)});
    return id;
}

ViewerDeadlineQueue::Action ViewerDeadlineQueue::withdraw(TimerId timer) {
    const auto found = pending_.extract(timer);
    return found ? std::move(found.mapped().action) : nullptr;
}

ViewerDeadlineQueue::Instant ViewerDeadlineQueue::next() const {
    return pending_.empty() ? Instant::max() : pending_.begin()->first.deadline;
}

std::optional<ViewerDeadlineQueue::Due> ViewerDeadlineQueue::takeDue(Instant now) {
    if (pending_.empty() || next() > now) {
        return std::nullopt;
    }
    return std::move(pending_.extract(pending_.begin()).mapped());
}

}  // namespace velmora
