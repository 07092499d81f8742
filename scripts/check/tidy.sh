#!/usr/bin/env bash
# The linter, over all sources but the tests, or over the tests, of which tests/.clang-tidy asks less. What was clean
# and has not changed since is not read again.
#   tidy.sh          what ./check reads
#   tidy.sh tests    the tests, for which a check has no time
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

# Configured, not built.
build=build/tidy
cmake --preset clang -B "$build" -DTESSIL_BUILD_BENCHMARKS=ON -DTESSIL_BUILD_FUZZERS=ON >/dev/null
key="$(clang-tidy --version) $(cat .clang-tidy tests/.clang-tidy)
$(sed "s|$PWD||g" "$build/compile_commands.json" | grep '"command"' | sed -E 's/ -o .*//' | sort -u)"
kind=(-v)
if [[ ${1:-} == tests ]]; then
    kind=()
fi
scripts/files.sh sources | grep "${kind[@]}" '^tests/' | scripts/each.sh "$key" clang-tidy --quiet -p "$build"
