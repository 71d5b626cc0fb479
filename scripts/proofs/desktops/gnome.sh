# GNOME Shell with its own portal, its own dialog and a lock screen, on two virtual monitors without a
# graphics card.
#
# What it needs to be told, all seen with GNOME Shell 48 and its portal of the same release:
# - The shell ends at its start without any system's bus; an empty one is enough. It has a lock screen
#   only where the display manager answers and the system has seats: both are played by dbusmock.
# - Without a screen it lets casts go on while it is locked; an extension tells it that it has one.
# - Its overview covers every window at first; the same extension leaves it out.
set -euo pipefail

monitors=(Meta-0 Red c02020 Meta-1 Green 20c020)
# As root, once.
prepare() {
    mkdir -p /run/systemd/seats
}
. "$(dirname "$0")/desktop.sh"

export XDG_CURRENT_DESKTOP=GNOME GSETTINGS_BACKEND=keyfile

write_settings() {
    local extension=$XDG_DATA_HOME/gnome-shell/extensions/screen@proof
    mkdir -p "$extension" "$XDG_CONFIG_HOME/glib-2.0/settings"
    cat >"$extension/metadata.json" <<-END
		{"uuid": "screen@proof", "name": "screen", "description": "As if there were a screen",
		 "shell-version": ["46", "47", "48"], "session-modes": ["user", "unlock-dialog"]}
	END
    cat >"$extension/extension.js" <<-END
		import * as Main from 'resource:///org/gnome/shell/ui/main.js';
		export default class {
		    enable() {
		        if (Main.layoutManager._startingUp)
		            Main.sessionMode.hasOverview = false;
		        global.backend.is_headless = () => false;
		    }
		    disable() {}
		}
	END
    cat >"$XDG_CONFIG_HOME/glib-2.0/settings/keyfile" <<-END
		[org/gnome/shell]
		enabled-extensions=['screen@proof']
		welcome-dialog-last-shown-version='999'
		[org/gnome/desktop/interface]
		enable-animations=false
		enable-hot-corners=false
	END
}

start_manager() {
    start manager /usr/bin/python3 -m dbusmock --system org.gnome.DisplayManager \
        /org/gnome/DisplayManager/Manager org.gnome.DisplayManager.Manager
    await is_owned org.gnome.DisplayManager --system
    mock org.gnome.DisplayManager /org/gnome/DisplayManager/Manager AddProperty \
        org.gnome.DisplayManager.Manager Version "<'48.0'>"
}

write_settings
start_system
start_manager
start_pipewire
dbus-update-activation-environment XDG_CURRENT_DESKTOP XDG_SESSION_TYPE GSETTINGS_BACKEND \
    LIBGL_ALWAYS_SOFTWARE DBUS_SYSTEM_BUS_ADDRESS
start shell gnome-shell --headless --no-x11 --virtual-monitor 1280x720 --virtual-monitor 800x600 \
    --wayland-display wayland-0
await is_owned org.gnome.Mutter.ScreenCast
await is_owned org.gnome.Shell
export WAYLAND_DISPLAY=wayland-0
dbus-update-activation-environment WAYLAND_DISPLAY
start_portal gnome /usr/libexec/xdg-desktop-portal-gnome
paint
use_desktop "$@"
