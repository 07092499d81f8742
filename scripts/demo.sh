#!/bin/sh
# Runs the command-line host on real figures and prints each answer beside the known one.
# Usage: scripts/demo.sh [PATH-OF-TESSILGRAPH]
set -eu
export LC_ALL=C # decimal points, in every language

root=$(cd "$(dirname "$0")/.." && pwd)
tessilgraph=${1:-$root/build/release/tools/tessilgraph}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# --- Distances between airports -----------------------------------------------------------------

# Known: the length of the shortest line on the ellipsoid WGS 84, in km. The network takes the earth
# for a sphere, which is wrong by up to 0.56 % (along a meridian at the poles or the equator).
cat > "$work/distances" <<'END'
JFK-LHR 5554.3 New York - London
LHR-SYD 17015.6 London - Sydney
JFK-SYD 16012.9 New York - Sydney
JFK-NRT 10854.4 New York - Tokyo
JFK-GRU 7636.2 New York - Sao Paulo
LHR-NRT 9614.5 London - Tokyo
END

echo "Great-circle distances between airports, in km (examples/great-circle.json)"
ports=$(awk '{ print $1 "_km.out" }' "$work/distances")
# Names of ports have no blanks in them, so the list may be split at them.
# shellcheck disable=SC2086
"$tessilgraph" eval "$root/examples/great-circle.json" --format csv -o "$work/distances.csv" --get $ports

awk '
    FILENAME ~ /csv$/ && FNR == 1 { columns = split($0, name, ",") }
    FILENAME ~ /csv$/ && FNR == 2 { split($0, value, ","); for (i = 1; i <= columns; ++i) km[name[i]] = value[i] }
    FILENAME ~ /csv$/ { next }
    FNR == 1 { printf "  %-22s %10s %10s %12s\n", "route", "computed", "known", "difference" }
    {
        computed = km[$1 "_km.out"]
        percent = (computed / $2 - 1) * 100
        good = percent < 0.56 && percent > -0.56
        route = $3; for (i = 4; i <= NF; ++i) route = route " " $i
        printf "  %-22s %10.1f %10.1f %10.2f %% %s\n", route, computed, $2, percent, good ? "" : " WRONG"
        if (!good) wrong = 1
    }
    END {
        print "  Allowed: 0.56 %, since the network computes on a sphere (radius 6371.0088 km) and the"
        print "  known lengths are those on the ellipsoid WGS 84."
        exit wrong
    }' "$work/distances.csv" "$work/distances"

# --- The sun over a year ------------------------------------------------------------------------

echo
echo "The sun over London through the 365 days of 2025 (examples/sun-of-the-year.json)"
"$tessilgraph" eval "$root/examples/sun-of-the-year.json" --frames 1:365 --drive days.in1 --cache --format csv \
    -o "$work/sun.csv" --get declination_degrees.out day-length_hours.out

awk -F, '
    function check(what, computed, known, allowed, unit,    good) {
        good = computed - known <= allowed && known - computed <= allowed
        printf "  %-44s %9s %9s   +- %s %s%s\n", what, computed, known, allowed, unit, good ? "" : "  WRONG"
        if (!good) wrong = 1
    }
    NR == 1 { next }
    { minutes[$1] = int($3 * 60 + 0.5) }
    NR == 2 || $2 > highest { highest = $2; summer = $1 }
    NR == 2 || $2 < lowest { lowest = $2; winter = $1 }
    NR > 2 && before < 0 && $2 >= 0 { spring = $1 }
    NR > 2 && before >= 0 && $2 < 0 { autumn = $1 }
    { before = $2 }
    END {
        printf "  %-44s %9s %9s   %s\n", "", "computed", "known", "allowed"
        check("first noon after the March equinox (20th)", spring, 79, 0, "days")
        check("June solstice (21st)", summer, 172, 1, "days")
        check("first noon after the September equinox (22nd)", autumn, 266, 0, "days")
        check("December solstice (21st)", winter, 355, 1, "days")
        check("highest declination, degrees", sprintf("%.2f", highest), 23.44, 0.01, "degrees")
        check("longest day (16 h 38 min), minutes", minutes[summer], 998, 2, "minutes")
        check("shortest day (7 h 50 min), minutes", minutes[winter], 470, 2, "minutes")
        exit wrong
    }' "$work/sun.csv"

# --- A vehicle over rough ground ----------------------------------------------------------------

echo
echo "A vehicle follows a path over 24,576 triangles of ground (examples/vehicle/vehicle.json)"
echo
picture=$(dirname "$tessilgraph")/../examples/vehicle_picture
results=$root/build/demo
mkdir -p "$results"
"$root/examples/vehicle/drive.sh" "$tessilgraph" --cache -o "$results/vehicle.csv"
"$picture" "$results/vehicle.csv" "$results/vehicle.svg"
