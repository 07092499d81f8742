#!/usr/bin/env bash
# Builds a preset and runs its tests; ends with the line "tests: P passed, F failed".
#   tests.sh PRESET
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

preset=$1
cmake --preset "$preset"
scripts/check/fused.sh "build/$preset"
cmake --build --preset "$preset" -j "$(nproc)"
status=0
rm -f "build/$preset/Testing/Temporary/LastTest.log"
ctest --preset "$preset" || status=$?

# One ctest test is one GoogleTest program, so the tests are counted in what the programs printed.
# Anything else, and a program that died before it could count, stands for one.
awk '
    / Testing: / { ended = good = bad = 0 }
    /^\[  PASSED  \] [0-9]+ tests?\.$/ { ended = 1; good += $4 }
    /^\[  FAILED  \] [0-9]+ tests?, listed below:$/ { ended = 1; bad += $4 }
    /^Test Passed\.$/ { passed += ended ? good : 1; failed += bad }
    /^Test Failed\.$/ { passed += good; failed += bad > 0 ? bad : 1 }
    END { printf "tests: %d passed, %d failed\n", passed, failed }
' "build/$preset/Testing/Temporary/LastTest.log"
exit "$status"
