#!/bin/sh
# The driver's part of `make demo`: registers the reference driver and a
# data source in an odbcinst.ini and odbc.ini inside the build folder (the
# driver manager is pointed there with ODBCSYSINI and ODBCINI; nothing is
# written elsewhere) and runs a short isql session.
#   run_demo.sh BUILD_FOLDER
set -eu
build=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
dir=$build/driver/demo
mkdir -p "$dir"
cat >"$dir/odbcinst.ini" <<INI
[KXEval]
Description = the reference driver on libkxsupp
Driver = $build/driver/libkxevaldrv.so
INI
cat >"$dir/odbc.ini" <<INI
[kxdemo]
Driver = KXEval
Database = demo
UID = demo
blob_path = $dir
INI
echo
echo "== The reference ODBC driver under unixODBC's isql =="
echo "   (driver $build/driver/libkxevaldrv.so, data source kxdemo in $dir/odbc.ini)"
echo "   isql is an ODBC 2 application: it sees the ODBC 2 SQLSTATEs (37000 for 42000)."
echo
while IFS= read -r statement; do
    echo "SQL> $statement"
    echo "$statement" | ODBCSYSINI=$dir ODBCINI=$dir/odbc.ini isql kxdemo -b -v 2>&1 |
        grep -v '^SQLRowCount returns' || true
    echo
done <"$here/session.sql"
