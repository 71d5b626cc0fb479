#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "core/protocol/ViewerHostDisplay.h"
#include "core/runtime/ViewerTask.h"
#include "tests/simulation/SimulationCourse.h"

namespace velmora {

/// The displays of the simulated machine: up to seven, some of one name, two that claim one
/// identifier, one that takes over another's number. They come and go. One thread.
class SimulatedDisplays final {
  public:
    using Reported = std::shared_ptr<const ViewerScreenCapture::Displays>;

    explicit SimulatedDisplays(SimulationCourse& course);

    /// The identifiers of all that there ever are.
    std::vector<std::string> identifiers() const;
    /// Those that are attached now, as the platform reports them.
    Reported reported() const { return reported_; }
    std::vector<ViewerNativeScreen> screens() const;
    /// Whether their list tells what they are called.
    bool haveNames() const { return haveNames_; }
    /// What the host has to make of them.
    std::vector<ViewerHostDisplay> expected() const;

    /// Lets displays come and go.
    static ViewerTask<void> live(SimulatedDisplays* self);

  private:
    struct Display final {
        ViewerNativeDisplay native;
        std::string identifier;
        std::string name;
        bool isAttached = true;
    };

    Display make(std::size_t number, std::size_t identity) const;
    void change();
    void report();

    SimulationCourse& course_;
    const bool haveNames_;
    const bool haveEqualNames_;
    std::vector<Display> displays_;
    Reported reported_;
};

}  // namespace velmora
