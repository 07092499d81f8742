#!/bin/sh
# A committed file is what its program writes: written_file.sh PROGRAM FILE
set -eu
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
"$1" "$folder/written"
cmp "$folder/written" "$2"
