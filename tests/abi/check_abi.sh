#!/bin/sh
# Compares the built shared library with the ABI kept in the repository,
# using libabigail's abidiff over the public headers' types. An
# incompatible change (a removed or changed export, a changed record that a
# driver sees) fails; a compatible one (a new export) passes with a note to
# refresh the baseline when the version is released.
# Usage: check_abi.sh BASELINE LIBRARY INCLUDE_DIR GENERATED_INCLUDE_DIR
set -u
baseline=$1
library=$2
include=$3
generated=$4

command -v abidiff > /dev/null 2>&1 || { echo "abidiff not found (abigail-tools)"; exit 1; }
[ -f "$baseline" ] || { echo "no baseline at $baseline"; exit 1; }

report=$(abidiff --no-show-locs --headers-dir2 "$include" --headers-dir2 "$generated" \
         "$baseline" "$library" 2>&1)
status=$?
# abidiff's status is a bit set: 1 error, 2 usage error, 4 ABI change,
# 8 incompatible ABI change.
if [ $((status & 3)) -ne 0 ]; then
    echo "abidiff could not compare (status $status):"
    echo "$report"
    exit 1
fi
if [ $((status & 8)) -ne 0 ]; then
    echo "incompatible ABI change against $baseline:"
    echo "$report"
    exit 1
fi
if [ $((status & 4)) -ne 0 ]; then
    echo "compatible ABI change (refresh the baseline when this is released):"
    echo "$report"
    exit 0
fi
echo "ABI: unchanged against $(basename "$baseline")"
