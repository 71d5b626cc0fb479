#include "tests/schedules/Footprint.h"

#include <algorithm>

// Compiled without the watch: half of an exploration's time is spent here.

namespace velmora {

namespace {

bool areConflicting(Footprint::Kinds a, Footprint::Kinds b) {
    const bool isWritten = ((a | b) & Footprint::write) != 0;
    const bool isCounted = ((a & Footprint::count) != 0 && (b & Footprint::read) != 0) ||
                           ((a & Footprint::read) != 0 && (b & Footprint::count) != 0);
    return isWritten || isCounted;
}

}  // namespace

void Footprint::add(Place place, Kinds kinds) {
    touched_.emplace_back(place, kinds);
}

void Footprint::add(const Footprint& other) {
    touched_.insert(touched_.end(), other.touched_.begin(), other.touched_.end());
}

void Footprint::sort() {
    std::ranges::sort(touched_);
}

bool Footprint::conflictsWith(const Footprint& other) const {
    auto a = touched_.begin();
    auto b = other.touched_.begin();
    while (a != touched_.end() && b != other.touched_.end()) {
        if (a->first == b->first && areConflicting(a->second, b->second)) {
            return true;
        }
        const bool isAFirst = a->first < b->first;
        const bool isBFirst = b->first < a->first;
        a += isBFirst ? 0 : 1;
        b += isAFirst ? 0 : 1;
    }
    return false;
}

}  // namespace velmora
