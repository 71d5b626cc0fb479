#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "tests/simulation/SimulationCourse.h"

namespace velmora {

/// A stream of the simulated machine: it starts at once, late, never or not at all, delivers
/// pictures when it likes, dies with a word or without, and stops when it likes. One thread.
class SimulatedStream final : public ViewerDisplayStream {
  public:
    /// Completions that are never called, as a system holds them. Outlives the streams' events.
    using Kept = std::vector<Completion>;

    SimulatedStream(SimulationCourse& course, StreamHistory& history, Kept& kept);
    SimulatedStream(const SimulatedStream&) = delete;
    SimulatedStream& operator=(const SimulatedStream&) = delete;
    ~SimulatedStream() override;

    bool addOutput(std::shared_ptr<ViewerStreamReceiver> receiver, std::string queueLabel) override;
    void start(Completion completion) override;
    void stop(Completion completion) override;

  private:
    class Life;

    const std::shared_ptr<Life> life_;
};

}  // namespace velmora
