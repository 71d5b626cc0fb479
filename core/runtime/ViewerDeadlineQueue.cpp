#include "core/runtime/ViewerDeadlineQueue.h"

#include <utility>

namespace velmora {

ViewerDeadlineQueue::TimerId ViewerDeadlineQueue::add(Instant deadline, ViewerExecutor executor,
                                                      Action action) {
    const TimerId id = ++lastId_;
    Pending pending{id, {std::move(executor), std::move(action)}};
    byId_.emplace(id, deadlines_.emplace(deadline, std::move(pending)));
    return id;
}

ViewerDeadlineQueue::Action ViewerDeadlineQueue::withdraw(TimerId timer) {
    const auto found = byId_.find(timer);
    if (found == byId_.end()) {
        return nullptr;
    }
    Action action = std::move(found->second->second.due.action);
    deadlines_.erase(found->second);
    byId_.erase(found);
    return action;
}

ViewerDeadlineQueue::Instant ViewerDeadlineQueue::next() const {
    return deadlines_.empty() ? Instant::max() : deadlines_.begin()->first;
}

std::optional<ViewerDeadlineQueue::Due> ViewerDeadlineQueue::takeDue(Instant now) {
    const auto first = deadlines_.begin();
    if (first == deadlines_.end() || first->first > now) {
        return std::nullopt;
    }
    Due due = std::move(first->second.due);
    byId_.erase(first->second.id);
    deadlines_.erase(first);
    return due;
}

}  // namespace velmora
