#include "viewerctl/ViewerTurns.h"

#include <algorithm>

namespace velmora {

bool ViewerTurns::begin(Display display, TimePoint now) {
    forgetEnded(now);
    Entry& entry = entries_[display];
    const bool isHeld = entry.isHeld(now);
    const bool mayBegin = isHeld ? mayGoOn(entry, now) : mayEnter(entry, now);
    if (!mayBegin) {
        entry.waitingSince = entry.waitingSince.value_or(now);
        return false;
    }
    if (!isHeld) {
        entry.turnBegin = now;
    }
    entry.waitingSince.reset();
    entry.isAsked = true;
    return true;
}

void ViewerTurns::end(Display display, TimePoint now) {
    Entry& entry = entries_[display];
    entry.isAsked = false;
    entry.heldUntil = now + hold;
}

void ViewerTurns::leave(Display display) {
    const auto found = entries_.find(display);
    if (found != entries_.end()) {
        found->second.waitingSince.reset();
    }
}

std::size_t ViewerTurns::held(TimePoint now) const {
    return static_cast<std::size_t>(
        std::count_if(entries_.begin(), entries_.end(),
                      [now](const auto& each) { return each.second.isHeld(now); }));
}

void ViewerTurns::forgetEnded(TimePoint now) {
    std::erase_if(entries_, [now](const auto& each) {
        return !each.second.isHeld(now) && !each.second.waitingSince;
    });
}

/// As many displays give their turn up as wait for one.
bool ViewerTurns::mayGoOn(const Entry& entry, TimePoint now) const {
    std::size_t waiting = 0;
    std::size_t givenUp = 0;
    for (const auto& [display, each] : entries_) {
        const bool isOther = &each != &entry && each.waitingSince;
        waiting += isOther && !each.isHeld(now) ? 1U : 0U;
        givenUp += isOther && each.isHeld(now) ? 1U : 0U;
    }
    return waiting <= givenUp || (!entry.waitingSince && now - entry.turnBegin < turn);
}

/// Whoever has waited longest is first.
bool ViewerTurns::mayEnter(const Entry& entry, TimePoint now) const {
    const auto isBefore = [&](const auto& each) {
        const Entry& other = each.second;
        return &other != &entry && other.waitingSince && !other.isHeld(now) &&
               (!entry.waitingSince || *other.waitingSince < *entry.waitingSince);
    };
    const auto before =
        static_cast<std::size_t>(std::count_if(entries_.begin(), entries_.end(), isBefore));
    return held(now) + before < mostHeld;
}

}  // namespace velmora
