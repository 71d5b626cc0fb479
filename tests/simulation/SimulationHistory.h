#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/protocol/ViewerHostDisplay.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "tests/simulation/SimulatedExchange.h"

namespace velmora {

/// When something happened: the virtual time, and its place in the order of everything.
struct SimulationMoment final {
    ViewerContinuousClock::Instant time;
    std::uint64_t order = 0;

    friend bool operator<(const SimulationMoment& a, const SimulationMoment& b) {
        return a.order < b.order;
    }
};

using OptionalMoment = std::optional<SimulationMoment>;

/// One connection as its client and its network saw it.
struct ConnectionHistory final {
    std::size_t number = 0;
    SimulatedExchange exchange;
    /// The network gets the connection up.
    bool becomesReady = true;

    OptionalMoment arrived;
    OptionalMoment started;
    /// The host has received what decides the answer.
    OptionalMoment complete;
    OptionalMoment answered;
    /// The host has been told that its answer has left, or never will.
    OptionalMoment sent;
    /// The first time that the host ended the connection.
    OptionalMoment cancelled;
    /// The connection object has gone: its handler has ended.
    OptionalMoment dropped;
    /// The client has ended its side behind its bytes, or the network has lost the connection.
    OptionalMoment ended;
    OptionalMoment lost;
    /// The host received that end.
    OptionalMoment endSeen;
    std::size_t received = 0;
    std::size_t messages = 0;
    std::string message;

    bool isServed() const { return started && !dropped; }
    bool isRouted() const { return complete && exchange.isLookedUp() && !answered && !dropped; }
    /// When the host was done with the request.
    const OptionalMoment& closed() const { return answered ? answered : dropped; }
};

/// One question for the displays, and its answer.
struct ListingHistory final {
    SimulationMoment asked;
    OptionalMoment answered;
    /// What the host has to list, in its order; empty where the platform failed.
    std::vector<ViewerHostDisplay> displays;
};

struct PictureHistory final {
    SimulationMoment delivered;
    /// The bytes that its encoding has to be.
    std::string bytes;
};

/// One stream as the platform saw it.
struct StreamHistory final {
    std::size_t number = 0;
    /// The queue of the session that made it: the same for the streams of one session.
    std::size_t session = 0;
    std::string displayID;
    SimulationMoment made;
    OptionalMoment refused;
    OptionalMoment startAsked;
    OptionalMoment startAnswered;
    bool startSucceeded = false;
    /// It did so within the time that the host waits.
    bool hasStarted = false;
    OptionalMoment died;
    /// The first stop and the last; `stops` is how many there were.
    OptionalMoment stopAsked;
    OptionalMoment lastStopAsked;
    OptionalMoment stopAnswered;
    std::size_t stops = 0;
    OptionalMoment destroyed;
    std::vector<PictureHistory> pictures;

    /// It started in time, and neither died nor was stopped.
    bool isRecording() const { return hasStarted && !died && !stopAsked && !destroyed; }
};

/// Everything that happened at the host's edges. Written by the simulated platform, read by the
/// rules. Nothing in it moves: references stay good. One thread.
struct SimulationHistory final {
    std::deque<ConnectionHistory> connections;
    /// Those that are served, and how many wait.
    std::vector<ConnectionHistory*> served;
    std::size_t waiting = 0;
    std::deque<ListingHistory> listings;
    std::deque<StreamHistory> streams;

    /// The person at the machine.
    OptionalMoment consentGiven;
    OptionalMoment requestMade;
    OptionalMoment granted;
    /// The host has nothing to wait for any more: refused, or told so by a failure.
    OptionalMoment mustEnd;
    /// Something that ends the host is on its way, and a signal, a quit or the session's end has
    /// reached it.
    bool isToEnd = false;
    OptionalMoment quit;
    OptionalMoment hostEnded;
    OptionalMoment listenerReady;
    OptionalMoment listenerFailed;
};

}  // namespace velmora
