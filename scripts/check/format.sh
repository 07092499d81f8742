#!/usr/bin/env bash
# Every C++ file is formatted as .clang-format says.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

scripts/files.sh code | xargs -r -d '\n' -P "$(nproc)" -n 20 clang-format --dry-run -Werror
