#!/bin/sh
# Compares the dynamic symbols that libkxsupp.so defines with the lists in
# exports/ (exports/*.txt and the later version nodes under exports/KXSUPP_*/).
# Usage: check_exports.sh LIBRARY EXPORTS_DIR
set -eu
library=$1
exports_dir=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

find "$exports_dir" -name "*.txt" -exec cat {} + | grep -E '^[A-Za-z_][A-Za-z0-9_]*$' | sort -u > "$tmp/expected"
nm -D --defined-only "$library" | awk '{print $NF}' | sed 's/@.*//' \
    | grep -v '^KXSUPP_[0-9.]*$' | sort -u > "$tmp/actual"

missing=$(comm -23 "$tmp/expected" "$tmp/actual")
stray=$(comm -13 "$tmp/expected" "$tmp/actual")
status=0
if [ -n "$missing" ]; then
    echo "listed in exports/ but not exported:"; echo "$missing"; status=1
fi
if [ -n "$stray" ]; then
    echo "exported but not listed in exports/:"; echo "$stray"; status=1
fi
[ $status -eq 0 ] && echo "exports: $(wc -l < "$tmp/expected") symbols match"
exit $status
