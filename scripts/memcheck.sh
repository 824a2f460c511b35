#!/bin/sh
# memcheck.sh - runs every test program of a build under valgrind memcheck
# and fails when any of them reads uninitialised or unaddressable memory,
# or fails a test.
#
# Usage: sh scripts/memcheck.sh BUILD_DIR [SOURCE_DIR]
#
# What runs, each once and whole, with the environment ctest gives it:
#  - every executable *_test under BUILD_DIR/tests but the *_alloc_test
#    programs, which replace the allocator as valgrind does (the driver's own
#    GoogleTest programs in BUILD_DIR/tests/driver among them, in that folder
#    and with the driver's ODBCSYSINI/ODBCINI);
#  - the driver's C clients BUILD_DIR/tests/driver/odbc2_client and
#    odbc3_client, which load the driver (BUILD_DIR/driver/libkxevaldrv.so)
#    through unixODBC's driver manager;
#  - every isql session SOURCE_DIR/tests/driver/isql/NAME.sql, run by
#    tests/driver/run_isql.sh with isql itself under valgrind, its output
#    compared with NAME.out; then each of its statements once more, alone
#    in an isql of its own. The library's memory handles reuse the blocks of
#    freed nodes with their old contents, which valgrind takes as defined:
#    a field the driver never set reads as set in any block that an earlier
#    statement of the session used, and is seen only in a fresh one.
# The driver's runs see the build's odbcinst.ini and odbc.ini
# (BUILD_DIR/tests/driver/odbc, as tests/driver/CMakeLists.txt writes them).
# valgrind follows no child process (--trace-children=no) and takes the
# suppressions of scripts/memcheck.supp (errors of unixODBC and glibc that
# are not ours). Leaks are not checked. Logs go to BUILD_DIR/memcheck/
# <name>.log (the program's output) and <name>.log.valgrind (a session's is
# isql_NAME, its statements' isql_NAME.log.N.valgrind); at the end one line
# per failed run and a total are printed.
# MEMCHECK_JOBS runs go at a time (default 2).
set -u

script_dir=$(cd "$(dirname "$0")" && pwd)

# One run: its exit status and valgrind's error count go to <name>.result
# as "status errors". The run is "test:PATH", "client:PATH" or "isql:SCRIPT".
if [ "${1:-}" = "--one" ]; then
    build=$2
    source_dir=$3
    kind=${4%%:*}
    path=${4#*:}
    logs="$build/memcheck"
    odbc="$build/tests/driver/odbc"
    name=$(basename "$path")
    [ "$kind" = isql ] && name="isql_$(basename "$path" .sql)"
    log="$logs/$name.log"
    memcheck="valgrind --error-exitcode=1 --leak-check=no --track-origins=yes
              --trace-children=no --suppressions=$script_dir/memcheck.supp
              --log-file=$log.valgrind"
    case "$kind" in
    test)
        case "$path" in
        "$build/tests/driver/"*)
            (cd "$build/tests/driver" &&
             ODBCSYSINI="$odbc" ODBCINI="$odbc/odbc.ini" KX_ODBC_DIR="$odbc" \
             $memcheck "$path" > "$log" 2>&1) ;;
        *)
            (cd "$build/tests" &&
             KX_TEST_SOURCE_DIR="$source_dir/tests" \
             $memcheck "$path" > "$log" 2>&1) ;;
        esac ;;
    client)
        (cd "$build/tests/driver" &&
         ODBCSYSINI="$odbc" ODBCINI="$odbc/odbc.ini" KX_ODBC_DIR="$odbc" \
         $memcheck "$path" kxeval > "$log" 2>&1) ;;
    isql)
        # run_isql.sh takes the isql to run: a wrapper that starts it under
        # valgrind
        wrapper="$logs/$name.isql"
        printf '#!/bin/sh\nexec %s %s "$@"\n' "$(echo $memcheck)" "$(command -v isql)" > "$wrapper"
        chmod +x "$wrapper"
        (cd "$build/tests/driver" &&
         ODBCSYSINI="$odbc" ODBCINI="$odbc/odbc.ini" KX_ODBC_DIR="$odbc" \
         sh "$source_dir/tests/driver/run_isql.sh" "$wrapper" "$path" \
            "${path%.sql}.out" > "$log" 2>&1)
        status=$?
        # each statement alone (the data source as run_isql.sh picks it)
        dsn=$(sed -n '1s/^-- dsn: *//p' "$path")
        number=0
        grep -v '^--' "$path" | while IFS= read -r statement; do
            number=$((number + 1))
            printf '%s\n' "$statement" |
                (cd "$build/tests/driver" &&
                 ODBCSYSINI="$odbc" ODBCINI="$odbc/odbc.ini" KX_ODBC_DIR="$odbc" \
                 valgrind --leak-check=no --track-origins=yes --trace-children=no \
                          --suppressions="$script_dir/memcheck.supp" \
                          --log-file="$log.$number.valgrind" \
                          isql "${dsn:-kxeval}" -b -v -d'|' -c) >> "$log" 2>&1
        done
        errors=$(cat "$log.valgrind" "$log".*.valgrind 2>/dev/null |
                 sed -n 's/.*ERROR SUMMARY: \([0-9]*\) errors.*/\1/p' |
                 awk '{ n += $1 } END { if (NR == 0) print "?"; else print n }')
        echo "$status ${errors:-?}" > "$logs/$name.result"
        echo "memcheck: $name: exit $status, ${errors:-?} errors"
        exit 0 ;;
    esac
    status=$?
    errors=$(sed -n 's/.*ERROR SUMMARY: \([0-9]*\) errors.*/\1/p' "$log.valgrind" 2>/dev/null | tail -n 1)
    echo "$status ${errors:-?}" > "$logs/$name.result"
    echo "memcheck: $name: exit $status, ${errors:-?} errors"
    exit 0
