#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "core/protocol/ViewerHostDisplay.h"

namespace velmora {

/// A list of displays with value semantics that never changes once it is made. Copies share the
/// displays, so that those of one listing are there once for all requests. Any thread.
class ViewerHostDisplays final {
  public:
    ViewerHostDisplays() = default;
    // NOLINTNEXTLINE(google-explicit-constructor): a list is the same whether it is shared or not.
    ViewerHostDisplays(std::vector<ViewerHostDisplay> displays)
        : displays_(std::make_shared<const std::vector<ViewerHostDisplay>>(std::move(displays))) {}

    const ViewerHostDisplay* begin() const { return displays_ ? displays_->data() : nullptr; }
    const ViewerHostDisplay* end() const { return begin() + size(); }
    std::size_t size() const { return displays_ ? displays_->size() : 0; }
    bool empty() const { return size() == 0; }

    /// Whether both share their displays.
    bool isSame(const ViewerHostDisplays& other) const { return displays_ == other.displays_; }
    friend bool operator==(const ViewerHostDisplays& a, const ViewerHostDisplays& b) {
        return a.isSame(b) || std::equal(a.begin(), a.end(), b.begin(), b.end());
    }

  private:
    std::shared_ptr<const std::vector<ViewerHostDisplay>> displays_;
};

}  // namespace velmora
