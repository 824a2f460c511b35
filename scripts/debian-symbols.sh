#!/bin/sh
# Prints the Debian symbols file of libkxsupp0 from the export lists: the
# names of exports/*.txt in the version node KXSUPP_0 (first released in
# 0.1.0), and those of exports/KXSUPP_<major>.<minor>/ in their own node
# (first in <major>.<minor>.0).
#   debian-symbols.sh EXPORTS_DIR
set -eu
exports=$1
echo "libkxsupp.so.0 libkxsupp0 #MINVER#"
echo "* Build-Depends-Package: libkxsupp-dev"
names() {
    cat "$@" | grep -E '^[A-Za-z_][A-Za-z0-9_]*$' | LC_ALL=C sort
}
echo " KXSUPP_0@KXSUPP_0 0.1.0"
names "$exports"/*.txt | sed 's/.*/ &@KXSUPP_0 0.1.0/'
for node_dir in "$exports"/KXSUPP_*; do
    [ -d "$node_dir" ] || continue
    node=$(basename "$node_dir")
    version=${node#KXSUPP_}.0
    echo " $node@$node $version"
    names "$node_dir"/*.txt | sed "s/.*/ &@$node $version/"
done
