"""pyodbc: the process's memory stays flat over 100,000 executions and
10,000 connections through the driver manager (see flat_memory.c).

    flat_memory.py [EXECUTIONS [CONNECTS]]
"""
import sys

import pyodbc

LIMIT_KB = 4096


def resident_kb():
    with open("/proc/self/status") as status:
        for line in status:
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    return -1


def executions(connection, count):
    cursor = connection.cursor()
    for i in range(count):
        if i % 10 == 0:
            cursor.close()
            cursor = connection.cursor()
        row = cursor.execute("SELECT ? + 1, {fn CONCAT('row ', {fn UCASE('x')})}", i).fetchone()
        if row[0] != i + 1 or row[1] != "row X":
            sys.exit("not ok: execution %d gave %r" % (i, row))
    cursor.close()


def connections(count):
    for _ in range(count):
        pyodbc.connect("DSN=kxeval").close()


def main():
    runs = int(sys.argv[1]) if len(sys.argv) > 1 else 100000
    connects = int(sys.argv[2]) if len(sys.argv) > 2 else 10000
    held = pyodbc.connect("DSN=kxeval")
    executions(held, runs // 10)
    connections(connects // 10)
    before = resident_kb()
    executions(held, runs)
    connections(connects)
    after = resident_kb()
    held.close()
    print("resident %d kB after the warm-up, %d kB after %d executions and %d connects"
          % (before, after, runs, connects))
    if after - before > LIMIT_KB:
        sys.exit("not ok: grew by %d kB (the limit is %d kB)" % (after - before, LIMIT_KB))
    print("ok: grew by %d kB" % (after - before))


if __name__ == "__main__":
    main()
