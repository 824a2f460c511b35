#!/bin/sh
# Runs every libFuzzer target of tests/fuzz for FUZZ_TIME seconds each, one
# after another, on a copy of its seed corpus in the fuzz build folder, and
# prints per target the executions and the coverage reached (libFuzzer's
# final stats). Usage: sh scripts/fuzz.sh <build folder> <seconds> <jobs>
# A target that finds a crash stops there; its input is kept in
# <build>/fuzz-artifacts/<target>/ and the script fails at the end.
# A target with a dictionary tests/fuzz/<target>.dict is given it (-dict=).
# For the driver's target the line coverage of driver/ that its corpus
# reaches after the run is printed too: the corpus is replayed by
# cover_driver (a clang source-based coverage build) and llvm-cov reports.
set -u
build=$1
seconds=$2
jobs=$3
root=$(pwd)
case "$build" in
    /*) ;;
    *) build="$root/$build" ;;
esac

CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKX_FUZZ=ON \
    -DKX_BUILD_BENCH=OFF -DKX_BUILD_EXAMPLES=OFF || exit 1
cmake --build "$build" -j "$jobs" --target kx_fuzz_targets || exit 1

# The line coverage of <target>'s sources (driver/ for the driver) reached
# by a corpus, from the coverage build of its replay program.
source_coverage() {
    if ! command -v llvm-cov > /dev/null || ! command -v llvm-profdata > /dev/null; then
        echo "no line coverage (llvm-cov and llvm-profdata are missing: Debian's llvm)"
        return
    fi
    profile="$build/cover-$1"
    rm -f "$profile.profraw" "$profile.profdata"
    (cd "$build" && LLVM_PROFILE_FILE="$profile.profraw" \
         "$build/tests/fuzz/cover_$1" "$2") > "$profile.log" 2>&1
    if ! llvm-profdata merge -sparse "$profile.profraw" -o "$profile.profdata" 2>/dev/null; then
        echo "no line coverage (see $profile.log)"
        return
    fi
    llvm-cov report "$build/tests/fuzz/cover_$1" -instr-profile="$profile.profdata" \
        "$root/$1" > "$profile.txt" 2>&1
    awk '$1 == "TOTAL" { printf "%s of the lines of %s/ (%d of %d)", $10, dir, $8 - $9, $8 }' \
        dir="$1" "$profile.txt"
}

failed=""
summary=""
for source in tests/fuzz/fuzz_*.cpp; do
    target=$(basename "$source" .cpp | sed 's/^fuzz_//')
    corpus="$build/fuzz-corpus/$target"
    artifacts="$build/fuzz-artifacts/$target"
    log="$build/fuzz-$target.log"
    mkdir -p "$corpus" "$artifacts"
    cp tests/fuzz/corpus/"$target"/* "$corpus"/ 2>/dev/null
    dict=""
    [ -f "tests/fuzz/$target.dict" ] && dict="-dict=$root/tests/fuzz/$target.dict"
    echo "== $target: $seconds s"
    (cd "$build" && "$build/tests/fuzz/fuzz_$target" -max_total_time="$seconds" \
         -timeout=10 -print_final_stats=1 -artifact_prefix="$artifacts/" \
         $dict "$corpus") > "$log" 2>&1
    status=$?
    units=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    coverage=$(grep -o 'cov: [0-9]* ft: [0-9]*' "$log" | tail -1)
    added=$(sed -n 's/^stat::new_units_added: *//p' "$log")
    line="$target: ${units:-?} executions, ${coverage:-no coverage line}, ${added:-0} new units"
    if [ -x "$build/tests/fuzz/cover_$target" ]; then
        line="$line, $(source_coverage "$target" "$corpus")"
    fi
    if [ $status -ne 0 ]; then
        line="$line, FAILED (see $log and $artifacts)"
        failed="$failed $target"
    fi
    echo "$line"
    summary="$summary$line
"
done
echo
echo "== fuzzing summary ($seconds s per target)"
printf '%s' "$summary"
[ -z "$failed" ] || { echo "targets with findings:$failed"; exit 1; }
