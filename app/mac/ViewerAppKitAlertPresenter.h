#pragma once

#include <memory>

#include "app/ViewerAlertPresenter.h"
#include "app/mac/ViewerAppKitAlertPanel.h"

namespace velmora {

/// Alerts on macOS: AppKit's panels, and the system's workspace and locale. Main thread only.
class ViewerAppKitAlertPresenter final : public ViewerAlertPresenter {
  public:
    explicit ViewerAppKitAlertPresenter(std::shared_ptr<ViewerAppKitAlertPanel> panel);

    void show(ViewerAlert alert, Completion completion) override;
    void close() override;
    void bringToFront() override;
    void openPage(std::string_view url) override;
    ViewerAlertWording wording() override;
    std::optional<std::string> languageCode() override;

  private:
    const std::shared_ptr<ViewerAppKitAlertPanel> panel_;
};

}  // namespace velmora
