#!/usr/bin/env bash
# The libraries of a build, compiled for processors that could, fuse no multiplication with an addition: their results
# would depend on the processor. Tests don't notice, since they run what any processor can run.
#   fused.sh BUILD-FOLDER
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

capable=()
if [[ $(uname -m) == x86_64 ]]; then
    capable=(-march=x86-64-v3)
fi
for name in TessilGraph TessilUtils; do
    # Each set of options that its sources are compiled with.
    commands=$(sed -nE "s|^ *\"command\": \"(.*) -o $name/.*|\1|p" "$1/compile_commands.json" | sort -u)
    if [[ -z $commands ]]; then
        echo "FAILED: $1 tells of no source of $name"
        exit 1
    fi
    while read -r -a command; do
        code=$("${command[@]}" "${capable[@]}" -O2 -S -o - -x c++ - \
            <<<'double probe(double a, double b, double c); double probe(double a, double b, double c) { return a * b + c; }')
        if ! grep -q probe <<<"$code" || grep -E '\bv?fn?m(add|la|sub)' <<<"$code"; then
            echo "FAILED: $name of $1 is compiled to fused multiplications and additions: ${command[*]}"
            exit 1
        fi
    done <<<"$commands"
done
