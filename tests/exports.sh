#!/usr/bin/env bash
# What a library exports: prints it, or compares it with a list that was reviewed.
#   exports.sh NM LIBRARY [LIST]
# The names are those that c++filt gives, so variants of one constructor count as one.
set -euo pipefail

exported=$("$1" -DC --defined-only "$2" | sed -E 's/^[0-9a-f]+ . //' | LC_ALL=C sort -u)
if [[ $# -lt 3 ]]; then
    printf '%s\n' "$exported"
elif ! diff "$3" - <<<"$exported"; then
    echo "FAILED: $2 lacks what is marked < above, or exports what is marked >"
    exit 1
fi
