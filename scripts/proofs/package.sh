# How the Debian package is built and tried, each in a system of its release; sourced, after
# system.sh, by scripts/package and by the proofs.

choose_release() {
    release=$1
    case "$release" in
        debian12) codename=bookworm ;;
        debian13) codename=trixie ;;
        *) fail "there is no package for $release: debian12 or debian13" ;;
    esac
    out=$PWD/build/package/$release
    trap take_systems_away EXIT
}
take_systems_away() {
    for root in "$PWD/build/prove/package-$release"/*; do
        take_away
    done
}
step() { printf '%(%H:%M:%S)T  %s\n' -1 "$*"; }

# Makes the fresh system of that name, or takes it as it was kept; $root is its folder.
use_system() {
    root=$PWD/build/prove/package-$release/$1
    if [ ! -e "$root/made" ]; then
        step "Making a Debian ${release#debian}…"
        make_root "$codename"
        quietly apt-get update -qq
        touch "$root/made"
    fi
}
# Runs a command in the system. What it says is shown if it fails.
quietly() {
    enter "$@" >"$root/said.log" 2>&1 ||
        { tail -n 20 "$root/said.log" >&2; fail "fails in Debian ${release#debian}: $*"; }
}
install_packages() {
    quietly env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "$@"
}

use_build_system() {
    use_system build
    step "Installing what the package is built with…"
    install_packages --no-install-recommends dpkg-dev debhelper
    rm -rf "$root/srv"/*
    copy_sources
    quietly env DEBIAN_FRONTEND=noninteractive \
        apt-get build-dep -y -qq --no-install-recommends /srv/host
}

# Builds the sources in /srv/host, in that folder of the system, into the folder $out. What stands
# behind it begins the command. Each release's package has its own version, so that an upgrade of the
# release is one of the package.
build_in() {
    local log=$root/build.log
    step "Building the package…"
    if [ "$1" != /srv/host ]; then
        mkdir -p "$root/$(dirname "$1")"
        mv "$root/srv/host" "$root/$1"
    fi
    enter "${@:2}" bash -euc '
        cd "$1"
        sed -i "1s/(\(.*\)) [a-z]*;/(\1~$2) $3;/" debian/changelog
        export DEB_BUILD_OPTIONS="${DEB_BUILD_OPTIONS:-parallel=$(nproc)}"
        dpkg-buildpackage --build=binary --no-sign' \
        build "$1" "deb${release#debian}" "$codename" >"$log" 2>&1 ||
        { tail -n 40 "$log" >&2; fail "the package cannot be built"; }
    rm -rf "$out"
    mkdir -p "$out"
    mv "$root/$(dirname "$1")"/velmora-viewer*.* "$out"
}

build_package() {
    use_build_system
    build_in /srv/host
}

# What Debian's checkers find is shown, and nothing may be found.
check_package() {
    step "Looking at the package with lintian…"
    install_packages --no-install-recommends lintian
    cp "$out"/* "$root/srv/"
    enter bash -c 'lintian --tag-display-limit 0 --allow-root --fail-on error,warning \
        /srv/*.changes' ||
        fail "the package is not as Debian's should be"
}

# The package of the release, as it was built or as it is built now.
have_package() {
    compgen -G "$out/velmora-viewer-host_*.deb" >/dev/null || build_package
}
# Puts it where the system finds it, and beside it what tries it.
put_package() {
    rm -rf "$root/srv/installed"
    cp "$out"/velmora-viewer-host_*.deb "$root/srv/package.deb"
    cp "$out"/velmora-viewerctl_*.deb "$root/srv/operators.deb"
    cp -r scripts/proofs/installed "$root/srv/installed"
}

# Has an ordinary user try the installed package: first with nothing there but what apt installs for it,
# then by the acceptance tests of build/test, which find it where they look for the built programs.
test_package() {
    use_system tried
    put_package
    step "Installing the package…"
    install_packages /srv/package.deb /srv/operators.deb
    grep -q ^person: "$root/etc/passwd" || enter useradd --create-home person
    # Without a display there is nothing to read, but every library is found.
    enter "${as_person[@]}" bash -euc '
        [ "$(VelmoraViewerHost --check-permission || echo $?)" = "$(
            printf "Screen Recording: not granted\n2")" ]
        for program in /usr/bin/{VelmoraViewerHost,velmora-viewerctl} \
            /usr/libexec/velmora-viewer-host/*; do
            if ldd "$program" | grep "not found"; then
                exit 1
            fi
        done' || fail "the installed programs do not start"
    step "Installing what the tests run on…"
    copy_tests
    quietly "$PWD/scripts/packages" test
    install_packages --no-install-recommends cmake
    step "Testing…"
    enter "${as_person[@]}" ctest --test-dir "$PWD/build/test" -L acceptance --output-on-failure \
        --no-tests=error -j "$((3 * $(nproc)))" || fail "the installed package fails its tests"
}
as_person=(setpriv --reuid=person --regid=person --init-groups --reset-env env LANG=C.UTF-8)

# To where they were built, with the installed programs in the place of the built ones.
copy_tests() {
    local programs=$root$PWD/build/test/bin
    rm -rf "$root$PWD"
    mkdir -p "$root$PWD"
    find scripts tests build/test \( -path 'build/test/bin/*' -o -name '*.cmake' -o -name '*.so' \
        -o -path 'scripts/*' -o -path 'tests/*' \) -type f -print0 |
        tar -c --null -T - | tar -x -C "$root$PWD"
    ln -sf /usr/bin/VelmoraViewerHost "$programs/VelmoraViewerHost"
    ln -sf /usr/bin/velmora-viewerctl "$programs/velmora-viewerctl"
    ln -sf /usr/libexec/velmora-viewer-host/VelmoraViewerHostAlert "$programs/VelmoraViewerHostAlert"
    enter chown -R person: "$PWD/build"
}
