#pragma once

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <variant>

#include "core/runtime/ViewerContinuousClock.h"

namespace velmora {

/// What happens in one simulation, event by event: a number that two runs share only if they are
/// the same, and, where it is wanted, a line for each event on standard output. One thread.
class SimulationTrace final {
  public:
    using Argument = std::variant<std::uint64_t, std::string_view>;

    SimulationTrace(const ViewerContinuousClock& clock, bool isPrinted)
        : clock_(clock), begin_(clock.now()), isPrinted_(isPrinted) {}

    /// Notes an event. Each "#" in `text` stands for the next argument.
    void note(std::string_view text, std::initializer_list<Argument> arguments = {});

    std::uint64_t hash() const { return hash_; }

  private:
    void add(std::uint64_t value);
    void add(std::string_view text);
    void print(std::string_view text, std::initializer_list<Argument> arguments) const;

    const ViewerContinuousClock& clock_;
    const ViewerContinuousClock::Instant begin_;
    const bool isPrinted_;
    std::uint64_t hash_ = 14'695'981'039'346'656'037U;
};

}  // namespace velmora
