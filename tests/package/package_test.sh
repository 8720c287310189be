#!/usr/bin/env bash
# Installs the build into a directory of its own, moves that, and does there what a stranger would.
# Usage: package_test.sh CASE; CMakeLists.txt sets the environment. With KTWT_TREE nothing is installed: what is there is tested.
# Status 77: a program that the case needs is not there.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "package_test: $*" >&2
    exit 1
}

need() {
    local program
    for program in "$@"; do
        command -v "$program" >/dev/null || { echo "SKIPPED: there is no $program here." && exit 77; }
    done
}

# Fails unless the text $1 is $2.
expect_text() {
    [ "$1" = "$2" ] || fail "$(printf 'expected\n%s\nbut got\n%s' "$2" "$1")"
}

# Fails unless there is the line $2 in the text $1.
expect_line() {
    grep -qxF -- "$2" <<<"$1" || fail "$(printf 'expected the line\n%s\nin\n%s' "$2" "$1")"
}

# Installs into $work/first and moves all of it to $tree, where it has to work as well.
install_tree() {
    tree=${KTWT_TREE:-$work/moved}
    if [ -n "${KTWT_TREE:-}" ]; then return; fi
    "$CMAKE" --install "$KTWT_BINARY_DIR" --prefix "$work/first" >"$work/install.log"
    mv "$work/first" "$tree"
}

# The files of files.txt that belong to the parts of the library in the pattern $1.
expected_files() {
    sed -nE "s/^($1) //p" "$here/files.txt" |
        sed "s|LIB|$KTWT_LIBDIR|; s|BUILD|$KTWT_BUILD_KIND|; s|ZSH|$KTWT_ZSH|; s|VERSION|$KTWT_VERSION|" | LC_ALL=C sort
}

# The files in folder $1, without those that files.txt does not list one by one.
files_in() {
    (cd "$1" && find . ! -type d | sed -E 's|^\./||; /^share\/man\/man1\/ktwt-[a-z]+\.1$/d' | LC_ALL=C sort)
}

# Component $1 consists of the parts in the pattern $2.
expect_component() {
    DESTDIR=$work/stage "$CMAKE" --install "$KTWT_BINARY_DIR" --prefix "/opt/$1" --component "$1" >"$work/install.log"
    expect_text "$(files_in "$work/stage/opt/$1")" "$(expected_files "$2")"
}

