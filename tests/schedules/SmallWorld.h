#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/schedules/ScheduledWorld.h"

namespace velmora {

/// A few of the host's objects and what surrounds them, small enough for every schedule of it to be
/// tried. It lives in the memory that is watched: what it notes down in one step and looks at in
/// another makes the order of the two count. One thread.
class SmallWorld {
  public:
    explicit SmallWorld(ScheduledWorld& world) : world_(world) {}
    SmallWorld(const SmallWorld&) = delete;
    SmallWorld& operator=(const SmallWorld&) = delete;
    virtual ~SmallWorld() = default;

    virtual void begin() = 0;
    /// Everything has happened: lets go of everything and looks at what was left.
    virtual void end() = 0;
    /// What came of it, the same for two schedules only if the same came of both.
    virtual std::string outcome() const = 0;

    const std::vector<std::string>& failures() const { return failures_; }
    /// What came up in this schedule of what its kind has to reach.
    const std::set<std::string_view>& reached() const { return reached_; }
    /// Told of every event where a schedule is told, else empty.
    std::function<void(const std::string&)> teller;

  protected:
    ScheduledWorld& world() { return world_; }
    const ScheduledWorld& world() const { return world_; }
    void expect(bool holds, std::string_view rule);
    /// The state's name is a literal.
    void reach(std::string_view state);
    void tell(std::string_view event, std::string_view name = "");
    void tell(std::string_view event, std::size_t number);

  private:
    ScheduledWorld& world_;
    std::vector<std::string> failures_;
    std::set<std::string_view> reached_;
};

/// One of the worlds that there are.
struct SmallWorldKind final {
    std::string_view name;
    /// What is in it, as a phrase.
    std::string_view content;
    /// It has few schedules: every one of them can be tried without leaving any out.
    bool isTiny = false;
    /// It ends within seconds.
    bool isShort = false;
    std::function<std::unique_ptr<SmallWorld>(ScheduledWorld& world)> make;
    /// What some schedule has to reach.
    std::vector<std::string_view> states;
};

const std::vector<SmallWorldKind>& smallWorlds();
/// A world of no host: random functions on a few queues, which read and write, post, set timers,
/// share and let go of objects. For the exploration's own proof.
SmallWorldKind randomWorld(std::uint64_t seed);

}  // namespace velmora
