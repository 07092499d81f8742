#!/usr/bin/env bash
# Which lines and branches of the libraries the tests run; fails below 97 % of lines or 90 % of branches, and where
# uncovered.txt and one_way.txt lack reasons for what is left out.
# The test programs are those of the release preset: only the libraries are built to count, without optimisation, so that
# the tests on bits hold there, too.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

counted=build/coverage
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)"
cmake --preset coverage >/dev/null
cmake --build --preset coverage -j "$(nproc)"

# Counts add up from run to run.
find "$counted" -name '*.gcda' -delete
# Left out is what takes long where everything is counted and reaches nothing that shorter tests don't, and what runs
# other builds of the libraries or none.
other_programs='large_tests|unloading.*|.*_exports|(more_|large_|memory_)?sequence_tests|.*_valgrind|nodes_symbols|further_port_types.*|own_node_type|vehicle_.*'
long_tests='PlansInStep.*PartsOfPlain*:PlansInStep.*PartsWhose*:RandomNetworks.*CutOff:Model.*OneLongRun:LevelWalk.LeavesSlow*'
LD_LIBRARY_PATH=$PWD/$counted/TessilGraph:$PWD/$counted/TessilUtils GTEST_FILTER="-$long_tests" \
    ctest --preset release -E "^($other_programs)\$"

# The branches left out are those that no line of ours has: calls that throw, and what the compiler adds to lines
# without code.
gcovr --root . --object-directory "$counted" --filter 'TessilGraph/' --filter 'TessilUtils/' -j "$(nproc)" \
    --exclude-throw-branches --exclude-unreachable-branches --json "$counted/coverage.json"
scripts/check/coverage_report.py "$counted/coverage.json" scripts/check/uncovered.txt scripts/check/one_way.txt
