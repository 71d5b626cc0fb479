#pragma once

#include <memory>

#include "app/ViewerAlert.h"
#include "app/ViewerAlertPresenter.h"

namespace velmora {

/// Shows one modal alert at a time. An alert is run by the run loop and not by the main queue:
/// within a function of its own the main queue would stand still until the alert is answered, and
/// with it the signals that may close it. Main thread only.
class ViewerAppKitAlertPanel final : public std::enable_shared_from_this<ViewerAppKitAlertPanel> {
  public:
    using Completion = ViewerAlertPresenter::Completion;

    void show(ViewerAlert alert, Completion completion);
    void close();
    /// Terminates the application as soon as no alert is modal: before, AppKit may refuse to
    /// without asking its delegate. Closes no alert.
    void terminateApplication();

  private:
    bool run(const ViewerAlert& alert);

    bool isModal_ = false;
    bool isClosed_ = false;
    bool isTerminationDue_ = false;
};

}  // namespace velmora
