"""pyodbc's executemany through the reference driver: 100,000 parameter sets
sent as one array (fast_executemany, SQL_ATTR_PARAMSET_SIZE) beside the
same sets executed one by one, through the same driver manager in the same
run. The fastest of three runs counts for each; the result is the ratio.

    ODBCSYSINI=... executemany_bench.py DRIVER_SO [SETS]
"""
import sys
import time

import pyodbc

SQL = "SELECT ? + 1, {fn UCASE(?)}"
RUNS = 3


def best_of(cursor, sets, fast):
    best = None
    for _ in range(RUNS):
        cursor.fast_executemany = fast
        start = time.perf_counter()
        cursor.executemany(SQL, sets)
        elapsed = time.perf_counter() - start
        best = elapsed if best is None else min(best, elapsed)
    return best


def main():
    driver = sys.argv[1] if len(sys.argv) > 1 else "libkxevaldrv.so"
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 100000
    connection = pyodbc.connect("DRIVER=%s" % driver, autocommit=True)
    cursor = connection.cursor()
    sets = [(i, "name %d" % i) for i in range(count)]
    one_by_one = best_of(cursor, sets, False)
    as_array = best_of(cursor, sets, True)
    print("executemany of %d parameter sets through pyodbc" % count)
    print("  one by one            %8.1f ms  %6.2f us per set" % (one_by_one * 1e3, one_by_one / count * 1e6))
    print("  fast_executemany      %8.1f ms  %6.2f us per set" % (as_array * 1e3, as_array / count * 1e6))
    print("  ratio fast / one by one: %.2f" % (as_array / one_by_one))
    connection.close()


if __name__ == "__main__":
    main()
