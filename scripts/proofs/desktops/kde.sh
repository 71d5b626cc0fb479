# KWin with KDE's own portal, its own dialog and a lock screen, on two virtual outputs of one size without
# a graphics card.
#
# What it needs to be told, all seen with KWin 6.3 and KDE's portal of the same release:
# - KWin casts only what it draws with OpenGL, and draws with OpenGL only where it finds a graphics card:
#   a library loaded before the others pretends one (kde/graphics_card.c). The loader does that for no
#   program with capabilities, so a copy is run, which has none.
# - Qt asks the portal for settings. KWin would so start one that finds no backend and stays. Neither may
#   be started by the bus.
# - KWin ends at once where XDG_CURRENT_DESKTOP promises Plasma's settings and there are none.
# - Programs may cast and type if their desktop files say so, which KWin finds through Plasma's menu.
# - In a dialog with several screens an action of the accessibility bus moves only the tick. So the
#   keyboard is used, which kde/keyboard.c types on; buttons take the action.
set -euo pipefail
monitors=(Virtual-0 Red c02020 Virtual-1 Green 20c020)

# As root, once.
prepare() {
    local protocol=/usr/share/plasma-wayland-protocols/fake-input.xml built=$DESKTOP_FOLDER/bin
    wayland-scanner client-header "$protocol" "$built/fake-input.h"
    wayland-scanner private-code "$protocol" "$built/fake-input.c"
    # shellcheck disable=SC2046
    cc -Wall -Wextra -I"$built" "$here/kde/keyboard.c" "$built/fake-input.c" -o "$built/keyboard" \
        $(pkg-config --cflags --libs wayland-client)
    # shellcheck disable=SC2046
    cc -Wall -Wextra -shared -fPIC "$here/kde/graphics_card.c" -o "$built/graphics_card.so" \
        $(pkg-config --cflags --libs libdrm gbm egl)
    cp /usr/bin/kwin_wayland "$built/"
}
. "$(dirname "$0")/desktop.sh"

export XDG_MENU_PREFIX=plasma-
bin=$DESKTOP_FOLDER/bin

write_settings() {
    local each
    mkdir -p "$XDG_DATA_HOME/applications"
    # The notifications' service would outlive the session.
    for each in org.freedesktop.portal.Desktop org.freedesktop.impl.portal.desktop.kde \
        org.freedesktop.Notifications; do
        printf '[D-BUS Service]\nName=%s\nExec=/bin/false\n' "$each" \
            >"$XDG_DATA_HOME/dbus-1/services/$each.service"
    done
    cat >"$XDG_DATA_HOME/applications/keyboard.desktop" <<-END
		[Desktop Entry]
		Type=Application
		Name=Keyboard
		Exec=$bin/keyboard
		X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input
	END
}

write_settings
start_system
start_pipewire
start kwin env LD_PRELOAD="$bin/graphics_card.so" KWIN_SCREENSHOT_NO_PERMISSION_CHECKS=1 \
    "$bin/kwin_wayland" --virtual --width 1280 --height 720 --output-count 2 --socket wayland-0 \
    --no-global-shortcuts --no-kactivities
await test -S "$XDG_RUNTIME_DIR/wayland-0"
await is_owned org.kde.KWin
export WAYLAND_DISPLAY=wayland-0 QT_QPA_PLATFORM=wayland
export XDG_CURRENT_DESKTOP=KDE KDE_FULL_SESSION=true KDE_SESSION_VERSION=6
dbus-update-activation-environment --all
# What keeps the list of symbols in the tray.
start kded kded6
await is_owned org.kde.StatusNotifierWatcher
paint
start_portal kde "$(echo /usr/lib/*/libexec/xdg-desktop-portal-kde)"
KEYBOARD=$bin/keyboard use_desktop "$@"
