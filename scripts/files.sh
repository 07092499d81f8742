#!/usr/bin/env bash
# Prints the files that a check works on, one per line.
#   files.sh code     all that the formatter owns
#   files.sh sources  the sources that the linters read
#   files.sh headers  the public headers, as hosts include them
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# The files of the tree that are like that; there are some.
list() {
    local files
    files=$(all "$@" | LC_ALL=C sort -u | while IFS= read -r file; do
        # git still lists a file that was deleted a moment ago.
        if [[ -f $file ]]; then
            printf '%s\n' "$file"
        fi
    done)
    if [[ -z $files ]]; then
        echo "files.sh: no file is like $*; does $PWD lie in a git repository that ignores it?" >&2
        return 1
    fi
    printf '%s\n' "$files"
}

# Those that git tracks or would track, or every one where there is no git repository.
all() {
    if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
        git ls-files --cached --others --exclude-standard -- "$@"
    else
        local pattern
        for pattern in "$@"; do
            find . -path ./build -prune -o -path "./$pattern" -type f -print | sed 's|^\./||'
        done
    fi
}

case "${1:-}" in
code) list '*.h' '*.cpp' '*.h.in' ;;
sources) list '*.cpp' ;;
headers)
    {
        list 'TessilGraph/*.h' 'TessilUtils/*.h' | { grep -v /internal/ || true; }
        # Generated ones, with the name that they have for hosts.
        list 'TessilGraph/*.h.in' | sed 's/\.in$//'
        printf '%s\n' TessilGraph/Export.h TessilUtils/Export.h
    } | LC_ALL=C sort
    ;;
*)
    echo "usage: files.sh code|sources|headers" >&2
    exit 2
    ;;
esac
