#!/bin/sh
# The Debian packages from end to end: builds them (scripts/build-packages.sh:
# two jobs, nocheck, lintian without errors or warnings), installs them with
# apt-get, compiles and runs a C program through pkg-config against the
# installed headers and library, reads an installed reference page with man,
# runs an isql session against a data source that names the packaged driver
# by its registered name, then purges the packages and checks that none of
# their files is left and that odbcinst.ini no longer lists the driver.
#   package_test.sh SOURCE_DIR WORK_DIR
# Exits 77 (ctest's skip) where it cannot run: not root, no dpkg-buildpackage,
# missing build dependencies, or the packages already installed.
set -eu
src=$(cd "$1" && pwd)
work=$2
skip() { echo "SKIP: $*"; exit 77; }

[ "$(id -u)" -eq 0 ] || skip "installing packages needs root"
for tool in dpkg-buildpackage apt-get lintian isql odbcinst man pkg-config cc; do
    command -v "$tool" >/dev/null 2>&1 || skip "$tool is missing (make deps installs it)"
done
missing=$(cd "$src" && dpkg-checkbuilddeps 2>&1) || skip "build dependencies: $missing"
for package in libkxsupp0 libkxsupp-dev odbc-kxeval; do
    if dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed'; then
        skip "$package is installed already; the test would remove it"
    fi
done

rm -rf "$work"
mkdir -p "$work"
work=$(cd "$work" && pwd)
packages="odbc-kxeval libkxsupp-dev libkxsupp0"
purge() {
    DEBIAN_FRONTEND=noninteractive apt-get purge -y -qq $packages >/dev/null 2>&1 || true
}
trap purge EXIT

echo "== building the packages"
sh "$src/scripts/build-packages.sh" "$work/debs" >"$work/build.log" 2>&1 ||
    { tail -40 "$work/build.log"; echo "FAIL: the package build"; exit 1; }
tail -1 "$work/build.log"

echo "== installing"
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    "$work"/debs/libkxsupp0_*.deb "$work"/debs/libkxsupp-dev_*.deb \
    "$work"/debs/odbc-kxeval_*.deb >"$work/install.log" 2>&1 ||
    { cat "$work/install.log"; echo "FAIL: apt-get install"; exit 1; }
for package in $packages; do
    dpkg-query -L "$package"
done | sort -u >"$work/files.txt"

echo "== a program built with pkg-config against the installed library"
cat >"$work/client.c" <<'C'
#include <stdio.h>
#include <string.h>
#include <kxsupp.h>

int main(void)
{
    MemHandle *mem = kx_mem_alloc_handle(NULL);
    ConnectionString cs;
    char text[64];

    if (kxsupp_version_number() != KXSUPP_VERSION_NUMBER)
        return 1;
    parse_connection_string(&cs, mem, "DSN=kxpkg;UID=alice", KX_NTS, 0);
    generate_connection_string(&cs, text, sizeof text - 1);
    printf("libkxsupp %s: %s\n", kxsupp_version(), text);
    kx_mem_release_handle(mem);
    return strcmp(text, "DSN=kxpkg;UID=alice;") == 0 ? 0 : 1;
}
C
unset PKG_CONFIG_PATH
# shellcheck disable=SC2046
cc -std=c99 -Wall -Wextra -Werror -o "$work/client" "$work/client.c" \
    $(pkg-config --cflags --libs kxsupp)
"$work/client"
ldd "$work/client" | grep -Eq '=> (/usr)?/lib/[^ ]*/libkxsupp\.so\.0 ' ||
    { ldd "$work/client"; echo "FAIL: the client did not load the installed library"; exit 1; }

echo "== the reference pages"
MANPAGER=cat MANWIDTH=80 man 3 kx_mem_alloc >"$work/page.txt" 2>&1
grep -q 'kx_mem_alloc_handle' "$work/page.txt" ||
    { head "$work/page.txt"; echo "FAIL: man 3 kx_mem_alloc"; exit 1; }
MANPAGER=cat man 3 kx_mem_free | grep -q 'KX_MEM_ALLOC(3)' ||
    { echo "FAIL: the link page kx_mem_free(3)"; exit 1; }
MANPAGER=cat man 7 kxsupp | grep -q 'The standard family' ||
    { echo "FAIL: man 7 kxsupp"; exit 1; }
head -3 "$work/page.txt"

echo "== isql through the registered driver"
odbcinst -q -d | grep -qx '\[KXEval\]' ||
    { odbcinst -q -d; echo "FAIL: KXEval is not registered"; exit 1; }
mkdir -p "$work/blobs"
cat >"$work/odbc.ini" <<INI
[kxpkg]
Driver = KXEval
Database = packaged
blob_path = $work/blobs
INI
echo "SELECT 6 * 7 AS answer, {fn UCASE('packaged')} AS word" |
    ODBCINI="$work/odbc.ini" isql kxpkg -b -v >"$work/isql.txt" 2>&1 ||
    { cat "$work/isql.txt"; echo "FAIL: isql"; exit 1; }
cat "$work/isql.txt"
grep -q '42' "$work/isql.txt" && grep -q 'PACKAGED' "$work/isql.txt" ||
    { echo "FAIL: the driver's answer"; exit 1; }

echo "== purging"
trap - EXIT
DEBIAN_FRONTEND=noninteractive apt-get purge -y -qq $packages >"$work/purge.log" 2>&1 ||
    { cat "$work/purge.log"; echo "FAIL: apt-get purge"; exit 1; }
left=0
while IFS= read -r path; do
    # directories such as /usr/lib are shared with other packages
    if [ -e "$path" ] && [ ! -d "$path" ]; then
        echo "left behind: $path"
        left=$((left + 1))
    fi
    case "$path" in
        */kxsupp|*/kxsupp/*|*/odbc-kxeval|*/libkxsupp0|*/libkxsupp-dev)
            if [ -d "$path" ]; then echo "left behind: $path/"; left=$((left + 1)); fi ;;
    esac
done <"$work/files.txt"
[ "$left" -eq 0 ] || { echo "FAIL: $left paths of the packages left"; exit 1; }
if odbcinst -q -d | grep -qx '\[KXEval\]'; then
    echo "FAIL: odbcinst.ini still lists KXEval"
    exit 1
fi
echo "$(wc -l <"$work/files.txt") paths installed and removed; KXEval unregistered"
echo "package test passed"
