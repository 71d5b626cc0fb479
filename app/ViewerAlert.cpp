#include "app/ViewerAlert.h"

#include <utility>

namespace velmora {

ViewerAlert::ViewerAlert(ViewerAlertStyle alertStyle, std::string alertTitle, std::string alertText,
                         std::vector<std::string> alertButtons)
    : style(alertStyle),
      title(std::move(alertTitle)),
      informativeText(std::move(alertText)),
      buttons(std::move(alertButtons)) {}

}  // namespace velmora
