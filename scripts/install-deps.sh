#!/bin/sh
# Installs the Debian packages named as arguments that are not installed yet.
set -eu
missing=""
for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' \
        || missing="$missing $package"
done
[ -z "$missing" ] && exit 0

echo "installing:$missing"
if [ "$(id -u)" -eq 0 ]; then
    sudo=""
elif command -v sudo >/dev/null 2>&1; then
    sudo="sudo"
else
    echo "missing packages:$missing (run as root or install sudo)" >&2
    exit 1
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
# shellcheck disable=SC2086
$sudo apt-get install -y -qq $missing
