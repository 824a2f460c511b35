#!/bin/sh
# Builds the Debian source package and the binary packages (debian/) from a
# copy of the source tree, so that the tree itself stays clean, and runs
# lintian on all of them.
#   build-packages.sh OUTPUT_FOLDER
# The .dsc and its tarball, the .deb files, the .changes file and lintian's
# report (lintian.txt) end up in OUTPUT_FOLDER. The build uses at most two
# jobs and, unless DEB_BUILD_OPTIONS says otherwise, skips the package's
# quick check (nocheck): `make test` runs the project's suite.
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
mkdir -p "$1"
out=$(cd "$1" && pwd)
version=$(dpkg-parsechangelog -l "$here/debian/changelog" -S Version)
src=$out/libkxsupp-$version
rm -rf "$src" "$out"/*.deb "$out"/*.changes "$out"/*.buildinfo
mkdir -p "$src"
# the tree as git has it (with uncommitted changes), without build folders;
# outside a git checkout, everything but the build folders
if git -C "$here" rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    ( cd "$here" && git ls-files -z --cached --others --exclude-standard ) |
        ( cd "$here" && xargs -0 cp --parents -t "$src" 2>/dev/null || true )
else
    ( cd "$here" && tar --exclude='./build' --exclude='./build-*' -cf - . ) |
        ( cd "$src" && tar -xf - )
fi
[ -f "$src/debian/rules" ] || { echo "could not copy the source tree" >&2; exit 1; }

export DEB_BUILD_OPTIONS="${DEB_BUILD_OPTIONS:-nocheck} parallel=2"
( cd "$src" && dpkg-buildpackage -us -uc -j2 )
rm -rf "$src"
ls "$out"/*.deb
if command -v lintian >/dev/null 2>&1; then
    lintian --fail-on error,warning "$out"/*.changes | tee "$out/lintian.txt"
    echo "lintian: no errors or warnings"
fi
