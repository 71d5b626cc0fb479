#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "app/ViewerAlert.h"

namespace velmora {

/// Shows the application's alerts to whoever sits at the machine. One for the process; main thread
/// only.
class ViewerAlertPresenter {
  public:
    using Completion = std::function<void(bool isFirstButton)>;

    virtual ~ViewerAlertPresenter() = default;

    /// Shows a modal alert; one at a time. The completion runs once, on the main thread, possibly
    /// before the call returns. An alert that cannot be shown, or is closed without a button, is
    /// answered as if by another button than the first.
    virtual void show(ViewerAlert alert, Completion completion) = 0;
    /// Closes the alert that shows, if one does.
    virtual void close() = 0;
    /// Brings the application before all others.
    virtual void bringToFront() = 0;
    /// Opens a page of the system's; nothing happens when `url` is no valid URL.
    virtual void openPage(std::string_view url) = 0;
    virtual ViewerAlertWording wording() = 0;
    /// The language of the user's current locale, such as "ru"; nothing when it has none.
    virtual std::optional<std::string> languageCode() = 0;
};

}  // namespace velmora
