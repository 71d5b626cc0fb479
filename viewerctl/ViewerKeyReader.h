#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velmora {

/// What a key asks for. A plain value; any thread.
struct ViewerKey final {
    enum class Wish { next, previous, choose, pause, end };

    friend bool operator==(const ViewerKey&, const ViewerKey&) = default;

    Wish wish;
    /// The display to choose, counted from 1.
    int number = 0;
};

/// Tells keys from the bytes that a terminal sends. The Escape key is told from a sequence that
/// begins like it by the time in which nothing follows; who reads has to take it. One thread.
class ViewerKeyReader final {
  public:
    /// The keys that these bytes complete; others are passed over.
    std::vector<ViewerKey> take(std::string_view bytes);
    /// Whether it depends on what follows.
    bool isWaiting() const { return !rest_.empty(); }
    /// Nothing has followed for a while.
    std::vector<ViewerKey> takeRest();

  private:
    std::string rest_;
};

}  // namespace velmora
