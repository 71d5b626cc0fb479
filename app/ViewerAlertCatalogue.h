#pragma once

#include <optional>
#include <string>

#include "app/ViewerAlert.h"
#include "core/capture/ViewerCaptureAccess.h"

namespace velmora {

/// Every alert of the application, in the user's language and in the words for the user's machine.
/// A plain value; any thread.
class ViewerAlertCatalogue final {
  public:
    /// Russian where `languageCode` is "ru", else English.
    ViewerAlertCatalogue(const std::optional<std::string>& languageCode, ViewerAlertWording wording)
        : isRussian_(languageCode == "ru"), wording_(wording) {}

    /// Asks for the user's consent. Its first button is the one that gives it.
    ViewerAlert consent() const;
    /// Tells that the permission is missing, and what `access` says about the reason. Where there
    /// is a settings page, the first of two buttons opens it; else the button that only closes the
    /// alert is alone.
    ViewerAlert permissionMissing(ViewerCaptureAccess access) const;
    /// Tells why the server does not run, in `errorDescription`'s own words.
    ViewerAlert didNotStart(std::string errorDescription) const;

  private:
    bool isRussian_;
    ViewerAlertWording wording_;
};

}  // namespace velmora
