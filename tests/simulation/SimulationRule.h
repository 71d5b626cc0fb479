#pragma once

#include <string_view>

#include "tests/simulation/SimulationHistory.h"

namespace velmora {

class SimulationCourse;

/// Something that must hold whatever happens. A rule is told of events and of every rest, the
/// moment before time goes on, and looks at the history of what happened at the host's edges: it
/// knows nothing of how the host is made. One thread.
class SimulationRule {
  public:
    explicit SimulationRule(SimulationCourse& course) : course_(course) {}
    SimulationRule(const SimulationRule&) = delete;
    SimulationRule& operator=(const SimulationRule&) = delete;
    virtual ~SimulationRule() = default;

    /// What must hold, as a sentence.
    virtual std::string_view sentence() const = 0;

    virtual void connectionStarted(const ConnectionHistory& connection) { (void)connection; }
    virtual void connectionReceived(const ConnectionHistory& connection) { (void)connection; }
    virtual void connectionAnswered(const ConnectionHistory& connection) { (void)connection; }
    virtual void connectionCancelled(const ConnectionHistory& connection) { (void)connection; }
    virtual void connectionDropped(const ConnectionHistory& connection) { (void)connection; }
    virtual void listingAsked() {}
    virtual void streamMade(const StreamHistory& stream) { (void)stream; }
    virtual void streamStopped(const StreamHistory& stream) { (void)stream; }
    virtual void alertShown(std::string_view title) { (void)title; }
    virtual void systemAsked() {}
    virtual void listenerMade() {}
    virtual void sessionWatched() {}
    virtual void rested() {}
    virtual void over() {}

  protected:
    void expect(bool holds, std::string_view otherwise) const {
        if (!holds) {
            fail(otherwise);
        }
    }
    void fail(std::string_view reason) const;
    const SimulationHistory& history() const;
    SimulationMoment now() const;

    SimulationCourse& course_;
};

}  // namespace velmora
