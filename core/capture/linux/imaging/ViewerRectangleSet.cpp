#include "core/capture/linux/imaging/ViewerRectangleSet.h"

#include <algorithm>
#include <limits>

namespace velmora {

namespace {

/// The pixels that two rectangles do not need but one around both has.
std::int64_t wasteOfJoining(const ViewerRectangle& a, const ViewerRectangle& b) {
    return boundingBox(a, b).area() - a.area() - b.area();
}

}  // namespace

void ViewerRectangleSet::add(const ViewerRectangle& rectangle) {
    if (rectangle.isEmpty()) {
        return;
    }
    // What was joined has grown, and may now be worth joining with another one.
    ViewerRectangle added = rectangle;
    auto partner = rectangles_.begin();
    while (partner != rectangles_.end()) {
        if (wasteOfJoining(*partner, added) <= joiningArea_) {
            added = boundingBox(*partner, added);
            rectangles_.erase(partner);
            partner = rectangles_.begin();
        } else {
            ++partner;
        }
    }
    rectangles_.push_back(added);
    if (rectangles_.size() > maximumCount) {
        joinTwo();
    }
}

bool ViewerRectangleSet::covers(const ViewerRectangle& rectangle) const {
    return std::ranges::any_of(rectangles_, [&](const ViewerRectangle& each) {
        return boundingBox(each, rectangle) == each;
    });
}

void ViewerRectangleSet::joinTwo() {
    std::size_t first = 0;
    std::size_t second = 1;
    std::int64_t leastWaste = std::numeric_limits<std::int64_t>::max();
    for (std::size_t i = 0; i < rectangles_.size(); ++i) {
        for (std::size_t k = i + 1; k < rectangles_.size(); ++k) {
            const std::int64_t waste = wasteOfJoining(rectangles_[i], rectangles_[k]);
            if (waste < leastWaste) {
                leastWaste = waste;
                first = i;
                second = k;
            }
        }
    }
    // Takes both in, since joining what lies in another wastes nothing.
    add(boundingBox(rectangles_[first], rectangles_[second]));
}

}  // namespace velmora
