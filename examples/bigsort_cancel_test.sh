#!/bin/sh
# Interrupts a sort of the program $1 as soon as there is a file of it, and checks that it says so and leaves no file.
set -u
directory=$(mktemp -d) || exit 1
trap 'rm -rf "$directory"' EXIT

"$1" --factor 1000000 --dirs "$directory" &
program=$!
until [ -n "$(ls "$directory")" ]; do kill -0 "$program" || exit 1; done
kill -INT "$program"
wait "$program"
status=$?

left=$(ls "$directory")
echo "status $status, files left: ${left:-none}"
[ "$status" -eq 130 ] && [ -z "$left" ]
