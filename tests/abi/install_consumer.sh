#!/bin/sh
# Installs the built library into a temporary prefix and builds a small
# consumer against it, once through pkg-config and once through CMake's
# find_package. Usage: install_consumer.sh BUILD_DIR CONSUMER_SOURCE_DIR
set -eu
build=$1
consumer=$2
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT

cmake --install "$build" --prefix "$prefix" > "$prefix/install.log"
libdir=$(find "$prefix" -name 'libkxsupp.so' -printf '%h\n' | head -n 1)

# pkg-config
PKG_CONFIG_PATH="$libdir/pkgconfig" cc -std=c99 -Wall -Wextra -Werror \
    -o "$prefix/consumer_pc" "$consumer/main.c" \
    $(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs kxsupp)
LD_LIBRARY_PATH="$libdir" "$prefix/consumer_pc"

# find_package
cmake -S "$consumer" -B "$prefix/consumer-build" -DCMAKE_PREFIX_PATH="$prefix" \
    > "$prefix/configure.log"
cmake --build "$prefix/consumer-build" > "$prefix/build.log"
LD_LIBRARY_PATH="$libdir" "$prefix/consumer-build/consumer"
echo "install: pkg-config and find_package consumers ran"
