#!/usr/bin/env bash
# run_guide.sh PROGRAM EXPECTED: runs the program of the guide in a directory of its own. It must print what is expected, and
# leave no file behind.
set -euo pipefail
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
mkdir "$directory/tables"
env -u KTB_BASE_TEMP -u KTB_OPTIONS TMPDIR="$directory/tables" "$1" >"$directory/printed"
diff -u "$2" "$directory/printed"
if [ -n "$(ls -A "$directory/tables")" ]; then
    echo "The program left files behind:" >&2
    ls -lA "$directory/tables" >&2
    exit 1
fi
