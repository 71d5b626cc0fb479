#include "core/capture/linux/imaging/ViewerAreaAxis.h"

#include <algorithm>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

ViewerAreaAxis::ViewerAreaAxis(std::int64_t sourceLength, std::int64_t targetLength)
    : sourceLength_(sourceLength), targetLength_(targetLength) {
    viewerCheck(targetLength >= 1 && targetLength <= sourceLength && sourceLength <= maxLength,
                "an area average reduces a picture of a possible size");
}

std::int64_t ViewerAreaAxis::sourceBegin(std::int64_t target) const {
    return target * sourceLength_ / targetLength_;
}

std::int64_t ViewerAreaAxis::sourceEnd(std::int64_t target) const {
    return ((target + 1) * sourceLength_ + targetLength_ - 1) / targetLength_;
}

std::int64_t ViewerAreaAxis::targetBegin(std::int64_t source) const {
    return source * targetLength_ / sourceLength_;
}

std::int64_t ViewerAreaAxis::targetEnd(std::int64_t source) const {
    return ((source + 1) * targetLength_ + sourceLength_ - 1) / sourceLength_;
}

std::int64_t ViewerAreaAxis::overlap(std::int64_t source, std::int64_t target) const {
    const std::int64_t begin = std::max(source * targetLength_, target * sourceLength_);
    const std::int64_t end = std::min((source + 1) * targetLength_, (target + 1) * sourceLength_);
    return std::max<std::int64_t>(end - begin, 0);
}

}  // namespace velmora
