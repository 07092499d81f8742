#!/usr/bin/env bash
# Every file includes what it uses of the standard library, nothing of it for nothing, nothing twice, and
# in the order of the groups: its own header, TessilGraph, TessilUtils, others, the standard library. No source
# shortens a name that it does not use, and no file includes a header of this tree for nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

status=0
scripts/files.sh code | awk -f scripts/check/includes.awk || status=1
scripts/files.sh code | scripts/check/own_includes.py || status=1
exit "$status"
