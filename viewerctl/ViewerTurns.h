#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>

namespace velmora {

/// Which displays of one host may be asked for pictures. The host captures few displays at once and
/// goes on with each for a while after its last request, so that it refuses one more: of many
/// displays some rest, and each gets its turn. Knows no clock. One thread.
class ViewerTurns final {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Display = std::uint32_t;

    /// Displays that the host captures at once.
    static constexpr std::size_t mostHeld = 4;
    /// For how long a display is taken for captured after its last request: longer than the host
    /// captures it, because the answer's way takes time.
    static constexpr std::chrono::milliseconds hold{5'500};
    /// For how long a display is asked while others wait.
    static constexpr std::chrono::seconds turn{5};

    /// Whether a request may begin, of which a display has one at a time. A display that may not
    /// waits from the first such answer on.
    bool begin(Display display, TimePoint now);
    /// The request that has begun is over.
    void end(Display display, TimePoint now);
    /// The display does not wait any more.
    void leave(Display display);

    /// Displays that the host captures now, as far as is known.
    std::size_t held(TimePoint now) const;

  private:
    struct Entry final {
        bool isHeld(TimePoint now) const { return isAsked || heldUntil > now; }

        bool isAsked = false;
        TimePoint heldUntil = TimePoint::min();
        TimePoint turnBegin = TimePoint::min();
        std::optional<TimePoint> waitingSince;
    };

    void forgetEnded(TimePoint now);
    bool mayGoOn(const Entry& entry, TimePoint now) const;
    bool mayEnter(const Entry& entry, TimePoint now) const;

    std::map<Display, Entry> entries_;
};

}  // namespace velmora
