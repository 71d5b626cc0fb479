# A desktop without a screen, for the proofs on real desktops; sourced by them in the other system. Has
# the ordinary user "nobody" run the sourcing script again, in a session of its own: a bus, folders,
# programs. What they wrote is shown when it fails. All of it ends with the namespaces that hold it.
#
# $monitors are the connector of each output, the name that its monitor tells and the colour it is
# painted in. The names come from EDIDs, as a graphics card's driver shows them.

here=$(dirname "$(readlink -f "$0")")
name=$(basename "$0" .sh)
sources=$(readlink -f "$here/../../..")
longest=30m

if [ -z "${DESKTOP_FOLDER:-}" ]; then
    DESKTOP_FOLDER=$(mktemp -d)
    mkdir -p "$DESKTOP_FOLDER"/{run,log,process,bin,home/.config,home/.local/share/dbus-1/services}
    chmod 700 "$DESKTOP_FOLDER/run"
    ip link set lo up
    mount -t tmpfs devices /sys/class
    for ((i = 0; i < ${#monitors[@]}; i += 3)); do
        mkdir -p "/sys/class/drm/card0-${monitors[i]}"
        echo connected >"/sys/class/drm/card0-${monitors[i]}/status"
        "$here/edid.py" "${monitors[i + 1]}" >"/sys/class/drm/card0-${monitors[i]}/edid"
    done
    mkdir -p /srv/pictures
    if declare -F prepare >/dev/null; then
        prepare
    fi
    chown -R nobody: "$DESKTOP_FOLDER" /srv/pictures
    status=0
    env -i PATH="$PATH" LANG=C.UTF-8 DESKTOP_FOLDER="$DESKTOP_FOLDER" \
        HOME="$DESKTOP_FOLDER/home" XDG_RUNTIME_DIR="$DESKTOP_FOLDER/run" \
        XDG_CONFIG_HOME="$DESKTOP_FOLDER/home/.config" \
        XDG_DATA_HOME="$DESKTOP_FOLDER/home/.local/share" \
        XDG_CACHE_HOME="$DESKTOP_FOLDER/home/.cache" \
        XDG_STATE_HOME="$DESKTOP_FOLDER/home/.local/state" \
        setpriv --reuid=nobody --regid=nogroup --clear-groups --inh-caps=-all --no-new-privs \
        timeout --kill-after 10 "$longest" dbus-run-session -- bash "$0" "$@" \
        3>&2 2>"$DESKTOP_FOLDER/log/session" || status=$?
    if [ "$status" -ne 0 ]; then
        tail -n 12 "$DESKTOP_FOLDER"/log/* >&2
    fi
    exit "$status"
fi

# The bus tells of each service, and has the standard error for that.
exec 2>&3 3>&-
export XDG_SESSION_TYPE=wayland LIBGL_ALWAYS_SOFTWARE=1 QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
export XDG_SESSION_ID=c1 DBUS_SYSTEM_BUS_ADDRESS=unix:path=$XDG_RUNTIME_DIR/system_bus

# start NAME COMMAND…
start() {
    "${@:2}" >>"$DESKTOP_FOLDER/log/$1" 2>&1 &
    echo "$!" >"$DESKTOP_FOLDER/process/$1"
}
end() {
    kill "$(cat "$DESKTOP_FOLDER/process/$1")"
}
# Looks again and again until the command succeeds.
await() {
    local looks
    for ((looks = 0; looks < 2400; looks++)); do
        if "$@" >/dev/null 2>&1; then
            return
        fi
        sleep 0.05
    done
    echo "the desktop does not become ready: $*" >&2
    exit 1
}
# is_owned NAME [--system]
is_owned() {
    gdbus call "${2:---session}" -d org.freedesktop.DBus -o / \
        -m org.freedesktop.DBus.NameHasOwner "$1" | grep -q true
}
offers_screens() {
    gdbus introspect --session -d org.freedesktop.portal.Desktop \
        -o /org/freedesktop/portal/desktop | grep -q 'org.freedesktop.portal.ScreenCast '
}

# mock NAME OBJECT METHOD ARGUMENT…
mock() {
    gdbus call --system -d "$1" -o "$2" -m "org.freedesktop.DBus.Mock.$3" "${@:4}" >/dev/null
}
# A system's bus with a logind that knows this session: without them there is no lock screen.
start_system() {
    cat >"$DESKTOP_FOLDER/system.conf" <<-END
		<busconfig><type>system</type><listen>$DBUS_SYSTEM_BUS_ADDRESS</listen>
		<policy context="default"><allow user="*"/><allow own="*"/>
		<allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/></policy></busconfig>
	END
    start bus dbus-daemon --nofork --nopidfile --config-file="$DESKTOP_FOLDER/system.conf"
    await test -S "$XDG_RUNTIME_DIR/system_bus"
    start logind /usr/bin/python3 -m dbusmock --system -t logind
    await is_owned org.freedesktop.login1 --system
    mock org.freedesktop.login1 /org/freedesktop/login1 AddSession \
        c1 seat0 "$(id -u)" "$(id -un)" true
    # The template's own fails on a number.
    mock org.freedesktop.login1 /org/freedesktop/login1 AddMethod org.freedesktop.login1.Manager \
        GetUser u o 'ret="/org/freedesktop/login1/user/%d" % args[0]'
    # Which knows no session by the name "auto", the caller's own.
    mock org.freedesktop.login1 /org/freedesktop/login1 AddMethod org.freedesktop.login1.Manager \
        GetSession s o 'ret="/org/freedesktop/login1/session/c1"'
}

start_pipewire() {
    # Every program that connects to PipeWire 1.4 asks the portal for real-time threads. So does the
    # portal before 1.22: when PipeWire restarts, it waits 25 seconds for an answer of its own.
    mkdir -p "$XDG_CONFIG_HOME/pipewire/client.conf.d"
    echo "context.properties = { module.rt = false }" \
        >"$XDG_CONFIG_HOME/pipewire/client.conf.d/no-real-time.conf"
    start pipewire pipewire
    # Before there is a socket, a session manager leaves every stream as it is.
    await test -S "$XDG_RUNTIME_DIR/pipewire-0"
    start wireplumber wireplumber
}
# start_portal BACKEND-NAME BACKEND-COMMAND…
start_portal() {
    start backend "${@:2}"
    await is_owned "org.freedesktop.impl.portal.desktop.$1"
    start portal /usr/libexec/xdg-desktop-portal
    await is_owned org.freedesktop.portal.Desktop
    await offers_screens
}
# Paints every output in its colour.
paint() {
    local i channel connector pipe
    for ((i = 0; i < ${#monitors[@]}; i += 3)); do
        connector=${monitors[i]}
        pipe=$DESKTOP_FOLDER/$connector.paint
        mkfifo "$pipe"
        # Both ways, and for good: the painter ends when nobody can tell it anything any more.
        exec {channel}<>"$pipe"
        start "painter-$connector" sh -c 'exec "$1" "$2" <"$3"' sh \
            "$sources/build/prove/bin/wayland_painter" "$connector" "$pipe"
        echo "fill 0 0 100000 100000 ${monitors[i + 2]}" >&"$channel"
        await grep -q done "$DESKTOP_FOLDER/log/painter-$connector"
    done
}
# use_desktop ARGUMENT…
use_desktop() {
    MONITORS="${monitors[*]}" "$here/use_$name.py" "$@"
}
