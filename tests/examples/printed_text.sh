#!/bin/sh
# A program ends well and prints what a file says: printed_text.sh PROGRAM FILE
set -eu
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
"$1" >"$folder/printed"
diff -u "$2" "$folder/printed"
