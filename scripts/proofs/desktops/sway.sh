# Sway with its own portal backend, which grants one output a session, on two outputs in memory. It asks by
# a program that its settings name; the person answers by a pipe.
set -euo pipefail
monitors=(HEADLESS-1 Red c02020 HEADLESS-2 Green 20c020)
. "$(dirname "$0")/desktop.sh"

export XDG_CURRENT_DESKTOP=sway
mkdir -p "$XDG_CONFIG_HOME/sway" "$XDG_CONFIG_HOME/xdg-desktop-portal-wlr"
export CHOICE=$DESKTOP_FOLDER/choice
mkfifo "$CHOICE"
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
	chooser_cmd=cat $CHOICE
END

start_pipewire
start sway env WLR_BACKENDS=headless WLR_RENDERER=pixman WLR_LIBINPUT_NO_DEVICES=1 \
    WLR_HEADLESS_OUTPUTS=2 LIBSEAT_BACKEND=noop WLR_SCENE_DISABLE_DIRECT_SCANOUT=1 sway
await test -S "$XDG_RUNTIME_DIR/wayland-1"
export WAYLAND_DISPLAY=wayland-1 SWAYSOCK
SWAYSOCK=$(echo "$XDG_RUNTIME_DIR"/sway-ipc.*.sock)
dbus-update-activation-environment WAYLAND_DISPLAY XDG_CURRENT_DESKTOP
paint
# Without a graphics card it has to be told of formats that nobody uses.
start_portal wlr env LD_PRELOAD="$(echo "$sources"/build/prove/tests/support/desktop/lib*formats.so)" \
    /usr/libexec/xdg-desktop-portal-wlr
# Another program may get no frame of a still screen.
for ((i = 0; i < ${#monitors[@]}; i += 3)); do
    start "repainting-${monitors[i]}" sh -c \
        'while sleep 0.1; do echo "fill 0 0 100000 100000 $1" >"$2"; done' sh \
        "${monitors[i + 2]}" "$DESKTOP_FOLDER/${monitors[i]}.paint"
done
use_desktop reference
for ((i = 0; i < ${#monitors[@]}; i += 3)); do
    end "repainting-${monitors[i]}"
done
if [ "${1:-}" != --reference-only ]; then
    use_desktop host
fi
