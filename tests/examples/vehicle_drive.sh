#!/bin/sh
# The vehicle drives the same whichever way the network is evaluated, and a drive that cannot be true is
# refused: vehicle_drive.sh DRIVE_SCRIPT TESSILGRAPH VEHICLE_PICTURE
set -eu
export LC_ALL=C # decimal points, in every language
drive=$1
tool=$2
picture=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

fail() {
    echo "$*" >&2
    exit 1
}

"$drive" "$tool" -o serial.csv
"$drive" "$tool" --parallel -o parallel.csv
"$drive" "$tool" --cache -o cache.csv
"$drive" "$tool" --cache --parallel -o both.csv
for way in parallel cache both; do
    cmp serial.csv $way.csv
done
[ "$(wc -l <serial.csv)" -eq 241 ] || fail "the drive does not have 240 frames"

"$picture" serial.csv drive.svg >table.txt
grep -q '^All 960 wheel contacts lie on the ground' table.txt || fail "no line says that the wheels touch the ground"
grep -q '</svg>' drive.svg || fail "the picture is not whole"
for state in drive brake stand; do
    grep -q ",$state," serial.csv || fail "the vehicle is never in state $state"
done

# Beyond the ground's edge the body is level, at its place on the path.
"$tool" eval "$(dirname "$drive")/vehicle.json" --set 'rearAxle.in2=[200, 0, 40]' --format csv -o beyond.csv \
    --get grounded.out --get bodyRows.row3 --get bodyRows.row4 --get place.outPosition
awk -F, 'NR == 2 { exit !($1 == "false" && $4 == 1 && $5 == $8 && $6 == $9 && $7 == 0) }' beyond.csv ||
    fail "the body is not level beyond the ground: $(cat beyond.csv)"

# refuses STATUS PATTERN COLUMN VALUE: with VALUE (an awk expression of the old one, v) in COLUMN of frame
# 100, the picture is refused with STATUS and a line that matches PATTERN.
refuses() {
    awk -F, -v OFS=, -v name="$3" '
        NR == 1 { for (i = 1; i <= NF; ++i) if ($i == name) column = i; if (!column) exit 3 }
        $1 == 100 { v = $column; $column = '"$4"' }
        { print }' serial.csv >changed.csv
    status=0
    "$picture" changed.csv refused.svg >/dev/null 2>reason.txt || status=$?
    [ "$status" -eq "$1" ] || fail "exit status $status instead of $1 for $4 in $3"
    grep -q "$2" reason.txt || fail "for $4 in $3 it says: $(cat reason.txt)"
    [ ! -e refused.svg ] || fail "a refused drive was drawn"
}

refuses 1 '^frame 100, RearLeft: does not touch the ground' hitRearLeft.outPosition.z 'sprintf("%.9f", v + 0.00012)'
refuses 1 '^frame 100, FrontRight: does not touch the ground' hitFrontRight.outPosition.x 'sprintf("%.9f", v + 0.01)'
refuses 1 '^frame 100, RearRight: does not touch the ground' hitRearRight.outPosition.z '"nan"'
refuses 1 '^frame 100, RearRight: does not touch the ground' hitRearRight.outPosition.x '"1e300"'
refuses 1 '^frame 100, body: does not stand over its wheels' bodyPosition.out.z 'sprintf("%.9f", v + 0.001)'
refuses 1 '^frame 100, body: does not roll as its wheels say' rollDegrees.out '-v'
refuses 1 '^frame 100, FrontLeft: is not turned as its angle says' angleFrontLeft.out 'sprintf("%.9f", v + 0.1)'
refuses 2 'line 101: "left" in column rollDegrees.out is no number' rollDegrees.out '"left"'
status=0
"$picture" /dev/null refused.svg 2>reason.txt || status=$?
[ "$status" -eq 2 ] || fail "exit status $status instead of 2 for an empty table"
