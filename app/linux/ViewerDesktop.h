#pragma once

#include <string_view>

#include "app/ViewerAlert.h"

namespace velmora {

/// The user's desktop as the environment tells it. Any thread, while nothing changes the
/// environment.
namespace ViewerDesktop {

/// The words for the desktop of XDG_CURRENT_DESKTOP's value: names with colons between, the most
/// precise first, of which the first that is known counts; in whichever case.
ViewerAlertWording wordingOf(std::string_view currentDesktop);

/// The words for this process's desktop.
ViewerAlertWording wording();

}  // namespace ViewerDesktop

}  // namespace velmora
