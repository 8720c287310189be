# Sourced by the other scripts: makes sure that the tools of the build are there.
# shellcheck shell=bash

# Says whether what Debian calls package $1 is usable. It looks for the thing itself, so that a tool that came another way counts.
package_present() {
    case $1 in
        ninja-build) command -v ninja ;;
        clang) command -v clang++ ;;
        libgtest-dev) header_present gtest/gtest.h ;;
        libbenchmark-dev) header_present benchmark/benchmark.h ;;
        libsqlite3-dev) header_present sqlite3.h ;;
        libxml2-utils) command -v xmllint ;;
        locales) command -v localedef && test -f /usr/share/i18n/locales/sv_SE ;;
        dpkg-dev) command -v dpkg-shlibdeps ;;
        libcli11-dev) header_present CLI/CLI.hpp ;;
        libcsv-dev) header_present csv.h ;;
        nlohmann-json3-dev) header_present nlohmann/json.hpp ;;
        qemu-user) command -v qemu-s390x ;;
        g++-s390x-linux-gnu) command -v s390x-linux-gnu-g++ ;;
        groff-base) command -v groff ;;
        man-db) command -v man ;;
        googletest) test -f /usr/src/googletest/googletest/CMakeLists.txt ;;
        *) command -v "$1" ;;
    esac >/dev/null 2>&1
}

header_present() {
    printf '#include <%s>\n' "$1" | g++ -x c++ -fsyntax-only -
}

# Fills the array `missing` with those of the named packages that are not usable.
find_missing() {
    missing=()
    local package
    for package in "$@"; do
        package_present "$package" || missing+=("$package")
    done
}

# As install_packages, but only says whether the packages are there in the end.
try_packages() {
    (install_packages "$@")
}

# Installs what is missing of the named Debian packages. Ends the script with status 2 where it cannot.
install_packages() {
    local as_root=() missing
    find_missing "$@"
    [ ${#missing[@]} -gt 0 ] || return 0
    if ! command -v apt-get >/dev/null; then
        echo "Please install these first (the names are Debian's): ${missing[*]}" >&2
        exit 2
    fi
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "Please install these as root first: apt-get install ${missing[*]}" >&2
            exit 2
        fi
        as_root=(sudo)
    fi
    echo "Installing: ${missing[*]}"
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -q
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
    find_missing "$@"
    if [ ${#missing[@]} -gt 0 ]; then
        echo "Still not usable after they were installed: ${missing[*]}" >&2
        exit 2
    fi
}
