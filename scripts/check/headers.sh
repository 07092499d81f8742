#!/usr/bin/env bash
# Every public header compiles alone and without a warning, with both compilers, and all of them together as C++20;
# each includes nothing that is not installed; the umbrella header reaches all of TessilGraph; docstrings say from which
# threads things may be called.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

cmake --preset release >/dev/null
read -r -a imath <<<"$(pkg-config --cflags Imath | sed 's/-I/-isystem /g')"
export FLAGS="-I. -Ibuild/release/include ${imath[*]}"
export WARNINGS="-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror"

check_header() {
    local include="#include <$1>"
    # shellcheck disable=SC2086
    for compiler in "g++ -std=c++17" "clang++ -std=c++17"; do
        if ! $compiler $WARNINGS $FLAGS -fsyntax-only -x c++ - <<<"$include"; then
            echo "FAILED: $1 with $compiler"
            return 1
        fi
    done
    # shellcheck disable=SC2086
    if g++ -std=c++17 $FLAGS -M -x c++ - <<<"$include" | grep -o 'Tessil[^ ]*/internal/[^ ]*'; then
        echo "FAILED: $1 includes the above, which is not installed"
        return 1
    fi
}
export -f check_header

listed=$(scripts/files.sh headers)
mapfile -t headers <<<"$listed"
printf '%s\n' "${headers[@]}" | xargs -d '\n' -P "$(nproc)" -I{} bash -c 'check_header "$1"' check {}

status=0
together=$(printf '#include <%s>\n' "${headers[@]}")
for compiler in g++ clang++; do
    # shellcheck disable=SC2086
    if ! $compiler -std=c++20 $WARNINGS $FLAGS -fsyntax-only -x c++ - <<<"$together"; then
        echo "FAILED: all headers together with $compiler -std=c++20"
        status=1
    fi
done

# shellcheck disable=SC2086
reached=$(g++ -std=c++17 $FLAGS -M -x c++ - <<<'#include <TessilGraph/TessilGraph.h>')
for header in "${headers[@]}"; do
    # Rules are compiled where a host makes node classes of its own, so it includes these itself.
    if [[ $header == TessilGraph/nodes/*ShapeCompute.h ]]; then
        continue
    fi
    if [[ $header == TessilGraph/* ]] && ! grep -qE "(^|[ /])$header( |\$)" <<<"$reached"; then
        echo "FAILED: TessilGraph/TessilGraph.h does not include $header"
        status=1
    fi
done
for header in "${headers[@]}"; do
    # CMake makes these, with macros and no more.
    if [[ $header == */Export.h ]]; then
        continue
    fi
    file=$header
    if [[ ! -f $file ]]; then
        file=build/release/include/$header
    fi
    if ! awk -f scripts/check/threads.awk "$file"; then
        status=1
    fi
done
echo "${#headers[@]} headers"
exit "$status"
