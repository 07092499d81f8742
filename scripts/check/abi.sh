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
scripts/files.sh headers | while IFS= read -r header; do
    source=$header
    [[ -f $source ]] || source=$build/include/$header
    install -D -m 644 "$source" "$public/$header"
done

status=0
for name in TessilGraph TessilUtils; do
    # Everything but the names of files and parameters, so that only what counts makes a difference.
    abidw --suppressions abi/left-out.ini --headers-dir "$public" --drop-private-types --exported-interfaces-only \
        --no-parameter-names --no-show-locs --no-corpus-path --no-comp-dir-path --no-elf-needed \
        --out-file "$build/$name.now" "$build/$name/lib$name.so"
    if [[ -n $accept ]]; then
        gzip -9n <"$build/$name.now" >"abi/$name.abi.gz"
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
exit "$status"
