#!/usr/bin/env bash
# ./demo runs to its end, and leaves the picture that it promises.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

rm -rf build/demo
./demo
picture=build/demo/vehicle.svg
if [[ ! -s $picture ]]; then
    echo "the demo has written no $picture"
    exit 1
fi
