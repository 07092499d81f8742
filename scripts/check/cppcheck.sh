#!/usr/bin/env bash
# A second linter, over all sources. What was clean and has not changed since is not read again.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

# The generated headers.
cmake --preset release >/dev/null

# What is left out, and why:
suppressed=(
    # Stacks and scratch rooms are written before they are read; filling them would cost what they save.
    uninitMemberVar
    # Positions are numbers, behind an alias that it cannot see through; so are ranges, which are two pointers.
    passedByValue
    # Pointers to what lives as long as the run that they are for.
    danglingLifetime:TessilGraph/exec/internal/Chunks.cpp
    # It is read only while what it points to lives.
    danglingLifetime:tests/faults/MeddlingNodesTest.cpp
    # It takes a structure that is made by braces behind a placement for an unset one.
    legacyUninitvar:TessilGraph/graph/NodeMemory.cpp
    # A failed exchange has set the pointer that it was given.
    nullPointerRedundantCheck:TessilGraph/graph/PortName.cpp
    # It counts an array of degree + 1 as one of degree.
    containerOutOfBounds:benchmarks/SampledCurve.cpp
    # It does not see what is done to lists through pointers to them.
    containerOutOfBounds:tests/graph/WalkPlanTest.cpp
    # What a smart pointer gave up by `release`, or was moved with, stays.
    returnDanglingLifetime:tests/nodes/NodeTesting.h
    # The tests are about that.
    accessMoved:tests/utils/ImageTest.cpp
    selfAssignment:tests/graph/NetworkCachesTest.cpp
    # It takes a string that a lambda captured for the pointer that it was made of.
    literalWithCharPtrCompare:tests/graph/PortCyclesTest.cpp
    # Typed tests are no functions to it.
    syntaxError:tests/graph/NodeMemoryTest.cpp
    syntaxError:tests/graph/PortTemplateTest.cpp
    # Other configurations are those of other compilers.
    toomanyconfigs
)
arguments=(--quiet --error-exitcode=1 --std=c++17 --language=c++ --library=googletest --max-configs=1
    --enable=warning,performance,portability "--template={file}:{line}: {severity}: {message} [{id}]"
    "${suppressed[@]/#/--suppress=}")

# The libraries are read with their headers. Elsewhere these would be read over and over, to no avail: each header of the
# tests and tools is read once, as a file of its own.
check() {
    scripts/each.sh "$(cppcheck --version)" cppcheck "${arguments[@]}" "$@"
}
status=0
scripts/files.sh sources | grep -E '^Tessil' | check -I . -I build/release/include || status=1
scripts/files.sh code | grep -vE '^Tessil|\.in$' | check || status=1
exit "$status"
