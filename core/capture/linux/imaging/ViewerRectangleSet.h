#pragma once

#include <cstddef>
#include <vector>

#include "core/capture/linux/imaging/ViewerRectangle.h"

namespace velmora {

/// A few rectangles that together cover everything that was added. Rectangles are joined where
/// fetching them one by one would cost more than fetching what lies between them too, so that they
/// may cover more than was added. A plain value.
class ViewerRectangleSet final {
  public:
    static constexpr std::size_t maximumCount = 8;

    /// `joiningArea` is the number of pixels that cost as much as one more rectangle.
    explicit ViewerRectangleSet(std::int64_t joiningArea) : joiningArea_(joiningArea) {}

    /// An empty rectangle changes nothing.
    void add(const ViewerRectangle& rectangle);
    void clear() { rectangles_.clear(); }

    bool isEmpty() const { return rectangles_.empty(); }
    /// Whether one of the rectangles contains this one.
    bool covers(const ViewerRectangle& rectangle) const;
    const std::vector<ViewerRectangle>& rectangles() const { return rectangles_; }

  private:
    void joinTwo();

    std::int64_t joiningArea_;
    std::vector<ViewerRectangle> rectangles_;
};

}  // namespace velmora
