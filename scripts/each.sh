#!/usr/bin/env bash
# Runs a command on each source that is named on standard input, its path being the last argument. What
# went well is not run again until the source, a file of the tree that it includes, or the key changes.
#   each.sh KEY COMMAND [ARGUMENT ...]
# KEY stands for all else that the answer depends on: versions, configuration. The memory is the user's, as that
# of ccache is, so that a fresh clone profits.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

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

run() {
    local source=$1 files=$2 digest
    shift 2
    # shellcheck disable=SC2086
    digest=$( (echo "$KEY" && LC_ALL=C sort -u <(tr ' ' '\n' <<<"$files") | sed '/^$/d' | xargs -d '\n' sha256sum) |
        sha256sum | cut -d' ' -f1)
    if [[ -e $MEMORY/$digest ]]; then
        touch "$MEMORY/$digest"
        return
    fi
    "$@" "$source" || {
        echo "FAILED: $source"
        return 1
    }
    touch "$MEMORY/$digest"
}
export -f run

inputs | while IFS= read -r files; do
    read -r source _ <<<"$files"
    printf '%s\0%s\0' "$source" "$files"
done | xargs -0 -r -P "$(nproc)" -n 2 bash -c 'arguments=("$@"); n=${#arguments[@]}
    run "${arguments[n - 2]}" "${arguments[n - 1]}" "${arguments[@]:0:n - 2}"' each "$@"
