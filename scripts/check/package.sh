#!/usr/bin/env bash
# An installation serves hosts: one that comes through find_package, one that comes through
# pkg-config, and one that brings a TessilUtils of its own.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

work="$PWD/build/check/package"
install="$PWD/build/check/install"
rm -rf "$work" "$install"
mkdir -p "$work"

say() { echo "==> $*"; }

say "install, and move the installation"
cmake --preset release
cmake --build --preset release -j "$(nproc)" --target TessilGraph tessilgraph
cmake --install build/release --prefix "$work/first-place" --strip
mv "$work/first-place" "$install"
if grep -rF "$PWD" "$install"; then
    echo "the installation names the tree that it was built in"
    exit 1
fi

# hosts STANDARD: hosts that use the installation, by either of its descriptions.
hosts() {
    say "find_package, C++$1"
    cmake -S tests/package -B "$work/cmake-$1" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_PREFIX_PATH="$install" -DCMAKE_CXX_STANDARD="$1"
    cmake --build "$work/cmake-$1"
    "$work/cmake-$1/host"

    for compiler in g++ clang++; do
        say "pkg-config, C++$1, $compiler"
        pc_dir=$(dirname "$(find "$install" -name tessilgraph.pc)")
        read -r -a flags <<<"$(PKG_CONFIG_PATH="$pc_dir" pkg-config --cflags --libs tessilgraph)"
        "$compiler" "-std=c++$1" -Wall -Wextra -Wpedantic tests/package/host.cpp -o "$work/host-$compiler-$1" \
            "${flags[@]}" "-Wl,-rpath,$(dirname "$pc_dir")"
        "$work/host-$compiler-$1"
    done
}
hosts 17 &
older=$!
hosts 20
wait "$older"

# needs_no_utils LIBRARY: it is linked to something, and to nothing that only our own TessilUtils brings.
needs_no_utils() {
    local needed
    needed=$(readelf -d "$1" | grep NEEDED)
    if grep -E 'TessilUtils|tbb|embree' <<<"$needed"; then
        echo "TessilGraph still needs the above"
        exit 1
    fi
}
# Only to be seen to build and to serve: with assertions, but neither optimised nor with debug information,
# which would take half as long again.
plain=(-G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_UNITY_BUILD=ON)

say "a TessilUtils of the host's own, as a target"
cmake -S tests/package/own-utils -B "$work/own-utils" "${plain[@]}"
cmake --build "$work/own-utils" -j "$(nproc)"
"$work/own-utils/host"
needs_no_utils "$work/own-utils/TessilGraph/TessilGraph/libTessilGraph.so"

say "a TessilUtils of the host's own, as a package"
prefix="$work/own-package"
cmake -S tests/package/host-utils -B "$work/host-utils" "${plain[@]}" -DCMAKE_INSTALL_PREFIX="$prefix"
cmake --build "$work/host-utils" --target install
own=(-DTESSIL_UTILS_PACKAGE=HostUtils -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_INSTALL_PREFIX="$prefix")
cmake -S . -B "$work/with-package" "${plain[@]}" "${own[@]}"
cmake --build "$work/with-package" -j "$(nproc)" --target install
needs_no_utils "$(find "$prefix" -name libTessilGraph.so)"
cmake -S tests/package -B "$work/package-host" "${plain[@]}" -DCMAKE_PREFIX_PATH="$prefix"
cmake --build "$work/package-host"
"$work/package-host/host"
