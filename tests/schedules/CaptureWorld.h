#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/coordination/ViewerCaptureCoordinator.h"
#include "core/runtime/ViewerTask.h"
#include "tests/schedules/ScheduledCapture.h"
#include "tests/schedules/SmallWorld.h"

namespace velmora {

/// What is in a capture world.
struct CapturePlan final {
    struct Request final {
        std::string displayID;
        /// It comes when it likes; else at the beginning.
        bool isOutside = false;
    };
    std::vector<Request> requests;
    std::int64_t sessionLimit = 2;
    CaptureManners manners{};
    /// Somebody shuts the coordinator down, when he likes.
    bool isShutDown = false;
};

/// The coordinator with real sessions on a platform that is played.
class CaptureWorld final : public SmallWorld {
  public:
    CaptureWorld(ScheduledWorld& world, CapturePlan plan);

    void begin() override;
    void end() override;
    std::string outcome() const override;

  private:
    struct RequestNotes final {
        ViewerContinuousClock::Instant asked;
        std::size_t answers = 0;
        std::string picture;
        std::string label;
        std::string answer = "none";
    };

    static ViewerTask<void> ask(CaptureWorld* self, std::size_t number);
    static ViewerTask<void> shutDown(CaptureWorld* self);
    void start(std::size_t number);
    void check(std::size_t number, const std::vector<std::string>& deadBefore, bool isShutDown);
    void checkLabels();

    const CapturePlan plan_;
    std::shared_ptr<ScheduledCapture> capture_;
    std::shared_ptr<ViewerCaptureCoordinator> coordinator_;
    std::vector<RequestNotes> requests_;
    bool isShutDownOver_ = false;
};

}  // namespace velmora
