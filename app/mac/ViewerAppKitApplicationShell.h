#pragma once

#include <memory>

#include "app/ViewerApplicationShell.h"
#include "app/mac/ViewerAppKitAlertPanel.h"
#include "app/mac/ViewerAppKitApplicationDelegate.h"

namespace velmora {

/// The shell on macOS: an AppKit application without a Dock icon or a menu bar. Main thread only.
class ViewerAppKitApplicationShell final : public ViewerApplicationShell {
  public:
    /// `alertPanel` shows the application's alerts.
    explicit ViewerAppKitApplicationShell(std::shared_ptr<ViewerAppKitAlertPanel> alertPanel);

    void ignoreSignal(int signal) override;
    std::shared_ptr<ViewerSignalSource> makeSignalSource(int signal,
                                                         std::function<void()> handler) override;
    /// AppKit ends the process itself, with status 0.
    int run(std::shared_ptr<ViewerApplicationDelegate> delegate) override;
    void terminate() override;
    [[noreturn]] void exit(int status) override;
    std::optional<std::string> machineName() override;
    void printLine(std::string_view line) override;

  private:
    const std::shared_ptr<ViewerAppKitAlertPanel> alertPanel_;
    /// The application itself holds it weakly.
    ViewerAppKitApplicationDelegate* delegate_ = nil;
    /// Held while it runs, and with it the process at its full speed.
    id<NSObject> activity_ = nil;
};

}  // namespace velmora
