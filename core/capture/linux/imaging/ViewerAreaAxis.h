#pragma once

#include <cstdint>

namespace velmora {

/// One direction of an area average: which source pixels lie under which target pixels. Target
/// pixel t covers the source from t × source / target to (t + 1) × source / target, so its first
/// and its last source pixel may be shared with its neighbours. A plain value; any thread.
class ViewerAreaAxis final {
  public:
    /// Far above any screen; up to here no product of two lengths and a channel's value overflows.
    static constexpr std::int64_t maxLength = std::int64_t{1} << 27;

    /// REQUIRES: 1 <= targetLength <= sourceLength <= maxLength.
    ViewerAreaAxis(std::int64_t sourceLength, std::int64_t targetLength);

    std::int64_t sourceLength() const { return sourceLength_; }
    std::int64_t targetLength() const { return targetLength_; }
    /// Whether every source pixel lies under one target pixel only.
    bool isIntegral() const { return sourceLength_ % targetLength_ == 0; }

    /// The first source pixel under target pixel `target`, and one past the last.
    std::int64_t sourceBegin(std::int64_t target) const;
    std::int64_t sourceEnd(std::int64_t target) const;
    /// The first target pixel that lies over source pixel `source`, and one past the last.
    std::int64_t targetBegin(std::int64_t source) const;
    std::int64_t targetEnd(std::int64_t source) const;
    /// How much of source pixel `source` lies under target pixel `target`, where a whole source
    /// pixel is `targetLength` and the parts of one target pixel add up to `sourceLength`.
    std::int64_t overlap(std::int64_t source, std::int64_t target) const;

  private:
    std::int64_t sourceLength_;
    std::int64_t targetLength_;
};

}  // namespace velmora
