#!/usr/bin/env bash
# The linter, over all sources; tests/.clang-tidy asks less of the tests. What was clean and has not changed since is
# not read again.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

# Configured, not built.
build=build/tidy
cmake --preset clang -B "$build" -DTESSIL_BUILD_BENCHMARKS=ON -DTESSIL_BUILD_FUZZERS=ON >/dev/null
together=scripts/check/tidy_together.py
key="$(clang-tidy --version) $(cat .clang-tidy tests/.clang-tidy "$together")
$(sed "s|$PWD||g" "$build/compile_commands.json" | grep '"command"' | sed -E 's/ -o .*//' | sort -u)"
# What must not compile cannot be linted. The hosts of the installed package are built outside of this tree.
scripts/files.sh sources | grep -vE '^tests/(graph/FurtherPortType.cpp|package/)' |
    scripts/each.sh --first "$together $build" "$key" clang-tidy --quiet -p "$build"
