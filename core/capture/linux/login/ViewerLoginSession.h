#pragma once

#include <memory>
#include <string>

#include "core/capture/linux/bus/ViewerBusConnection.h"

namespace velmora {

/// What the login manager, logind or elogind, tells on the system bus of the session that this
/// process belongs to. It is not started to be asked, and has `ViewerScreenCapture::answerLimit` to
/// answer. Main thread only.
namespace ViewerLoginSession {

using Bus = std::shared_ptr<ViewerBusConnection>;

inline constexpr const char* service = "org.freedesktop.login1";
inline constexpr const char* sessionInterface = "org.freedesktop.login1.Session";

/// Asks which session it is: the one that this process was started in or, where that was none, as
/// under the user's service manager, the one that its user has on a screen.
ViewerTask<ViewerBusReply> find(Bus bus);
/// The object of the session that an answer to `find` names; empty where it names none.
std::string objectIn(const ViewerBusReply& reply);
/// Asks for a property of that session; the answer is a variant.
ViewerTask<ViewerBusReply> property(Bus bus, std::string object, std::string name);

/// Describe, for a subscription, whatever the login manager itself announces, and each change of a
/// session's properties that it tells of.
std::string announcements();
std::string changesOf(const std::string& object);

}  // namespace ViewerLoginSession

}  // namespace velmora
