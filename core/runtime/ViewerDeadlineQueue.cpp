#include "core/runtime/ViewerDeadlineQueue.h"

#include <cstddef>
#include <utility>

namespace velmora {

namespace {

/// More than requests that are served at once have deadlines.
constexpr std::size_t mostUnused = 64;

}  // namespace

ViewerDeadlineQueue::TimerId ViewerDeadlineQueue::add(Instant deadline, ViewerExecutor executor,
                                                      Action action) {
    const TimerId id{deadline, ++lastNumber_};
    Due due{std::move(executor), std::move(action)};
    if (unused_.empty()) {
        pending_.emplace(id, std::move(due));
        return id;
    }
    Pending::node_type node = std::move(unused_.back());
    unused_.pop_back();
    node.key() = id;
    node.mapped() = std::move(due);
    // Mostly it is the last deadline of all.
    pending_.insert(pending_.end(), std::move(node));
    return id;
}

ViewerDeadlineQueue::Action ViewerDeadlineQueue::withdraw(TimerId timer) {
    const auto place = timer == TimerId() ? pending_.end() : pending_.find(timer);
    if (place == pending_.end()) {
        return {};
    }
    auto found = pending_.extract(place);
    Action action = std::exchange(found.mapped().action, {});
    keep(std::move(found));
    return action;
}

ViewerDeadlineQueue::Instant ViewerDeadlineQueue::next() const {
    return pending_.empty() ? Instant::max() : pending_.begin()->first.deadline;
}

std::optional<ViewerDeadlineQueue::Due> ViewerDeadlineQueue::takeDue(Instant now) {
    if (pending_.empty() || next() > now) {
        return std::nullopt;
    }
    auto first = pending_.extract(pending_.begin());
    Due due = std::move(first.mapped());
    keep(std::move(first));
    return due;
}

void ViewerDeadlineQueue::keep(Pending::node_type node) {
    if (unused_.size() < mostUnused) {
        node.mapped() = Due();
        unused_.push_back(std::move(node));
    }
}

}  // namespace velmora
