#!/bin/sh
# A data source with "Trace = Yes" writes one line per traced call to the
# log named by log_file in {settings} of odbc.ini; one without writes none.
#   run_trace.sh ISQL   (KX_ODBC_DIR names the folder of the ini files)
set -u
isql=$1
log=$KX_ODBC_DIR/trace.log
rm -f "$log"
echo "SELECT 42" | "$isql" kxeval -b >/dev/null 2>&1
if [ -e "$log" ]; then
    echo "a data source without tracing wrote $log" >&2
    exit 1
fi
echo "SELECT 42" | "$isql" kxtrace -b >/dev/null 2>&1
status=0
# "[pid]name@0000", padded to column 30, then ":" and the arguments
for pattern in \
    '^\[[0-9]+\]SQLConnect@0000 +:dsn 0x[0-9a-f]+->kxtrace$' \
    '^\[[0-9]+\]SQLPrepare@0000 +:0x[0-9a-f]+ "SELECT 42"\{SQL_NTS\}$' \
    '^\[[0-9]+\]SQLExecute@0000 +:0x[0-9a-f]+ SQL_SUCCESS$' \
    '^\[[0-9]+\]SQLDisconnect@0000 +:0x[0-9a-f]+$'; do
    if ! grep -Eq "$pattern" "$log"; then
        echo "no trace line matches $pattern" >&2
        status=1
    fi
done
if ! awk '{ if (index($0, ":") != 31) exit 1 }' "$log"; then
    echo "a trace line's ':' is not in column 31" >&2
    status=1
fi
[ $status -eq 0 ] || cat "$log" >&2
exit $status
