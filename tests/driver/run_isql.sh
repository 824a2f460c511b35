#!/bin/sh
# Runs one isql session against the build's data sources and compares what
# isql prints with the expected file. The first line of the script may name
# the data source ("-- dsn: NAME"; kxeval otherwise). Any sanitizer report
# fails the run.
#   run_isql.sh ISQL SCRIPT EXPECTED
set -u
isql=$1
script=$2
expected=$3
dsn=$(sed -n '1s/^-- dsn: *//p' "$script")
[ -n "$dsn" ] || dsn=kxeval
out=$(mktemp)
err=$(mktemp)
all=$(mktemp)
trap 'rm -f "$out" "$err" "$all"' EXIT
# comment lines are for the reader, not for isql; isql's own messages go to
# standard error, after the results in the compared text
grep -v '^--' "$script" | "$isql" "$dsn" -b -v -d'|' -c >"$out" 2>"$err"
{ cat "$out"; echo; echo "--- standard error ---"; cat "$err"; } >"$all"
out=$all
if grep -E 'AddressSanitizer|LeakSanitizer|runtime error:' "$out"; then
    echo "sanitizer report in the isql session" >&2
    exit 1
fi
diff -u "$expected" "$out"
