#pragma once

#include <sys/resource.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/chaos/AnswerRules.h"
#include "tests/chaos/Operator.h"
#include "tests/chaos/Stranger.h"
#include "tests/support/system/HostProcess.h"

namespace velmora {

/// How long a run is, and which course it takes. From the environment: VIEWER_CHAOS_SECONDS,
/// VIEWER_CHAOS_RESTARTS, VIEWER_CHAOS_SEED. A plain value.
struct ChaosForm final {
    static ChaosForm fromEnvironment();

    /// Nothing: as short as it can be and have everything in it once.
    std::chrono::seconds duration{0};
    int restarts = 25;
    std::uint32_t seed = 1;
};

/// What a process holds on to.
struct Footprint final {
    static Footprint of(const HostProcess& host);

    std::size_t descriptors = 0;
    std::size_t threads = 0;
    std::size_t residentBytes = 0;
};

/// One life of a host, with those who poll it and those who do not behave, and what it held on to
/// when it had come to rest. One thread, but for those.
class ChaosRun final {
  public:
    /// `isIdle` tells whether the host captures nothing.
    ChaosRun(HostProcess& host, AnswerRules& rules, ChaosTally& tally, std::uint32_t seed,
             std::function<bool()> isIdle);

    /// Waits until every display is listed; false when that does not happen.
    bool awaitDisplays(std::size_t count);
    const std::string& idOf(const std::string& name) const { return ids_.at(name); }

    /// Operators and strangers begin; they are made anew each time.
    void begin(std::size_t operators, std::size_t strangers);
    void end();
    /// Has slowhttptest try one of its ways, for so long; returns at its end.
    void attackSlowly(const std::string& way, std::chrono::seconds duration);

    /// Lets the host open hardly a descriptor more; what it was allowed before.
    rlimit takeDescriptors();
    void giveDescriptors(const rlimit& limit);

    /// How the host came to rest first: later it must not hold on to more.
    void rest();
    /// Everybody has gone: the list is there at once, and after the idle stop nothing is held on to
    /// that was not at first. False, and told, where that is not so.
    bool comesToRest();

    /// From the seed: a number below another, a time up to another, and what orders things.
    std::size_t below(std::size_t count);
    std::chrono::milliseconds moment(std::chrono::milliseconds longest);
    std::mt19937& random() { return random_; }

  private:
    HostProcess& host_;
    AnswerRules& rules_;
    ChaosTally& tally_;
    std::mt19937 random_;
    const std::function<bool()> isIdle_;
    std::map<std::string, std::string> ids_;
    std::vector<std::unique_ptr<Operator>> operators_;
    std::vector<std::unique_ptr<Stranger>> strangers_;
    Footprint rest_;
};

}  // namespace velmora
