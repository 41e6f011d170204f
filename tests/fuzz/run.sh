#!/usr/bin/env bash
# Runs every target of norvane-fuzz for a fixed time, one after the other, starting from its saved
# inputs under tests/data/fuzz/{target}/, and prints what each did. The inputs it finds and anything
# that crashes stay in {build}/fuzz/{target}/, never in the source tree. Exits non-zero when a target
# crashed, with the input's path in the table.
#   usage: tests/fuzz/run.sh BUILD_DIR [SECONDS_PER_TARGET]
set -uo pipefail

build=${1:?usage: run.sh BUILD_DIR [SECONDS_PER_TARGET]}
seconds=${2:-120}
root=$(cd "$(dirname "$0")/../.." && pwd)
fuzzer=$build/bin/norvane-fuzz
[ -x "$fuzzer" ] || { echo "no $fuzzer: build the target norvane-fuzz of the fuzz preset first" >&2; exit 1; }

export ASAN_OPTIONS=${ASAN_OPTIONS:-abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export QT_QPA_PLATFORM=offscreen

total=0
crashed=()
printf '%-18s %8s %14s %10s  %s\n' target seconds executions exec/s result
while read -r name maxlen dictionary; do
    work=$build/fuzz/$name
    mkdir -p "$work/corpus" "$work/crashes"
    log=$work/fuzz.log
    options=()
    [ "$dictionary" != - ] && options+=(-dict="$root/tests/fuzz/dictionaries/$dictionary.dict")
    # The first folder takes the inputs found; the seeds are only read.
    NORVANE_FUZZ_TARGET=$name "$fuzzer" "${options[@]}" -max_total_time="$seconds" -max_len="$maxlen" -rss_limit_mb=2048 \
        -timeout=10 -print_final_stats=1 -artifact_prefix="$work/crashes/" \
        "$work/corpus" "$root/tests/data/fuzz/$name" >"$log" 2>&1
    status=$?
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)
    result=ok
    if [ "$status" -ne 0 ]; then
        artifact=$(sed -n 's/.*Test unit written to \(.*\)$/\1/p' "$log" | tail -1)
        result="CRASH ${artifact:-see $log}"
        crashed+=("$name")
    fi
    total=$((total + ${runs:-0}))
    printf '%-18s %8s %14s %10s  %s\n' "$name" "$seconds" "${runs:-?}" "${rate:-?}" "$result"
done < <(NORVANE_FUZZ_LIST=1 "$fuzzer")
printf '%-18s %8s %14s\n' total '' "$total"

if [ ${#crashed[@]} -gt 0 ]; then
    echo "crashed: ${crashed[*]} (logs under $build/fuzz/)" >&2
    exit 1
fi
