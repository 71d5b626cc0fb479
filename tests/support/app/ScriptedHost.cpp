#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "app/ViewerPlatformServices.h"
#include "app/ViewerProcessEntry.h"

namespace velmora {

namespace {

/// The platform as it is, but for the permission, whose answers are given: one letter each, "y" or
/// "n", the last one for every further question. What is asked of the system is told on standard
/// output, and SIGUSR1 is the user's wish to quit.
class ScriptedPermissionShell final : public ViewerApplicationShell {
  public:
    ScriptedPermissionShell(std::shared_ptr<ViewerApplicationShell> shell, std::string preflights,
                            std::string request, std::string wording)
        : shell_(std::move(shell)),
          preflights_(std::move(preflights)),
          request_(std::move(request)),
          wording_(std::move(wording)) {}

    void preflightAccess(AccessCompletion completion) override {
        const bool isGranted = preflights_.front() == 'y';
        if (preflights_.size() > 1) {
            preflights_.erase(0, 1);
        }
        completion(isGranted);
    }
    void requestAccess(AccessCompletion completion) override {
        printLine("request");
        completion(request_ == "y");
    }
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
    std::string preflights_;
    const std::string request_;
    const std::string wording_;
    std::shared_ptr<ViewerSignalSource> quit_;
};

}  // namespace

}  // namespace velmora

/// The application with a scripted permission: PREFLIGHTS REQUEST mac|linux
int main(int argumentCount, char** arguments) {
    constexpr int expected = 4;
    if (argumentCount != expected) {
        return 1;
    }
    auto services = velmora::makePlatformServices();
    services.shell = std::make_shared<velmora::ScriptedPermissionShell>(
        services.shell, arguments[1], arguments[2], arguments[3]);
    const std::span all(arguments, static_cast<std::size_t>(argumentCount));
    services.shell->exit(velmora::ViewerProcessEntry::run(services, all.first(1)));
}
