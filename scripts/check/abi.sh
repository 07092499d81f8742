#!/usr/bin/env bash
# The binary interface of the libraries is the one that was reviewed, as the files in abi/ have it.
#   abi.sh            fails and tells what differs
#   abi.sh --accept   takes what is built now for reviewed: writes the lists of exports and the baselines
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

accept=""
if [[ ${1:-} == --accept ]]; then
    accept=yes
fi

# Layouts and signatures come from debug information, which the release build has none of.
build=build/coverage
cmake --preset coverage >/dev/null
cmake --build --preset coverage -j "$(nproc)"
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target TessilGraph TessilUtils

# A type is part of the interface when a public header defines it.
public="$PWD/$build/public"
rm -rf "$public"
headers=$(scripts/files.sh headers)
while IFS= read -r header; do
    source=$header
    [[ -f $source ]] || source=$build/include/$header
    install -D -m 644 "$source" "$public/$header"
done <<<"$headers"

# layout NAME: what hosts compile in, though no exported function names it, so that abidiff overlooks it.
layout() {
    abidw --load-all-types --exported-interfaces-only --out-file "$build/$1.all" "$build/$1/lib$1.so"
    grep "^$1/" <<<"$headers" | xargs scripts/check/layouts.py "$build/$1.all" >"$build/$1.layout"
}
{
    layout TessilUtils
    layout TessilGraph
} &
layouts=$!

status=0
for name in TessilGraph TessilUtils; do
    # Everything but the names of files and parameters, so that only what counts makes a difference.
    abidw --suppressions abi/left-out.ini --headers-dir "$public" --drop-private-types --exported-interfaces-only \
        --no-parameter-names --no-show-locs --no-corpus-path --no-comp-dir-path --no-elf-needed \
        --out-file "$build/$name.now" "$build/$name/lib$name.so"
    if [[ -n $accept ]]; then
        sed "s|path='$PWD/|path='|" "$build/$name.now" | gzip -9n >"abi/$name.abi.gz"
        tests/exports.sh nm "build/release/$name/lib$name.so" >"abi/$name.symbols"
        continue
    fi
    tests/exports.sh nm "build/release/$name/lib$name.so" "abi/$name.symbols" || status=1
    gzip -d <"abi/$name.abi.gz" >"$build/$name.reviewed"
    if ! abidiff "$build/$name.reviewed" "$build/$name.now"; then
        echo "FAILED: the interface of lib$name has changed as told above; CONTRIBUTING.md says when it may"
        status=1
    fi
done
wait "$layouts"
for name in TessilGraph TessilUtils; do
    if [[ -n $accept ]]; then
        cp "$build/$name.layout" "abi/$name.layout"
    elif ! diff -U 3 "abi/$name.layout" "$build/$name.layout"; then
        echo "FAILED: classes in the headers of lib$name have changed as told above; CONTRIBUTING.md says when they may"
        status=1
    fi
done
exit "$status"
