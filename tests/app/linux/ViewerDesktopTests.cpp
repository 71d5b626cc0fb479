#include "app/linux/ViewerDesktop.h"

#include <gtest/gtest.h>

#include <optional>
#include <utility>

#include "tests/support/system/BorrowedEnvironment.h"

namespace velmora {

namespace {

using Wording = ViewerAlertWording;

TEST(ViewerDesktop, IsTheFirstThatIsKnownOfTheNames) {
    for (const auto& [names, wording] : {
             std::pair("GNOME", Wording::gnome),
             std::pair("ubuntu:GNOME", Wording::gnome),
             std::pair("GNOME-Classic:GNOME", Wording::gnome),
             std::pair("KDE", Wording::kde),
             std::pair("sway", Wording::wlroots),
             std::pair("WAYFIRE", Wording::wlroots),
             std::pair("wlr", Wording::wlroots),
             std::pair("labwc:wlroots", Wording::wlroots),
             std::pair("other:wlroots", Wording::wlroots),
             std::pair("river", Wording::wlroots),
             std::pair("Wayfire:wlroots", Wording::wlroots),
             std::pair("dwl", Wording::wlroots),
             std::pair("Hyprland", Wording::hyprland),
             std::pair("Hyprland:wlroots", Wording::hyprland),
             std::pair("KDE:GNOME", Wording::kde),
             std::pair("::KDE:", Wording::kde),
         }) {
        EXPECT_EQ(ViewerDesktop::wordingOf(names), wording) << names;
    }
}

TEST(ViewerDesktop, IsNoneOfThoseWhereNoNameIsKnown) {
    for (const char* const names : {"", ":", "XFCE", "KDE2", "GNOM", "X-GNOME", "a:b:c"}) {
        EXPECT_EQ(ViewerDesktop::wordingOf(names), Wording::linuxDesktop) << names;
    }
}

TEST(ViewerDesktop, IsWhatTheEnvironmentSays) {
    BorrowedEnvironment environment;
    environment.set("XDG_CURRENT_DESKTOP", "KDE");
    EXPECT_EQ(ViewerDesktop::wording(), Wording::kde);
    environment.set("XDG_CURRENT_DESKTOP", std::nullopt);
    EXPECT_EQ(ViewerDesktop::wording(), Wording::linuxDesktop);
}

}  // namespace

}  // namespace velmora
