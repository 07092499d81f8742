#!/usr/bin/env bash
# Runs a command on each source that is named on standard input, its path being the last argument. What
# went well is not run again until the source, a file of the tree that it includes, or the key changes.
#   each.sh [--first SCRIPT] KEY COMMAND [ARGUMENT ...]
# KEY stands for all else that the answer depends on: versions, configuration. The memory is the user's, as that
# of ccache is, so that a fresh clone profits. The script looks at all that is to be done at once: it reads the sources
# from standard input and prints those that need not be done one by one, since they would go well.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

first=""
if [[ $1 == --first ]]; then
    first=$2
    shift 2
fi
export MEMORY="${XDG_CACHE_HOME:-$HOME/.cache}/tessil-checks"
KEY=$(printf '%s\n' "$@" | sha256sum | cut -d' ' -f1)
export KEY
shift
mkdir -p "$MEMORY"
find "$MEMORY" -type f -mtime +30 -delete

# inputs: for each source on standard input a line with it and what it includes, directly or not.
inputs() {
    awk '
        FILENAME == "-" { sources[++count] = $0; next }
        { files[$0] }
        END {
            for (file in files) {
                folder = file
                sub(/[^\/]*$/, "", folder)
                while ((getline line < file) > 0) {
                    if (line ~ /^#include [<"]/) {
                        name = line
                        sub(/^#include [<"]/, "", name)
                        sub(/[>"].*/, "", name)
                        name = name in files ? name : folder name
                        if (name in files) includes[file] = includes[file] " " name
                    }
                }
                close(file)
            }
            for (i = 1; i <= count; ++i) {
                split("", seen)
                rest = sources[i]
                seen[rest]
                row = ""
                while (rest != "") {
                    split(rest, stack, " ")
                    rest = ""
                    for (s in stack) {
                        row = row " " stack[s]
                        n = split(includes[stack[s]], next_ones, " ")
                        for (k = 1; k <= n; ++k) {
                            if (!(next_ones[k] in seen)) {
                                seen[next_ones[k]]
                                rest = rest " " next_ones[k]
                            }
                        }
                    }
                }
                print row
            }
        }' <(scripts/files.sh code) -
}

# unknown SOURCE FILES: prints the source and the name of its entry in the memory if there is none.
unknown() {
    local digest
    # shellcheck disable=SC2086
    digest=$( (echo "$KEY" && LC_ALL=C sort -u <(tr ' ' '\n' <<<"$2") | sed '/^$/d' | xargs -d '\n' sha256sum) |
        sha256sum | cut -d' ' -f1)
    if [[ -e $MEMORY/$digest ]]; then
        touch "$MEMORY/$digest"
    else
        echo "$1 $digest"
    fi
}
export -f unknown

run() {
    local source=$1 digest=$2
    shift 2
    "$@" "$source" || {
        echo "FAILED: $source"
        return 1
    }
    touch "$MEMORY/$digest"
}
export -f run

rest=$(inputs | while IFS= read -r files; do
    read -r source _ <<<"$files"
    printf '%s\0%s\0' "$source" "$files"
done | xargs -0 -r -P "$(nproc)" -n 2 bash -c 'unknown "$@"' each | LC_ALL=C sort)
if [[ -n $first && -n $rest ]]; then
    well=$(cut -d' ' -f1 <<<"$rest" | $first)
    awk 'FILENAME == "-" { well[$0]; next } $1 in well { print $2 }' - <(echo "$rest") <<<"$well" |
        (cd "$MEMORY" && xargs -r touch)
    rest=$(awk 'FILENAME == "-" { well[$0]; next } !($1 in well)' - <(echo "$rest") <<<"$well")
fi
xargs -r -P "$(nproc)" -n 2 bash -c 'arguments=("$@"); n=${#arguments[@]}
    run "${arguments[n - 2]}" "${arguments[n - 1]}" "${arguments[@]:0:n - 2}"' each "$@" <<<"$rest"
