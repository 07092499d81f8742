#!/usr/bin/env bash
# The host program in README.md is complete: its first C++ block is built as it stands, and prints
# what the text block that follows says.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

work=build/check/readme
rm -rf "$work"
mkdir -p "$work"

# block LANGUAGE: the first fenced block of that language.
block() {
    awk -v fence="\`\`\`$1" '$0 == fence && !seen { inside = seen = 1; next } /^```/ { inside = 0 } inside' README.md
}
block cpp >"$work/host.cpp"
block text >"$work/expected.txt"
lines=$(wc -l <"$work/host.cpp")
if [[ $lines -eq 0 || $lines -gt 30 ]]; then
    echo "the program in README.md has $lines lines; at least one and at most 30 are promised"
    exit 1
fi

cmake --preset release
cmake --build --preset release -j "$(nproc)" --target TessilGraph
read -r -a imath <<<"$(pkg-config --cflags --libs Imath)"
libraries=(-Lbuild/release/TessilGraph -lTessilGraph -Lbuild/release/TessilUtils -lTessilUtils)
g++ -std=c++17 -Wall -Wextra -Wpedantic -Werror -I. -Ibuild/release/include "$work/host.cpp" -o "$work/host" \
    "${libraries[@]}" "${imath[@]}"

LD_LIBRARY_PATH=build/release/TessilGraph:build/release/TessilUtils "$work/host" | tee "$work/printed.txt"
diff -u "$work/expected.txt" "$work/printed.txt"
