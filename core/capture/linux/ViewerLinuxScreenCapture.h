#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/ViewerLinuxSession.h"

namespace velmora {

/// The screen capture of the session that this process stands in. Which one that is is settled by
/// the first look at the permission; from then on, and X11's until then, a capture of that kind of
/// session does everything. Made, used and destroyed on the main thread.
class ViewerLinuxScreenCapture final : public ViewerScreenCapture {
  public:
    /// Makes the capture of the screens of the compositor whose socket is at that path.
    using MakeWayland = std::function<std::shared_ptr<ViewerScreenCapture>(std::string compositor)>;

    /// Tells the end of the session that the person has logged in to, for as long as what it
    /// returns lives.
    using WatchLogin = std::function<std::shared_ptr<void>(std::function<void()> ended)>;

    /// `x11` answers a look on any thread.
    ViewerLinuxScreenCapture(ViewerLinuxSession session, std::shared_ptr<ViewerScreenCapture> x11,
                             MakeWayland makeWayland, WatchLogin watchLogin);
    ~ViewerLinuxScreenCapture() override;
    ViewerLinuxScreenCapture(const ViewerLinuxScreenCapture&) = delete;
    ViewerLinuxScreenCapture& operator=(const ViewerLinuxScreenCapture&) = delete;

    bool preflightAccess() override;
    /// In a Wayland session nobody knows before the person was asked: it is `requestable` then.
    void lookAtAccess(AccessCompletion completion) override;
    void requestAccess(RequestCompletion completion) override;
    /// Destroys the capture that waits for an answer of the person, and with it what asks. Nothing
    /// is captured then, nor ever again.
    void withdrawRequest() override;
    void shareableDisplays(DisplaysCompletion completion) override;
    std::shared_ptr<const Displays> displaysAtHand() override;
    std::vector<ViewerNativeScreen> screens() override;
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerNativeDisplay& display,
                                                    const ViewerStreamSettings& settings) override;
    /// Over with the person's login too, though the screens be still there.
    void watchSession(std::function<void()> ended) override;
    /// Makes sure that a window comes up in the session that was settled on, be it nested in
    /// another or found without the help of the environment.
    std::vector<std::string> sessionVariables() override;

  private:
    class Settlement;
    struct Look;

    /// Goes on until the session is known and the look answered. Any thread.
    static void proceed(const std::shared_ptr<Look>& look);
    static void lookAtXServer(const std::shared_ptr<Look>& look);
    static void lookAtSockets(const std::shared_ptr<Look>& look);

    ViewerScreenCapture& chosen();
    /// Takes over what a look has settled.
    void choose();

    const ViewerLinuxSession session_;
    const std::shared_ptr<ViewerScreenCapture> x11_;
    /// Nothing after a request was withdrawn.
    MakeWayland makeWayland_;
    const WatchLogin watchLogin_;
    const std::shared_ptr<Settlement> settlement_;
    /// Made when it is first needed.
    std::shared_ptr<ViewerScreenCapture> wayland_;
    bool isSettledOnX11_ = false;
    std::shared_ptr<void> loginWatch_;
    /// Whether a request of this object waits for its answer, which comes on any thread.
    const std::shared_ptr<std::atomic<bool>> isAsking_ = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace velmora
