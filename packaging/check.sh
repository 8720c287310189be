#!/usr/bin/env bash
# Proves the packages in a minimal system of their own. Usage: packaging/check.sh BUILD_DIRECTORY PACKAGE_DIRECTORY
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(cd "$1" && pwd)
packages=$(cd "$2" && pwd)
# shellcheck source=scripts/install.sh
source "$source_dir/scripts/install.sh"

fail() {
    echo "check: $*" >&2
    exit 1
}

skip() {
    echo "SKIPPED: the packages are not checked, since $*."
    exit 0
}

step() {
    printf '\n== %s ==\n' "$*"
}

# The first mirror of this machine. One of the two files is usually not there, which sed reports.
first_mirror() {
    { sed -n 's/^URIs: *\([^ ]*\).*/\1/p; s/^deb \(\[[^]]*\] \)\{0,1\}\([^ ]*\) .*/\2/p' \
        /etc/apt/sources.list.d/debian.sources /etc/apt/sources.list 2>/dev/null || true; } | head -n 1
}

# The file of package $1; nothing when it was not made.
package_called() {
    find "$packages" -name "${1}_*.deb" -printf '%f'
}

clean_up() {
    if mountpoint -q "$system/proc"; then umount "$system/proc"; fi
    rm -rf --one-file-system "$work"
}

# Runs a command in the minimal system.
inside() {
    chroot "$system" env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 TERM=dumb DEBIAN_FRONTEND=noninteractive "$@"
}

# The system gets this machine's way to its Debian mirror.
make_system() {
    debootstrap --variant=minbase "$codename" "$system" "$mirror" >"$work/debootstrap.log" 2>&1 ||
        { tail "$work/debootstrap.log" && skip "no minimal system can be made here"; }
    mount -t proc proc "$system/proc" 2>/dev/null || skip "nothing can be mounted here"
    cp /etc/resolv.conf "$system/etc/resolv.conf"
    cp /etc/apt/sources.list "$system/etc/apt/" 2>/dev/null || rm -f "$system/etc/apt/sources.list"
    cp /etc/apt/sources.list.d/debian.sources "$system/etc/apt/sources.list.d/" 2>/dev/null || true
    grep -lE '^ *Acquire::' /etc/apt/apt.conf.d/* | xargs -r cp -t "$system/etc/apt/apt.conf.d/"
    apt_inside update
    mkdir "$system/packages"
    cp "$packages"/*.deb "$source_dir"/tests/package/package_test.sh "$system/packages/"
    cp -r "$source_dir"/tests/package/{asking,cities,plain} "$system/packages/"
}

# A program that was built elsewhere, as those of other packages are.
build_program_outside() {
    g++ -std=c++17 -I"$source_dir/include" -I"$source_dir/base" -o "$system/packages/built_elsewhere" \
        "$source_dir/tests/package/cities/cities.cpp" -L"$build" -lktwt -lktb
}

# Every file of the system, but for caches, logs and what the package manager keeps of its last run.
list_files() {
    inside find / -xdev \( -path /proc -o -path /tmp -o -path /packages -o -path /var/cache -o -path /var/log -o -path /var/lib/apt \) \
        -prune -o ! -path '/var/lib/dpkg/*-old' -print | LC_ALL=C sort
}

apt_inside() {
    inside apt-get -q -y -o Dpkg::Use-Pty=0 "$@"
}

# Installs the given packages of ours.
install_ours() {
    apt_inside install --no-install-recommends "${@/#//packages/}"
}

purge_ours() {
    local ours
    # shellcheck disable=SC2016 # a field of dpkg-query
    mapfile -t ours < <(inside dpkg-query -W -f '${Package}\n' 'libktwt*' ktwt 2>/dev/null)
    apt_inside purge --autoremove "${ours[@]}"
}

test_inside() {
    echo "-- $1"
    inside KTWT_TREE=/usr KTWT_LIBDIR="$libdir" KTWT_VERSION="$version" CMAKE=cmake CC=cc CXX=c++ CMAKE_GENERATOR="Unix Makefiles" \
        bash /packages/package_test.sh "$1"
}

# The linker finds the libraries as soon as their package is there, and no longer when it is gone.
expect_known_libraries() {
    local known
    known=$(inside ldconfig -p | grep -cE 'libkt(wt|b)\.so\.' || true)
    [ "$known" -eq "$1" ] || fail "the linker knows $known of the libraries instead of $1"
}

expect_same_files() {
    list_files >"$work/after"
    diff "$work/before" "$work/after" || fail "the packages left or took the files above"
}

check_running() {
    step "on a system without build tools"
    local wanted=("$runtime")
    if [ -n "$tool" ]; then wanted+=("$tool"); fi
    list_files >"$work/before"
    install_ours "${wanted[@]}"
    expect_known_libraries 2
    inside /packages/built_elsewhere
    if [ -n "$tool" ]; then test_inside tool; fi
    purge_ours
    expect_known_libraries 0
    expect_same_files
}

check_building() {
    step "with a compiler"
    apt_inside install --no-install-recommends g++ cmake make pkg-config file
    list_files >"$work/before"
    install_ours "$runtime" "$development"
    for case in headers asking cmake_shared cmake_static pkg_config_shared pkg_config_static; do test_inside "$case"; done
    purge_ours
    expect_same_files
}

[ "$(id -u)" -eq 0 ] || skip "that takes root"
[ -f /etc/debian_version ] || skip "this is no Debian"
try_packages debootstrap || skip "debootstrap cannot be installed"
codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
mirror=$(first_mirror)
[ -n "$mirror" ] || skip "no Debian mirror is known"
runtime=$(package_called libktwt2)
development=$(package_called libktwt-dev)
tool=$(package_called ktwt)
version=$(dpkg-deb --field "$packages/$runtime" Version)
libdir=lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)

work=$(mktemp -d)
system=$work/system
trap clean_up EXIT
step "a minimal system of $codename"
make_system
build_program_outside
check_running
check_building
step "installed, used and removed without a trace"
