#!/usr/bin/env bash
# The linter, over everything but the tests. It needs the clang preset configured, not built.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

cmake --preset clang >/dev/null
scripts/files.sh sources | xargs -r -d '\n' -P "$(nproc)" -n 1 clang-tidy --quiet -p build/clang
