#!/usr/bin/env bash
# What is compiled where: the compute of a built-in node in the library alone, and of the reserved if
# node no more than its two static functions.
#   symbols.sh NM LIBRARY HOST PROGRAM...
# HOST has node classes of its own; the PROGRAMs use built-in ones only.
set -euo pipefail

nm=$1
library=$2
host=$3
shift 3

status=0
fail() {
    echo "FAILED: $*"
    status=1
}

# The computes of the library's node classes that FILE defines itself.
computes() {
    "$nm" -C --defined-only "$1" | grep -E ' [A-Za-z] TessilGraph::.*::compute\(' || true
}

# Without names in the files, or with others than these, nothing could be found below.
[[ $(computes "$host") == *host::Average* ]] || fail "$host does not show the compute of its own nodes"
[[ $(computes "$library") == *AddNode* ]] || fail "$library does not show the compute of AddNode"

for program in "$@"; do
    own=$(computes "$program")
    [[ -z $own ]] || fail "$program compiles a built-in node's compute:"$'\n'"$own"
done

exported=$("$nm" -DC --defined-only "$library" | sed -nE 's/^[0-9a-f]+ [TWi] (.*IfNode<TessilUtils::Curve>.*)/\1/p' |
    sed 's/\[abi:cxx11\]//' | LC_ALL=C sort)
wanted="TessilGraph::IfNode<TessilUtils::Curve>::staticTypeId()
TessilGraph::IfNode<TessilUtils::Curve>::staticTypeStr()"
[[ $exported == "$wanted" ]] || fail "$library exports of IfNode<TessilUtils::Curve>:"$'\n'"$exported"

exit "$status"
