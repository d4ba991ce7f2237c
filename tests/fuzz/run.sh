#!/usr/bin/env bash
# Long runs of the fuzz drivers.
# tests/fuzz/run.sh SECONDS [TARGET...]   builds the preset fuzz, runs each target (default: all) so long, one after the other,
#                                         and prints a table of counts, also to build/fuzz/counts.txt; inputs stay in
#                                         build/fuzz/corpus for the next run
# tests/fuzz/run.sh --short PROGRAM TARGET RUNS   what the tests call: from the seeds alone, the same inputs at each run
# FUZZ=PROGRAM in the environment runs that program in place of building one; KEEP=FOLDER keeps inputs and logs there; SEED=NUMBER
# begins the engine's random numbers there (short runs: 1 where it is not set; long ones: the clock).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
options=(-dict="$here/fuzz.dict" -max_len=2048 -timeout=120 -rss_limit_mb=3000)
export UBSAN_OPTIONS=print_stacktrace=1

if [ "${1:-}" = --short ]; then
    corpus=$(mktemp -d)
    trap 'rm -rf "$corpus"' EXIT
    "$2" --target="$3" --seeds="$corpus"
    "$2" --target="$3" "${options[@]}" -artifact_prefix="$PWD/Fuzz.$3-" -seed="${SEED:-1}" -runs="$4" "$corpus"
    exit
fi

seconds=${1:?usage: tests/fuzz/run.sh SECONDS [TARGET...]}
shift
if [ -z "${FUZZ:-}" ]; then
    cd "$here/../.."
    cmake --preset fuzz >/dev/null
    cmake --build --preset fuzz -j "$(nproc)"
    FUZZ=$PWD/build/fuzz/tests/fuzz/fuzz
    KEEP=${KEEP:-$PWD/build/fuzz}
fi
[ $# -gt 0 ] || set -- bmp hbi raw lw de csv npy cloud lm mp seg picture roundtrip sequence
status=0
printf '%-10s %12s %8s %9s  %s\n' target executions seconds coverage result
for target in "$@"; do
    corpus=$KEEP/corpus/$target
    mkdir -p "$corpus" "$KEEP/found"
    log=$KEEP/$target.log
    "$FUZZ" --target="$target" --seeds="$corpus"
    result=clean
    "$FUZZ" --target="$target" "${options[@]}" -artifact_prefix="$KEEP/found/$target-" -seed="${SEED:-0}" -max_total_time="$seconds" \
        -print_final_stats=1 "$corpus" >"$log" 2>&1 || { result="FAILED, see $log"; status=1; }
    printf '%-10s %12s %8s %9s  %s\n' "$target" "$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)" \
        "$seconds" "$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -1)" "$result" | tee -a "$KEEP/counts.txt"
done
exit $status
