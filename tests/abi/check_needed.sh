#!/bin/sh
# The shared library needs the C library and libm only (libpthread and the
# dynamic loader are allowed for toolchains that still split them out): no
# C++ runtime, no libgcc_s.
# Usage: check_needed.sh LIBRARY
set -eu
library=$1
needed=$(readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
status=0
for name in $needed; do
    case $name in
        libc.so.*|libm.so.*|libpthread.so.*|ld-linux*.so.*) ;;
        *) echo "unexpected NEEDED entry: $name"; status=1 ;;
    esac
done
echo "NEEDED:" $needed
exit $status
