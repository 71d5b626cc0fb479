#pragma once

#include <deque>
#include <set>

namespace velmora {

/// Numbers of what has changed, in the order of the changes, each once. One thread.
template <typename Number>
class ViewerChanges final {
  public:
    void add(Number number) {
        if (known_.insert(number).second) {
            order_.push_back(number);
        }
    }
    bool empty() const { return order_.empty(); }
    Number take() {
        const Number number = order_.front();
        order_.pop_front();
        known_.erase(number);
        return number;
    }

  private:
    std::deque<Number> order_;
    std::set<Number> known_;
};

}  // namespace velmora