# Nothing that is installed may lead back to where it was built or first installed.
expect_no_way_back() {
    local place library
    for place in "$KTWT_SOURCE_DIR" "$KTWT_BINARY_DIR" "$work/first"; do
        if grep -rIF -- "$place" "$tree"; then fail "$place is named in the lines above"; fi
    done
    for library in "$tree/$KTWT_LIBDIR"/*.so; do
        # shellcheck disable=SC2016 # the linker's $ORIGIN, not the shell's
        if readelf -d "$library" | grep -E 'R(UN)?PATH' | grep -vF '[$ORIGIN]'; then fail "$library searches elsewhere"; fi
    done
}

test_files() {
    install_tree
    expect_text "$(files_in "$tree")" "$(expected_files "$KTWT_PARTS")"
    expect_no_way_back
    expect_component runtime runtime
    expect_component development development
    if [[ $KTWT_PARTS == *tool* ]]; then expect_component tool "${KTWT_PARTS#runtime|development|}"; fi
}

# Compiles the header $3 alone, with the compiler $1 for the language $2.
compile_header() {
    "$1" -Wall -Wextra -pedantic -Werror -fsyntax-only -I"$tree/include" -include "$3" -x "$2" "${@:4}" /dev/null ||
        fail "$3 does not compile by itself as $2"
}

test_headers() {
    install_tree
    local header
    while read -r header; do
        compile_header "$CXX" c++ "$header" -std=c++17
    done < <(cd "$tree/include" && find ktwt ktb -name '*.h')
    compile_header "$CC" c ktwt/ktwf.h -std=c11
    compile_header "$CC" c ktwt/version.h -std=c11
}

test_asking() {
    install_tree
    "$CMAKE" -S "$here/asking" -B "$work/asking" -DCMAKE_PREFIX_PATH="$tree"
}

# Fails unless program $1 is linked with the library as $2 says.
expect_linkage() {
    local needed
    needed=$(readelf -d "$1")
    case $2 in
        shared) grep -q 'NEEDED.*\[libktwt\.so\.2\]' <<<"$needed" || fail "$1 is not linked with the shared library" ;;
        static) if grep -q 'NEEDED.*libkt' <<<"$needed"; then fail "$1 is linked with a shared library"; fi ;;
    esac
}

# Runs cities and plain, built below $work, and looks at what they print and leave behind.
run_programs() {
    mkdir "$work/tables"
    expect_text "$(TMPDIR=$work/tables "$work/cities/cities")" $'Aachen 252769\nTrier 112737\nUlm 129942'
    expect_text "$(ls -A "$work/tables")" ""
    expect_text "$("$work/plain/plain")" \
        "Work Table Library version ${KTWT_VERSION%.*} (build ${KTWT_VERSION##*.}), 14 functions"
    expect_linkage "$work/cities/cities" "$1"
    expect_linkage "$work/plain/plain" "$1"
}

# Builds both outside projects with CMake, linked as $1 says.
test_cmake() {
    install_tree
    local project
    for project in cities plain; do
        "$CMAKE" -S "$here/$project" -B "$work/$project" -DCMAKE_PREFIX_PATH="$tree" -DKTWT_LINKAGE="$1" \
            -DCMAKE_BUILD_TYPE=Release
        "$CMAKE" --build "$work/$project"
    done
    run_programs "$1"
}

# What pkg-config says of an installed library.
pkg_config() {
    PKG_CONFIG_PATH=$tree/$KTWT_LIBDIR/pkgconfig pkg-config "$@"
}

# Each library is where its file for pkg-config says that it is.
expect_places() {
    local library
    for library in ktwt ktb; do
        [ "$(pkg_config --variable=libdir "$library")" -ef "$tree/$KTWT_LIBDIR" ] || fail "$library.pc is of another place"
        [ "$(pkg_config --variable=includedir "$library")" -ef "$tree/include" ] || fail "$library.pc has headers elsewhere"
    done
}

# Compiles the program of each outside project by what pkg-config says, linked as $1 says.
build_with_pkg_config() {
    local options=() flags
    if [ "$1" = static ]; then options=(--static); fi
    read -ra flags <<<"$(pkg_config "${options[@]}" --cflags --libs ktwt)"
    if [ "$1" = static ]; then flags+=(-static); fi
    mkdir "$work/cities" "$work/plain"
    "$CXX" -std=c++17 -o "$work/cities/cities" "$here/cities/cities.cpp" "${flags[@]}"
    "$CC" -std=c11 -o "$work/plain/plain" "$here/plain/plain.c" "${flags[@]}"
}

test_pkg_config() {
    need pkg-config
    install_tree
    expect_text "$(pkg_config --modversion ktwt)" "$KTWT_VERSION"
    expect_places
    build_with_pkg_config "$1"
    if [ "$1" = shared ]; then export LD_LIBRARY_PATH=$tree/$KTWT_LIBDIR; fi
    run_programs "$1"
}

# Unpacks package $1 into $work/root and what it says of itself into $work/control.
unpack() {
    local package
    package=$(echo "$work/debs/${1}_${KTWT_VERSION}"_*.deb)
    rm -rf "$work/control"
    dpkg-deb --extract "$package" "$work/root"
    dpkg-deb --control "$package" "$work/control"
    (cd "$work/root" && md5sum --check --quiet --strict "$work/control/md5sums")
    gzip -t "$work/root/usr/share/doc/$1/changelog.gz"
    [ -s "$work/root/usr/share/doc/$1/copyright" ] || fail "$1 says nothing of its licence"
}

expect_same_libraries_wanted() {
    grep -qE "^Depends: (.*, )?libktwt2 \(= ${KTWT_VERSION//./\\.}\)" "$work/control/control" || fail "$1 goes with any version of the libraries"
}

# The tool makes a table of standard input and prints it again.
run_tool() {
    local tool=$tree/bin/ktwt csv=$'city,people\nUlm,129942' table
    mkdir -p "$work/tables"
    table=$(TMPDIR=$work/tables "$tool" import - <<<"$csv")
    expect_text "$(TMPDIR=$work/tables "$tool" cat "$table")" "$csv"
    TMPDIR=$work/tables "$tool" rm "$table"
    expect_text "$(ls -A "$work/tables")" ""
}

test_tool() {
    install_tree
    run_tool
}

test_debs() {
    need dpkg-deb dpkg-shlibdeps file pkg-config
    "$CPACK" -G DEB --config "$KTWT_BINARY_DIR/CPackConfig.cmake" -B "$work/debs"
    unpack libktwt2
    expect_line "$(cat "$work/control/shlibs")" "libktwt 2 libktwt2 (>= $KTWT_VERSION)"
    expect_line "$(cat "$work/control/shlibs")" "libktb 1 libktwt2 (>= $KTWT_VERSION)"
    expect_text "$(cat "$work/control/triggers")" "activate-noawait ldconfig"
    grep -q '^Depends: .*libstdc++6' "$work/control/control" || fail "libktwt2 depends on no C++ library"
    unpack libktwt-dev
    expect_same_libraries_wanted libktwt-dev
    if [[ $KTWT_PARTS == *tool* ]]; then
        unpack ktwt
        expect_same_libraries_wanted ktwt
    fi
    tree=$work/root/usr
    expect_text "$(files_in "$tree" | sed -E '/^share\/doc\//d; /^share\/man\/man1\/ktwt-[a-z]+\.1\.gz$/d; s/\.1\.gz$/.1/')" \
        "$(expected_files "$KTWT_PARTS")"
    build_with_pkg_config shared
    export LD_LIBRARY_PATH=$tree/$KTWT_LIBDIR
    run_programs shared
    if [[ $KTWT_PARTS == *tool* ]]; then run_tool; fi
}

case ${1:-} in
    files | headers | asking | tool | debs) "test_$1" ;;
    cmake_shared | cmake_static | pkg_config_shared | pkg_config_static) "test_${1%_*}" "${1##*_}" ;;
    *) fail "there is no case called ${1:-nothing}" ;;
esac
