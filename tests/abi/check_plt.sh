#!/bin/sh
# Counts the calls and jumps inside the shared library that go through the
# PLT to one of the library's own exported functions; there must be none.
# Usage: check_plt.sh LIBRARY EXPORTS_DIR
set -eu
library=$1
exports_dir=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

find "$exports_dir" -name "*.txt" -exec cat {} + | grep -E '^[A-Za-z_][A-Za-z0-9_]*$' | sort -u > "$tmp/exports"
objdump -d --no-show-raw-insn "$library" > "$tmp/disassembly"
# Sanity: the disassembly has the library's own code and its PLT calls to
# the C library, so an empty or unreadable listing cannot pass.
grep -q '<kx_mem_alloc>:' "$tmp/disassembly"
grep -Eq '(call|jmp) +[0-9a-f]+ <[A-Za-z_0-9]+@plt>' "$tmp/disassembly"

grep -E '(call|jmp) +[0-9a-f]+ <[A-Za-z_0-9]+@plt>' "$tmp/disassembly" \
    | sed -E 's/.*<([A-Za-z_0-9]+)@plt>.*/\1/' > "$tmp/targets"
grep -Fxf "$tmp/exports" "$tmp/targets" | sort | uniq -c | sort -rn > "$tmp/own" || true
count=$(awk '{n += $1} END {print n + 0}' "$tmp/own")
echo "PLT calls to the library's own exports: $count"
if [ "$count" -ne 0 ]; then
    cat "$tmp/own"
    exit 1
fi
