#!/usr/bin/env bash
# check_reference.sh DIR: makes the reference, which fails on any warning, and looks whether what the headers say is in it.
set -euo pipefail
here=$(dirname "${BASH_SOURCE[0]}")
rm -rf "$1"
"$here/../../scripts/docs" "$1"

text_of() { sed -e 's/<[^>]*>//g' "$1"; }

# expect FILE TEXT: the page has the text, its marks left out.
expect() {
    if [[ $(text_of "$1") != *"$2"* ]]; then
        echo "$1 does not say: $2" >&2
        exit 1
    fi
}
html=$1/html
expect "$html/classKtWorkTableManager.html" "Splits the rows of a table into at most"     # a comment before an operation
expect "$html/classKtWorkTableFile.html" "what the manager's open() takes"             # one behind it
expect "$html/sweep_8h.html" "any number of threads and processes may sweep"              # what opens a header
expect "$html/structKTWFCursorFPs.html" "0 a row, 1 the end, -1 on failure"               # one of C
expect "$html/structKtDatafileSortInfo.html" "rows dropped so far because an earlier one" # behind a member, aligned with others
# A comment holds for all operations up to the next empty line: the three opens say the same.
if [ "$(text_of "$html/classKtWorkTableManager.html" | grep -c '^Open a table read-only')" -lt 3 ]; then
    echo "The operations that share a comment do not all have it." >&2
    exit 1
fi
