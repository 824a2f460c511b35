#!/bin/sh
# Compiles every public header alone as C99 and as C++17 with -pedantic
# -Wall -Wextra and -Werror, with each compiler at hand (gcc/g++, clang/
# clang++), and checks that the printf-like calls carry the format attribute:
# right calls compile cleanly, wrong ones draw a -Wformat warning each.
# Usage: check_headers.sh INCLUDE_DIR GENERATED_INCLUDE_DIR FORMAT_CALLS_C
set -eu
include=$1
generated=$2
format_calls=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

headers="kxsupp.h"
for path in "$include"/kxsupp/*.h "$generated"/kxsupp/*.h; do
    headers="$headers kxsupp/$(basename "$path")"
done

c_compilers=""
cxx_compilers=""
for cc in gcc clang; do command -v $cc > /dev/null 2>&1 && c_compilers="$c_compilers $cc"; done
for cxx in g++ clang++; do command -v $cxx > /dev/null 2>&1 && cxx_compilers="$cxx_compilers $cxx"; done
[ -n "$c_compilers" ] && [ -n "$cxx_compilers" ] || { echo "no compilers"; exit 1; }

flags="-pedantic -Wall -Wextra -Werror -I$include -I$generated"
count=0
for header in $headers; do
    printf '#include <%s>\nint header_probe(void);\nint header_probe(void) { return 0; }\n' \
        "$header" > "$work/probe.c"
    cp "$work/probe.c" "$work/probe.cpp"
    for cc in $c_compilers; do
        $cc -std=c99 -Wstrict-prototypes $flags -fsyntax-only "$work/probe.c" \
            || { echo "$cc -std=c99: $header"; exit 1; }
        count=$((count + 1))
    done
    for cxx in $cxx_compilers; do
        $cxx -std=c++17 $flags -fsyntax-only "$work/probe.cpp" \
            || { echo "$cxx -std=c++17: $header"; exit 1; }
        count=$((count + 1))
    done
done
echo "headers: $count compilations without a warning"

# The thread hooks, with and without arguments, in both languages.
hook_calls=$(dirname "$format_calls")/hook_calls.c
cp "$hook_calls" "$work/hook_calls.cpp"
for cc in $c_compilers; do
    $cc -std=c99 -Wstrict-prototypes $flags -fsyntax-only "$hook_calls" \
        || { echo "$cc -std=c99: hook calls"; exit 1; }
done
for cxx in $cxx_compilers; do
    $cxx -std=c++17 $flags -fsyntax-only "$work/hook_calls.cpp" \
        || { echo "$cxx -std=c++17: hook calls"; exit 1; }
done
echo "thread hooks: calls with and without arguments compile in C and C++"

wrong_lines=$(grep -c '/\* wrong \*/' "$format_calls")
for cc in $c_compilers; do
    $cc -std=c99 $flags -fsyntax-only "$format_calls" \
        || { echo "$cc: the right printf-like calls warned"; exit 1; }
    $cc -std=c99 -Wall -DKX_WRONG_ARGUMENTS -I"$include" -I"$generated" -fsyntax-only \
        "$format_calls" 2> "$work/warnings" || true
    for line in $(grep -n '/\* wrong \*/' "$format_calls" | cut -d: -f1); do
        grep "$(basename "$format_calls"):$line:" "$work/warnings" | grep -q 'Wformat' || {
            echo "$cc: no format warning for line $line"
            cat "$work/warnings"
            exit 1
        }
    done
    echo "$cc: each of the $wrong_lines wrong printf-like calls warned"
done
