#!/bin/sh
# memcheck.sh - runs every test program of a build under valgrind memcheck
# and fails when any of them reads uninitialised or unaddressable memory,
# or fails a test.
#
# Usage: sh scripts/memcheck.sh BUILD_DIR [SOURCE_DIR]
#
# Each test program (every executable *_test under BUILD_DIR/tests) runs once,
# whole, in the folder ctest runs it in, with the environment ctest gives it.
# Leaks are not checked. Logs go to BUILD_DIR/memcheck/<program>.log (the
# program's output) and <program>.log.valgrind; at the end one line per
# failed program and a total are printed. MEMCHECK_JOBS programs run at a
# time (default 2).
set -u

# One program: its exit status and valgrind's error count go to
# <program>.result as "status errors".
if [ "${1:-}" = "--one" ]; then
    build=$2
    source_dir=$3
    program=$4
    logs="$build/memcheck"
    name=$(basename "$program")
    log="$logs/$name.log"
    (cd "$build/tests" &&
     KX_TEST_SOURCE_DIR="$source_dir/tests" \
     valgrind --error-exitcode=1 --leak-check=no --track-origins=yes \
              --log-file="$log.valgrind" \
              "$program" > "$log" 2>&1)
    status=$?
    errors=$(sed -n 's/.*ERROR SUMMARY: \([0-9]*\) errors.*/\1/p' "$log.valgrind" | tail -n 1)
    echo "$status ${errors:-?}" > "$logs/$name.result"
    echo "memcheck: $name: exit $status, ${errors:-?} errors"
    exit 0
fi

build=${1:?usage: memcheck.sh BUILD_DIR [SOURCE_DIR]}
source_dir=${2:-$(cd "$(dirname "$0")/.." && pwd)}
jobs=${MEMCHECK_JOBS:-2}
build=$(cd "$build" && pwd)
source_dir=$(cd "$source_dir" && pwd)
script=$(cd "$(dirname "$0")" && pwd)/$(basename "$0")
logs="$build/memcheck"
rm -rf "$logs"
mkdir -p "$logs"

programs=$(find "$build/tests" -type f -perm -u+x -name '*_test' | sort)
if [ -z "$programs" ]; then
    echo "memcheck: no test programs under $build/tests" >&2
    exit 1
fi

printf '%s\n' $programs |
    xargs -P "$jobs" -I{} sh "$script" --one "$build" "$source_dir" {}

count=0
failed=0
total_errors=0
for program in $programs; do
    name=$(basename "$program")
    count=$((count + 1))
    status=1
    errors="?"
    if [ -f "$logs/$name.result" ]; then
        read -r status errors < "$logs/$name.result"
    fi
    [ "$errors" = "?" ] && errors=1
    total_errors=$((total_errors + errors))
    if [ "$status" -ne 0 ] || [ "$errors" -ne 0 ]; then
        failed=$((failed + 1))
        echo "FAILED $name: exit $status, $errors errors (see $logs/$name.log*)"
    fi
done
echo "memcheck: $count programs, $failed failed, $total_errors errors"
[ "$failed" -eq 0 ]
