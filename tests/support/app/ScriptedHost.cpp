#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "app/ViewerPlatformServices.h"
#include "app/ViewerProcessEntry.h"

namespace velmora {

namespace {

/// The capture service as it is, but for the permission, whose answers are given: one letter each,
/// "y" or "n", the last one for every further look. A request is told on standard output.
class ScriptedPermission final : public ViewerScreenCapture {
  public:
    ScriptedPermission(const ViewerPlatformServices& services, std::string looks,
                       std::string request)
        : capture_(services.capture),
          shell_(services.shell),
          looks_(std::move(looks)),
          request_(std::move(request)) {}

    void lookAtAccess(AccessCompletion completion) override {
        const bool isGranted = looks_.front() == 'y';
        if (looks_.size() > 1) {
            looks_.erase(0, 1);
        }
        completion(isGranted);
    }
    void requestAccess(AccessCompletion completion) override {
        shell_->printLine("request");
        completion(request_ == "y");
    }

    bool preflightAccess() override { return capture_->preflightAccess(); }
    void shareableDisplays(DisplaysCompletion completion) override {
        capture_->shareableDisplays(std::move(completion));
    }
    std::vector<ViewerNativeScreen> screens() override { return capture_->screens(); }
    bool comesBefore(const std::string& a, const std::string& b) override {
        return capture_->comesBefore(a, b);
    }
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerNativeDisplay& display,
                                                    const ViewerStreamSettings& settings) override {
        return capture_->makeStream(display, settings);
    }

  private:
    const std::shared_ptr<ViewerScreenCapture> capture_;
    const std::shared_ptr<ViewerApplicationShell> shell_;
    std::string looks_;
    const std::string request_;
};

/// The shell as it is, but for the wording, which is given, and the system's pages, which are told
/// on standard output. SIGUSR1 is the user's wish to quit.
class ScriptedShell final : public ViewerApplicationShell {
  public:
    ScriptedShell(std::shared_ptr<ViewerApplicationShell> shell, std::string wording)
        : shell_(std::move(shell)), wording_(std::move(wording)) {}

    void openURL(std::string_view url) override { printLine("open " + std::string(url)); }
    ViewerAlertWording alertWording() override {
        return wording_ == "mac" ? ViewerAlertWording::mac : ViewerAlertWording::linuxDesktop;
    }
    int run(std::shared_ptr<ViewerApplicationDelegate> delegate) override {
        quit_ = shell_->makeSignalSource(SIGUSR1, [this] {
            printLine("quit");
            shell_->terminate();
        });
        return shell_->run(std::move(delegate));
    }
    void ignoreSignal(int signal) override {
        shell_->ignoreSignal(signal);
        shell_->ignoreSignal(SIGUSR1);
    }

    std::shared_ptr<ViewerSignalSource> makeSignalSource(int signal,
                                                         std::function<void()> handler) override {
        return shell_->makeSignalSource(signal, std::move(handler));
    }
    void terminate() override { shell_->terminate(); }
    [[noreturn]] void exit(int status) override { std::_Exit(status); }
    void bringToFront() override { shell_->bringToFront(); }
    void showAlert(ViewerAlert alert, AlertCompletion completion) override {
        shell_->showAlert(std::move(alert), std::move(completion));
    }
    void closeAlert() override { shell_->closeAlert(); }
    std::optional<std::string> languageCode() override { return shell_->languageCode(); }
    std::optional<std::string> machineName() override { return shell_->machineName(); }
    void printLine(std::string_view line) override { shell_->printLine(line); }

  private:
    const std::shared_ptr<ViewerApplicationShell> shell_;
    const std::string wording_;
    std::shared_ptr<ViewerSignalSource> quit_;
};

}  // namespace

}  // namespace velmora

/// The application with a scripted permission: LOOKS REQUEST mac|linux
int main(int argumentCount, char** arguments) {
    constexpr int expected = 4;
    if (argumentCount != expected) {
        return 1;
    }
    auto services = velmora::makePlatformServices();
    services.capture =
        std::make_shared<velmora::ScriptedPermission>(services, arguments[1], arguments[2]);
    services.shell = std::make_shared<velmora::ScriptedShell>(services.shell, arguments[3]);
    const std::span all(arguments, static_cast<std::size_t>(argumentCount));
    services.shell->exit(velmora::ViewerProcessEntry::run(services, all.first(1)));
}
