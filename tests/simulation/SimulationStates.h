#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace velmora {

/// What has to come up for a simulation to be worth something.
enum class SimulationState : std::size_t {
    sixteenServed,
    lineOfTen,
    lineOfHundred,
    lineAtTheEnd,
    cutOffAtTheDeadline,
    cutOffWhileRouting,
    answerNeverRead,
    brokenOff,
    halfClosedAndAnswered,
    neverReady,
    pipelined,
    headInManyPieces,
    everyErrorStatus,
    framesOfFourDisplays,
    fifthDisplayRefused,
    fifthDisplayAfterAnIdleStop,
    idleStop,
    staleIdleTimer,
    startNeverAnswered,
    startAnsweredLate,
    startFailed,
    outputRefused,
    diedWithNotice,
    diedInSilence,
    diedDuringStart,
    deathBetweenFetchAndDelivery,
    replacedAfterDeath,
    lateFirstFrame,
    noFirstFrame,
    stalePictureDelivered,
    stopFailed,
    stopNeverAnswered,
    listingFailed,
    listingNeverAnswered,
    listingFailedBeforeTheFrame,
    displaysAtHand,
    displayWentAway,
    displayCameBack,
    equalNames,
    equalIdentifiers,
    numberTakenOver,
    samePictureAgain,
    quitDuringLook,
    quitDuringConsent,
    quitDuringRequest,
    quitBeforeReady,
    quitWhileRouting,
    quitDuringStreamStart,
    quitTwice,
    quitBehindAnAlert,
    endAfterTheGrace,
    sessionEnded,
    listenerFailed,
    listenerFailedLater,
    permissionRefused,
    count
};

inline constexpr std::size_t simulationStates = static_cast<std::size_t>(SimulationState::count);

std::string_view nameOf(SimulationState state);

/// In how many simulations each state came up. One thread.
class SimulationStates final {
  public:
    void reach(SimulationState state) { reached_.at(static_cast<std::size_t>(state)) = 1; }
    std::uint64_t times(SimulationState state) const {
        return reached_.at(static_cast<std::size_t>(state));
    }
    void add(const SimulationStates& one);

  private:
    std::array<std::uint64_t, simulationStates> reached_{};
};

}  // namespace velmora
