#pragma once

namespace velmora {

/// What the desktop's portal is called on the session bus.
namespace ViewerPortalNames {

constexpr const char* service = "org.freedesktop.portal.Desktop";
constexpr const char* object = "/org/freedesktop/portal/desktop";
constexpr const char* screenCast = "org.freedesktop.portal.ScreenCast";
constexpr const char* request = "org.freedesktop.portal.Request";
constexpr const char* session = "org.freedesktop.portal.Session";
constexpr const char* registry = "org.freedesktop.host.portal.Registry";

}  // namespace ViewerPortalNames

}  // namespace velmora