fi

build=${1:?usage: memcheck.sh BUILD_DIR [SOURCE_DIR]}
source_dir=${2:-$(cd "$(dirname "$0")/.." && pwd)}
jobs=${MEMCHECK_JOBS:-2}
build=$(cd "$build" && pwd)
source_dir=$(cd "$source_dir" && pwd)
script=$script_dir/$(basename "$0")
logs="$build/memcheck"
rm -rf "$logs"
mkdir -p "$logs"

# The *_alloc_test programs replace malloc themselves to make it fail on
# demand; under valgrind, whose own allocator takes malloc's place, they
# cannot run, and they are left out (they run in the normal and ASan builds).
programs=$(find "$build/tests" -type f -perm -u+x -name '*_test' ! -name '*_alloc_test' | sort)
if [ -z "$programs" ]; then
    echo "memcheck: no test programs under $build/tests" >&2
    exit 1
fi
runs=""
for program in $programs; do
    runs="$runs test:$program"
done
# the driver's runs, in a build that has the driver
if [ -d "$build/tests/driver" ]; then
    for client in odbc2_client odbc3_client; do
        if [ ! -x "$build/tests/driver/$client" ]; then
            echo "memcheck: $build/tests/driver/$client is missing" >&2
            exit 1
        fi
        runs="$runs client:$build/tests/driver/$client"
    done
    if ! command -v isql > /dev/null; then
        echo "memcheck: isql is missing (unixODBC's unixodbc package)" >&2
        exit 1
    fi
    for session in "$source_dir"/tests/driver/isql/*.sql; do
        runs="$runs isql:$session"
    done
fi

printf '%s\n' $runs |
    xargs -P "$jobs" -I{} sh "$script" --one "$build" "$source_dir" {}

count=0
failed=0
total_errors=0
for run in $runs; do
    path=${run#*:}
    name=$(basename "$path")
    case "$run" in isql:*) name="isql_$(basename "$path" .sql)" ;; esac
    count=$((count + 1))
    status=1
    errors="?"
    if [ -f "$logs/$name.result" ]; then
        read -r status errors < "$logs/$name.result"
    fi
    [ "$errors" = "?" ] && errors=1
    total_errors=$((total_errors + errors))
    if [ "$status" -ne 0 ] || [ "$errors" -ne 0 ]; then
        failed=$((failed + 1))
        echo "FAILED $name: exit $status, $errors errors (see $logs/$name.log*)"
    fi
done
echo "memcheck: $count programs, $failed failed, $total_errors errors"
[ "$failed" -eq 0 ]
