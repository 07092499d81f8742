#!/usr/bin/env bash
# Feeds arbitrary input to the libraries and to the command-line host, beginning with the inputs kept in fuzz/seeds.
#   fuzz.sh [SECONDS [PROGRAM...]]  each program for so long, two at a time; without SECONDS a brief run of the same
#                                   inputs every time. What it learns stays in build/fuzz/corpus.
#   fuzz.sh --keep [PROGRAM...]     keeps of what was learned the inputs that reach new code
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# Inputs of a brief run, some ten seconds each.
declare -A brief=(
    [model_steps]=2500 [public_calls]=4000 [catalogue_nodes]=10000 [geometry]=8000 [network_file]=50000
    [obj_file]=60000)
declare -A longest=([catalogue_nodes]=2000 [geometry]=4000 [network_file]=4000 [obj_file]=4000)
binaries=build/asan/fuzz
work=build/fuzz

keep=false
seconds=0
if [[ ${1:-} == --keep ]]; then
    keep=true
    shift
elif [[ $# -gt 0 ]]; then
    seconds=$1
    shift
fi
programs=("$@")
if [[ $# -eq 0 ]]; then
    mapfile -t programs < <(printf '%s\n' "${!brief[@]}" | sort)
fi
for program in "${programs[@]}"; do
    if [[ -z ${brief[$program]:-} ]] || [[ ! $seconds =~ ^[0-9]+$ ]]; then
        sed -n '2,/^[^#]/s/^# \{0,1\}//p' "${BASH_SOURCE[0]}" >&2
        echo "programs: ${!brief[*]}" >&2
        exit 2
    fi
done

cmake --preset asan >/dev/null
cmake --build --preset asan -j "$(nproc)" --target fuzzers
mkdir -p "$work"

keep_seeds() {
    local program=$1
    mkdir -p "fuzz/seeds/$program" "$work/corpus/$program"
    "$binaries/fuzz_$program" -merge=1 -use_counters=0 -max_len=1000 "fuzz/seeds/$program" "$work/corpus/$program" \
        >"$work/$program.log" 2>&1
    printf '%-16s %s seeds\n' "$program" "$(find "fuzz/seeds/$program" -type f | wc -l)"
}

# run PROGRAM: prints a line; what it found lies beside its log.
run() {
    local program=$1
    local options=(-print_final_stats=1 "-artifact_prefix=$work/$program-" "-max_len=${longest[$program]:-1000}"
        -timeout=60 -rss_limit_mb=4096)
    if [[ -f fuzz/dictionaries/$program.dict ]]; then
        options+=("-dict=fuzz/dictionaries/$program.dict")
    fi
    local corpus="$work/corpus/$program"
    if [[ $seconds -gt 0 ]]; then
        options+=("-max_total_time=$seconds")
    else
        options+=(-seed=1 "-runs=${brief[$program]}" -max_total_time=120)
        corpus="$work/brief/$program"
        rm -rf "$corpus"
    fi
    mkdir -p "$corpus"
    if [[ -z $(find "fuzz/seeds/$program" -type f -print -quit 2>/dev/null) ]]; then
        echo "FAILED: $program has no inputs in fuzz/seeds/$program"
        return 1
    fi
    local status=0
    "$binaries/fuzz_$program" "${options[@]}" "$corpus" "fuzz/seeds/$program" >"$work/$program.log" 2>&1 || status=$?
    local executions edges
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/$program.log")
    edges=$(grep -o ' cov: [0-9]*' "$work/$program.log" | tail -n 1 | tr -dc 0-9 || true)
    printf '%-16s %9s executions %6s edges\n' "$program" "${executions:-?}" "${edges:-?}"
    if [[ $status -ne 0 ]]; then
        echo "FAILED: $program ($work/$program.log)"
        tail -n 60 "$work/$program.log"
        return 1
    fi
}

status=0
running=0
for program in "${programs[@]}"; do
    if $keep; then
        keep_seeds "$program"
        continue
    fi
    if [[ $running -ge 2 ]]; then
        wait -n || status=1
        running=$((running - 1))
    fi
    run "$program" &
    running=$((running + 1))
done
while [[ $running -gt 0 ]]; do
    wait -n || status=1
    running=$((running - 1))
done
exit "$status"
