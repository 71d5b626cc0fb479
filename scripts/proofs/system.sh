# What the proofs on another release of Debian share; sourced by them and by scripts/package. Each has
# its system in a folder of build/prove, which is $root, and ends with `take_away`.

name=$(basename "$0")
root=$PWD/build/prove/$name
fail() {
    echo "$name: $1" >&2
    exit 1
}
[ "$(id -u)" -eq 0 ] || fail "only root can enter another system"
unshare --mount --pid --fork true || fail "root may make no namespaces here, and so enter no system"

# Entered in a namespace of mounts of its own, which ends with its last process. The machine's own
# devices stay out of it: a package that is installed may change their modes. The folder becomes the
# root of that namespace: from a mere chroot, ordinary users can make no namespaces, and tests do. With
# the variable own_network there is no network but a loopback interface, and so a port 9090 that nobody
# else has.
enter() {
    unshare --mount --pid ${own_network:+--net} --fork --kill-child bash -euc '
        mount --bind "$1" "$1"
        cd "$1"
        mount -t tmpfs -o mode=755 devices dev
        for device in null:3 zero:5 full:7 random:8 urandom:9; do
            mknod -m 666 "dev/${device%:*}" c 1 "${device#*:}"
        done
        mknod -m 666 dev/tty c 5 0
        mkdir dev/pts dev/shm
        mount -t devpts -o newinstance,ptmxmode=666 terminals dev/pts
        mount -t tmpfs -o mode=1777 memory dev/shm
        ln -s pts/ptmx dev/ptmx
        ln -s /proc/self/fd dev/fd
        for number in 0:stdin 1:stdout 2:stderr; do
            ln -s "fd/${number%:*}" "dev/${number#*:}"
        done
        mount -t proc processes proc
        mount -t sysfs -o ro system sys
        # Else it would hide what is put where it was built.
        case $1 in /tmp/*) ;; *) mount -t tmpfs -o mode=1777 temporary tmp ;; esac
        mount --move . /
        exec chroot . env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 \
            http_proxy="${http_proxy:-}" https_proxy="${https_proxy:-}" "${@:2}"' enter "$root" "$@"
}

# The machine's own mirror, which serves every release and processor.
mirror() {
    local found
    found=$(apt-get indextargets --format '$(ORIGIN) $(LABEL) $(REPO_URI)' 'Created-By: Packages' |
        sed -n 's/^Debian Debian //p' | sort -u | head -n 1)
    [ -n "$found" ] || fail "apt names no mirror of Debian: apt-get update"
    echo "$found"
}

# The smallest system of that release, and the packages that are named.
make_root() {
    local release=$1 source
    source=$(mirror)
    rm -rf --one-file-system "$root"
    mkdir -p "$(dirname "$root")"
    mmdebstrap --quiet --variant=apt "$release" "$root" "$source"
    # How this machine reaches the mirror.
    mkdir -p "$root/etc/ssl/certs"
    cp -rL /etc/ssl/certs/. "$root/etc/ssl/certs/"
    cp -L /etc/resolv.conf "$root/etc/resolv.conf"
    apt-config dump Acquire >"$root/etc/apt/apt.conf.d/90machine"
    # Nobody needs the folder after a crash of the machine.
    echo force-unsafe-io >"$root/etc/dpkg/dpkg.cfg.d/90machine"
}

# Into /srv/host of the system, where the ordinary user that tests become may read them. What is built
# there stays; a source that is gone here is gone there.
copy_sources() {
    mkdir -p "$root/srv/host"
    find "$root/srv/host" -mindepth 1 -maxdepth 1 ! -name build -exec rm -rf {} +
    git -c safe.directory="$PWD" ls-files -z --cached --others --exclude-standard |
        tar -c --null --ignore-failed-read -T - | tar -x -C "$root/srv/host"
}

# Waits for the port, which is one of a kind on a machine: tests and benchmarks wait for the same
# lock. Held until `give_port`.
take_port() {
    exec 9>"${TMPDIR:-/tmp}/velmora-viewer-host-port-9090.lock"
    flock 9
}
give_port() {
    exec 9>&-
}

take_away() {
    if [ -z "${KEEP:-}" ]; then
        rm -rf --one-file-system "$root"
    fi
}

# Has the real desktop of that name used on Debian 13; $packages are what it needs. All desktops have one
# system and one build of the host. What they looked like stays in build/prove/pictures.
prove_desktop() {
    root=$PWD/build/prove/desktop
    scripts/packages prove
    trap take_away EXIT
    if [ ! -e "$root/made" ]; then
        echo "Making Debian 13 in $root…"
        make_root trixie
        enter apt-get update -qq
        touch "$root/made"
    fi
    copy_sources
    enter env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends iproute2 "${packages[@]}" >/dev/null
    echo "Building the host…"
    enter bash -euc '
        cd /srv/host
        scripts/packages build test
        cmake --preset test -B build/prove >/dev/null
        cmake --build build/prove --target \
            VelmoraViewerHost VelmoraViewerHostAlert wayland_painter screencopy_formats'
    rm -rf "$root/srv/pictures"
    own_network=yes enter bash "/srv/host/scripts/proofs/desktops/$name.sh" "$@"
    mkdir -p build/prove/pictures
    rm -rf "build/prove/pictures/$name"
    mv "$root/srv/pictures" "build/prove/pictures/$name"
}
