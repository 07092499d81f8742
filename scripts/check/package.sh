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
if grep -rI "$PWD" "$install"; then
    echo "the installation names the tree that it was built in"
    exit 1
fi

for standard in 17 20; do
    say "find_package, C++$standard"
    cmake -S tests/package -B "$work/cmake-$standard" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_PREFIX_PATH="$install" -DCMAKE_CXX_STANDARD="$standard"
    cmake --build "$work/cmake-$standard"
    "$work/cmake-$standard/host"

    for compiler in g++ clang++; do
        say "pkg-config, C++$standard, $compiler"
        pc_dir=$(dirname "$(find "$install" -name tessilgraph.pc)")
        read -r -a flags <<<"$(PKG_CONFIG_PATH="$pc_dir" pkg-config --cflags --libs tessilgraph)"
        "$compiler" "-std=c++$standard" -Wall -Wextra -Wpedantic tests/package/host.cpp -o "$work/host-$compiler-$standard" \
            "${flags[@]}" "-Wl,-rpath,$(dirname "$pc_dir")"
        "$work/host-$compiler-$standard"
    done
done

say "a TessilUtils of the host's own"
cmake -S tests/package/own-utils -B "$work/own-utils" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_COMPILER_LAUNCHER=ccache
cmake --build "$work/own-utils" -j "$(nproc)"
"$work/own-utils/host"
if readelf -d "$work/own-utils/TessilGraph/TessilGraph/libTessilGraph.so" | grep -E 'TessilUtils|tbb|embree'; then
    echo "TessilGraph still needs the above"
    exit 1
fi
