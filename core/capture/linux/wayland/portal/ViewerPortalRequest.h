#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/capture/linux/bus/ViewerBusConnection.h"
#include "core/capture/linux/wayland/portal/ViewerPortalResponse.h"
#include "core/runtime/ViewerOneShot.h"

namespace velmora {

/// One request to the desktop's portal: a call that is answered at once with the name of an object,
/// which tells the outcome later by a signal. Listens from its making on, to whatever object; a
/// portal may have an older way of naming it, and may tell the outcome first. Main thread only.
class ViewerPortalRequest final : public std::enable_shared_from_this<ViewerPortalRequest> {
  public:
    using Bus = std::shared_ptr<ViewerBusConnection>;
    using Clock = std::shared_ptr<ViewerContinuousClock>;
    using Duration = ViewerContinuousClock::Duration;

    /// A bus that has answered before.
    static std::shared_ptr<ViewerPortalRequest> make(Bus bus, ViewerExecutor executor, Clock clock);
    ViewerPortalRequest(const ViewerPortalRequest&) = delete;
    ViewerPortalRequest& operator=(const ViewerPortalRequest&) = delete;

    /// To be sent along with the call, as the option `handle_token`.
    const std::string& token() const { return token_; }
    /// Makes the call, whose answer has `ViewerScreenCapture::answerLimit`, and waits for the
    /// outcome: `limit` from now on, or for ever. What is given up is closed.
    ViewerTask<ViewerPortalResponse> outcome(ViewerBusMessage call, std::optional<Duration> limit);
    /// Ends the request with `reason` if it is not over after `grace`.
    void giveUpAfter(Duration grace, ViewerCaptureAccess reason);
    /// Ends the request, and the dialog that stands for it. REQUIRES: the call was made.
    void close(ViewerCaptureAccess reason);

  private:
    struct Arrival final {
        std::string sender;
        std::string path;
        ViewerPortalResponse response;
    };

    ViewerPortalRequest(Bus bus, ViewerExecutor executor, Clock clock);

    void listen();
    void responseHasCome(sd_bus_message* signal);
    void take(ViewerPortalResponse response);
    void sendClose(const std::string& path) const;

    const Bus bus_;
    const ViewerExecutor executor_;
    const Clock clock_;
    const std::string token_;
    std::shared_ptr<void> subscription_;
    bool isAnswered_ = false;
    /// Who answered the call; empty until then.
    std::string sender_;
    /// The object that the call was answered with; until then the one that is to be expected.
    std::string path_;
    /// Outcomes of objects that may turn out to be this request's.
    std::vector<Arrival> arrivals_;
    std::optional<ViewerPortalResponse> outcome_;
    ViewerOneShot<ViewerPortalResponse> waiting_;
    ViewerContinuousClock::TimerId timer_;
};

}  // namespace velmora
