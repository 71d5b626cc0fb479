#include <csignal>
#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "app/ViewerPlatformServices.h"
#include "app/ViewerProcessEntry.h"

namespace velmora {

namespace {

/// What a letter stands for: "y" and "n" for granted or not, the others for reasons.
ViewerCaptureAccess accessOf(char letter) {
    switch (letter) {
        case 'y':
            return ViewerCaptureAccess::granted;
        case 'd':
            return ViewerCaptureAccess::declined;
        case 'm':
            return ViewerCaptureAccess::portalMissing;
        case 'b':
            return ViewerCaptureAccess::portalWithoutScreens;
        case 's':
            return ViewerCaptureAccess::portalSilent;
        case 'w':
            return ViewerCaptureAccess::noWholeScreen;
        case 'r':
            return ViewerCaptureAccess::remoteDisplay;
        case 'c':
            return ViewerCaptureAccess::waylandSession;
        case 'a':
            return ViewerCaptureAccess::noAnswer;
        default:
            return ViewerCaptureAccess::requestable;
    }
}

/// The capture service as it is, but for the permission, whose answers are given: one letter each,
/// the last one for every further look. A request is told on standard output, and its answer is "y"
/// or "n", or never comes.
class ScriptedPermission final : public ViewerScreenCapture {
  public:
    ScriptedPermission(const ViewerPlatformServices& services, std::string looks,
                       std::string request)
        : capture_(services.capture),
          shell_(services.shell),
          looks_(std::move(looks)),
          request_(std::move(request)) {}

    void lookAtAccess(AccessCompletion completion) override {
        const char look = looks_.front();
        if (looks_.size() > 1) {
            looks_.erase(0, 1);
        }
        completion(accessOf(look));
    }
    void requestAccess(RequestCompletion completion) override {
        shell_->printLine("request");
        if (request_ == "never") {
            pending_ = std::move(completion);
        } else {
            completion(request_ == "y");
        }
    }
    void withdrawRequest() override {
        if (pending_) {
            shell_->printLine("withdraw");
        }
    }

    bool preflightAccess() override { return capture_->preflightAccess(); }
    void shareableDisplays(DisplaysCompletion completion) override {
        capture_->shareableDisplays(std::move(completion));
    }
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerNativeDisplay& display,
                                                    const ViewerStreamSettings& settings) override {
        return capture_->makeStream(display, settings);
    }
    void watchSession(std::function<void()> ended) override {
        capture_->watchSession(std::move(ended));
    }

  private:
    const std::shared_ptr<ViewerScreenCapture> capture_;
    const std::shared_ptr<ViewerApplicationShell> shell_;
    std::string looks_;
    const std::string request_;
    RequestCompletion pending_;
};

/// The presenter as it is, but for the wording, which may be that of a Mac, and the system's pages,
/// which are told on standard output.
class ScriptedWording final : public ViewerAlertPresenter {
  public:
    ScriptedWording(const ViewerPlatformServices& services, std::string wording)
        : alerts_(services.alerts), shell_(services.shell), wording_(std::move(wording)) {}

    void openPage(std::string_view url) override { shell_->printLine("open " + std::string(url)); }
    ViewerAlertWording wording() override {
        return wording_ == "mac" ? ViewerAlertWording::mac : alerts_->wording();
    }

    void show(ViewerAlert alert, Completion completion) override {
        alerts_->show(std::move(alert), std::move(completion));
    }
    void close() override { alerts_->close(); }
    void bringToFront() override { alerts_->bringToFront(); }
    std::optional<std::string> languageCode() override { return alerts_->languageCode(); }

  private:
    const std::shared_ptr<ViewerAlertPresenter> alerts_;
    const std::shared_ptr<ViewerApplicationShell> shell_;
    const std::string wording_;
};

}  // namespace

}  // namespace velmora

/// The application with a scripted permission: LOOKS REQUEST mac|linux. SIGUSR1 is the user's wish
/// to quit.
int main(int argumentCount, char** arguments) {
    constexpr int expected = 4;
    if (argumentCount != expected) {
        return 1;
    }
    auto services = velmora::makePlatformServices();
    services.capture =
        std::make_shared<velmora::ScriptedPermission>(services, arguments[1], arguments[2]);
    services.alerts = std::make_shared<velmora::ScriptedWording>(services, arguments[3]);
    const auto& shell = services.shell;
    shell->ignoreSignal(SIGUSR1);
    const auto quit = shell->makeSignalSource(SIGUSR1, [&] {
        shell->printLine("quit");
        shell->terminate();
    });
    const std::span all(arguments, static_cast<std::size_t>(argumentCount));
    shell->exit(velmora::ViewerProcessEntry::run(services, all.first(1)));
}
