# The course of an installation's life with hosts running, in the system where /srv/package.deb is
# installed; called by scripts/proofs/removal, in a network of its own.
set -euo pipefail
program=/usr/bin/VelmoraViewerHost
entry=/etc/xdg/autostart/com.quilmer.velmora.viewer_host.desktop

say() { echo "          $*"; }
fail() {
    echo "removal: $*" >&2
    exit 1
}
await() {
    for ((looks = 0; looks < 600; looks++)); do
        if "$@" >/dev/null 2>&1; then
            return
        fi
        sleep 0.05
    done
    fail "does not come true: $*"
}
# What is on the disk, but for what dpkg keeps of its own work.
files() {
    find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /tmp -o -path /srv \
        -o -path '/var/lib/dpkg/*' -o -path '/var/log/*' -o -path '/var/cache/*' \
        -o -path '/home/*' \) -prune -o -print | sort
}
is_served() { curl -sf http://localhost:9090/viewer/v1/displays | grep -q '"displays":\[{'; }
shows_alert() { pgrep -u "$1" -f VelmoraViewerHostAlert; }
# Whether the desktop, asked by systemd's generator, would start a host.
is_started_at_login() {
    local folder
    folder=$(mktemp -d)
    /usr/lib/systemd/user-generators/systemd-xdg-autostart-generator \
        "$folder" "$folder" "$folder" 2>/dev/null
    ls "$folder" | grep -q viewer_host
}

ip link set lo up
for person in anna boris; do
    id "$person" >/dev/null 2>&1 || useradd --create-home "$person"
    Xvfb -displayfd 3 -noreset -nolisten tcp 3>"/tmp/$person" >/dev/null 2>&1 &
done
for person in anna boris; do
    await test -s "/tmp/$person"
done

# The first has the port and serves, the second shows that it did not start.
declare -A host
start_hosts() {
    for person in anna boris; do
        env -i PATH=/usr/bin:/bin DISPLAY=":$(cat "/tmp/$person")" XDG_SESSION_TYPE=x11 \
            setpriv --reuid="$person" --regid="$person" --clear-groups "$program" >/dev/null &
        host[$person]=$!
        [ "$person" = boris ] || await is_served
    done
    await shows_alert boris
}
expect_running() {
    for person in anna boris; do
        kill -0 "${host[$person]}" 2>/dev/null || fail "the host of $person has ended"
    done
    is_served || fail "nothing is served any more"
}
# Both ended, as by SIGTERM, and their alerts with them.
expect_ended() {
    for person in anna boris; do
        kill -0 "${host[$person]}" 2>/dev/null && fail "the host of $person still runs"
        wait "${host[$person]}" || fail "the host of $person ended with status $?"
    done
    pgrep -f VelmoraViewerHost >/dev/null && fail "a program of the package still runs"
    true
}

dpkg --purge velmora-viewer-host >/dev/null
files >/tmp/before
dpkg --install /srv/package.deb >/dev/null
is_started_at_login || fail "nothing would start it at a login"
start_hosts
say "two hosts run: $program of anna serves, that of boris shows an alert"

dpkg-deb -R /srv/package.deb /tmp/newer
sed -i 's/^Version: .*/&+1/' /tmp/newer/DEBIAN/control
dpkg-deb -b /tmp/newer /tmp/newer.deb >/dev/null
dpkg --install /tmp/newer.deb >/dev/null
expect_running
say "after an upgrade they run on"

dpkg --remove velmora-viewer-host >/dev/null
expect_ended
[ -e "$entry" ] || fail "the administrator's settings went with the program"
is_started_at_login && fail "what is left starts something"
say "after the removal none runs, and the entry that is left starts nothing"

dpkg --purge velmora-viewer-host >/dev/null
files | diff /tmp/before - || fail "files are left or missing"
say "after the purge no file is left"

dpkg --install /srv/package.deb >/dev/null
start_hosts
dpkg --purge velmora-viewer-host >/dev/null
expect_ended
files | diff /tmp/before - || fail "files are left or missing"
say "a purge at once does the same"
dpkg --install /srv/package.deb >/dev/null
