#!/bin/sh
# Installs the built library into a temporary prefix and builds a small C
# consumer against it with each C compiler at hand (gcc, clang): through
# pkg-config on the shared object, through `pkg-config --static` on the
# archive alone, and through CMake's find_package on kxsupp::kxsupp and
# kxsupp::kxsupp_static. The static programs must need neither libkxsupp.so
# nor the C++ runtime.
# Usage: install_consumer.sh BUILD_DIR CONSUMER_SOURCE_DIR
set -eu
build=$1
consumer=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" > "$work/install.log"
libdir=$(find "$prefix" -name 'libkxsupp.so' -printf '%h\n' | head -n 1)

# A second copy with the archive only, so that -lkxsupp can only mean it.
static_prefix=$work/static-prefix
cp -a "$prefix" "$static_prefix"
static_libdir=$static_prefix${libdir#"$prefix"}
rm -f "$static_libdir"/libkxsupp.so*

needs() {   # needs PROGRAM NAME-PATTERN: true when PROGRAM lists it as NEEDED
    readelf -d "$1" | grep '(NEEDED)' | grep -q "$2"
}

compilers=""
for cc in gcc clang; do
    command -v "$cc" > /dev/null 2>&1 && compilers="$compilers $cc"
done
[ -n "$compilers" ] || { echo "no C compiler found"; exit 1; }

for cc in $compilers; do
    out=$work/$cc
    mkdir -p "$out"

    # pkg-config, shared object
    export PKG_CONFIG_PATH="$libdir/pkgconfig"
    "$cc" -std=c99 -Wall -Wextra -Werror -o "$out/consumer_pc" "$consumer/main.c" \
        $(pkg-config --cflags --libs kxsupp)
    LD_LIBRARY_PATH="$libdir" "$out/consumer_pc"

    # pkg-config --static, exactly the flags it prints, archive only
    export PKG_CONFIG_PATH="$static_libdir/pkgconfig"
    flags=$(pkg-config --cflags --static --libs kxsupp)
    "$cc" -std=c99 -Wall -Wextra -Werror -o "$out/consumer_pc_static" \
        "$consumer/main.c" $flags
    if needs "$out/consumer_pc_static" 'libkxsupp\|libstdc++'; then
        echo "$cc: the static consumer needs a shared library it should not"
        readelf -d "$out/consumer_pc_static" | grep NEEDED
        exit 1
    fi
    "$out/consumer_pc_static"
    unset PKG_CONFIG_PATH

    # find_package, shared and static targets
    cmake -S "$consumer" -B "$out/build" -DCMAKE_C_COMPILER="$cc" \
        -DCMAKE_PREFIX_PATH="$prefix" > "$out/configure.log"
    cmake --build "$out/build" > "$out/build.log" || { cat "$out/build.log"; exit 1; }
    LD_LIBRARY_PATH="$libdir" "$out/build/consumer"
    if needs "$out/build/consumer_static" 'libkxsupp\|libstdc++'; then
        echo "$cc: kxsupp::kxsupp_static left a shared dependency"
        exit 1
    fi
    "$out/build/consumer_static"
    echo "install ($cc): pkg-config, pkg-config --static and find_package consumers ran"
done
