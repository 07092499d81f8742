#!/bin/sh
# Drives the vehicle through its 240 frames and writes a row of values for each, as CSV:
#
#     drive.sh path/to/tessilgraph -o drive.csv
#
# Further options of `tessilgraph eval` may follow.
set -eu
tool=$1
shift

set -- "$@" --get clock.seconds --get odometer.frame --get place.outPosition \
    --get bodyPosition.out --get headingDegrees.out --get pitchDegrees.out --get rollDegrees.out \
    --get state.out --get gear.out --get brakeLamp.out --get grounded.out
for wheel in FrontLeft FrontRight RearLeft RearRight; do
    set -- "$@" --get "hit$wheel.outPosition" --get "angle$wheel.out" --get "travel$wheel.out" --get "valve$wheel.out"
done
set -- "$@" --get steerFrontLeft.out --get steerFrontRight.out

exec "$tool" eval "$(dirname "$0")/vehicle.json" --frames 1:240 --drive frame.in --format csv "$@"
