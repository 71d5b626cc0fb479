# Sway with its own portal backend, which asks nobody and knows one output a session, on two outputs in
# memory.
set -euo pipefail
. "$(dirname "$0")/desktop.sh"

export XDG_CURRENT_DESKTOP=sway
mkdir -p "$XDG_CONFIG_HOME/sway" "$XDG_CONFIG_HOME/xdg-desktop-portal-wlr"
cat >"$XDG_CONFIG_HOME/sway/config" <<-END
	xwayland disable
	default_border none
	output HEADLESS-1 mode --custom 1280x720@60Hz position 0 0
	output HEADLESS-2 mode --custom 800x600@60Hz position 1280 0
	workspace 1 output HEADLESS-1
	workspace 2 output HEADLESS-2
END
cat >"$XDG_CONFIG_HOME/xdg-desktop-portal-wlr/config" <<-END
	[screencast]
	chooser_type=simple
	chooser_cmd=echo HEADLESS-1
END

start_pipewire
start sway env WLR_BACKENDS=headless WLR_RENDERER=pixman WLR_LIBINPUT_NO_DEVICES=1 \
    WLR_HEADLESS_OUTPUTS=2 LIBSEAT_BACKEND=noop WLR_SCENE_DISABLE_DIRECT_SCANOUT=1 sway
await test -S "$XDG_RUNTIME_DIR/wayland-1"
export WAYLAND_DISPLAY=wayland-1
dbus-update-activation-environment WAYLAND_DISPLAY XDG_CURRENT_DESKTOP
paint HEADLESS-1 c02020 HEADLESS-2 20c020
# Without a graphics card it has to be told of formats that nobody uses.
start_portal wlr env LD_PRELOAD="$(echo "$sources"/build/prove/tests/support/desktop/lib*formats.so)" \
    /usr/libexec/xdg-desktop-portal-wlr
# Another program may get no frame of a still screen.
(while sleep 0.1; do echo "fill 0 0 100000 100000 c02020"; done) \
    >"$DESKTOP_FOLDER/HEADLESS-1.paint" &
repainting=$!
"$here/use_desktop.py" sway --reference-only
kill "$repainting"
if [ "${1:-}" != --reference-only ]; then
    "$here/use_desktop.py" sway --host-only
fi
