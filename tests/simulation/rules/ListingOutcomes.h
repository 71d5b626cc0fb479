#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

#include "tests/simulation/SimulationHistory.h"

namespace velmora {

/// How long the platform's answer is waited for.
inline constexpr std::chrono::seconds listingLimit{4};

/// When the host knew what came of a listing: with its answer, or at the limit without one.
inline ViewerContinuousClock::Instant endOf(const ListingHistory& listing) {
    const auto limit = listing.asked.time + listingLimit;
    return listing.answered ? std::min(listing.answered->time, limit) : limit;
}

inline std::size_t pendingListings(const SimulationHistory& history,
                                   ViewerContinuousClock::Instant now) {
    return static_cast<std::size_t>(
        std::ranges::count_if(history.listings, [now](const ListingHistory& listing) {
            return !listing.answered && endOf(listing) > now;
        }));
}

/// What the listings brought that can be a request's own: asked for once it was complete, and over
/// when it was answered.
class ListingOutcomes final {
  public:
    ListingOutcomes(const SimulationHistory& history, const ConnectionHistory& connection) {
        for (const ListingHistory& listing : history.listings) {
            const bool isInTime =
                listing.answered && listing.answered->time < listing.asked.time + listingLimit;
            const bool isOver = isInTime || endOf(listing) <= connection.answered->time;
            if (isOver && !(listing.asked < *connection.complete)) {
                outcomes_.push_back(isInTime ? &listing.displays : &nothing_);
            }
        }
    }

    template <typename Predicate>
    bool any(Predicate predicate) const {
        return std::ranges::any_of(outcomes_,
                                   [&](const auto* displays) { return predicate(*displays); });
    }

  private:
    const std::vector<ViewerHostDisplay> nothing_;
    std::vector<const std::vector<ViewerHostDisplay>*> outcomes_;
};

}  // namespace velmora
