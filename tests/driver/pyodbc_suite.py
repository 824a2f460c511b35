"""The reference driver under pyodbc, through unixODBC's driver manager.

Run with Debian's /usr/bin/python3 (which has python3-pyodbc) and with
ODBCSYSINI/ODBCINI pointing at the build's odbcinst.ini and odbc.ini:

    /usr/bin/python3 pyodbc_suite.py

It connects by data source name and by driver connection string, evaluates
every scalar-function family, binds parameters of every Python type, round
trips 38-digit decimals, reads dates, times and timestamps as Python objects,
moves texts and binaries of a few megabytes both ways (long data sent with
SQLPutData), checks errors and their SQLSTATEs, stops a query from another
thread and by its time-out, and sends text outside the BMP through the W
entry points.
"""
import datetime
import decimal
import threading
import time
import unittest

import pyodbc

DSN = "DSN=kxeval"
STATE_OF = lambda error: error.args[0]


class Connecting(unittest.TestCase):
    def test_by_data_source_name(self):
        with pyodbc.connect(DSN) as cnxn:
            row = cnxn.cursor().execute("SELECT {fn DATABASE()}, USER").fetchone()
            # Database and UID come from the data source's section of odbc.ini
            self.assertEqual(tuple(row), ("demo", "tester"))

    def test_by_driver_connection_string(self):
        with pyodbc.connect("DRIVER={KXEval};DATABASE=sales;UID=ann") as cnxn:
            row = cnxn.cursor().execute("SELECT {fn DATABASE()}, {fn USER()}").fetchone()
            self.assertEqual(tuple(row), ("sales", "ann"))

    def test_application_text_overrides_the_data_source(self):
        with pyodbc.connect(DSN + ";UID=bob") as cnxn:
            row = cnxn.cursor().execute("SELECT USER, {fn DATABASE()}").fetchone()
            self.assertEqual(tuple(row), ("bob", "demo"))

    def test_driver_information(self):
        with pyodbc.connect(DSN) as cnxn:
            self.assertEqual(cnxn.getinfo(pyodbc.SQL_DRIVER_ODBC_VER), "03.00")
            self.assertEqual(cnxn.getinfo(pyodbc.SQL_DATA_SOURCE_NAME), "kxeval")


class Fixture(unittest.TestCase):
    def setUp(self):
        self.cnxn = pyodbc.connect(DSN)
        self.cursor = self.cnxn.cursor()

    def tearDown(self):
        self.cnxn.close()

    def value(self, sql, *params):
        return self.cursor.execute(sql, *params).fetchone()[0]

    def state(self, sql, *params):
        with self.assertRaises(pyodbc.Error) as caught:
            self.cursor.execute(sql, *params).fetchall()
        return STATE_OF(caught.exception)


class ScalarFunctions(Fixture):
    # (call, expected value): the functions' documented results
    CASES = [
        # strings
        ("{fn UCASE('abc')}", "ABC"),
        ("{fn LCASE('ABC')}", "abc"),
        ("{fn CONCAT('ab', 'cd')}", "abcd"),
        ("{fn LENGTH('abc  ')}", 3),
        ("{fn LEFT('abcdef', 2)}", "ab"),
        ("{fn RIGHT('abcdef', 2)}", "ef"),
        ("{fn LOCATE('c', 'abcabc', 4)}", 6),
        ("{fn REPLACE('banana', 'an', 'AN')}", "bANANa"),
        ("{fn SOUNDEX('Tymczak')}", "T522"),
        ("{fn ASCII('a')}", 97),
        ("{fn CHAR(97)}", "a"),
        ("POSITION('na' IN 'banana')", 3),
        ("SUBSTRING('abcdef' FROM 2 FOR 3)", "bcd"),
        ("CHAR_LENGTH('hello')", 5),
        ("UPPER('mixed Case')", "MIXED CASE"),
        # numbers
        ("{fn ABS(-7)}", 7),
        ("{fn MOD(17, 5)}", 2),
        ("{fn POWER(2, 10)}", 1024.0),
        ("{fn SQRT(2.25)}", 1.5),
        ("{fn FLOOR(-1.5)}", -2),
        ("{fn CEILING(1.2)}", 2),
        ("{fn ROUND(3.14159, 2)}", decimal.Decimal("3.14")),  # keeps the exact type
        ("{fn SIGN(-3)}", -1),
        # dates and times
        ("{fn YEAR({d '2004-06-16'})}", 2004),
        ("{fn DAYNAME({d '2004-06-16'})}", "Wednesday"),
        ("{fn MONTHNAME({d '2004-06-16'})}", "June"),
        ("{fn DAYOFWEEK({d '2004-06-13'})}", 1),
        ("{fn HOUR({ts '2004-06-16 13:14:15'})}", 13),
        ("EXTRACT(MONTH FROM {d '2004-06-16'})", 6),
        ("{fn TIMESTAMPDIFF(SQL_TSI_HOUR, {ts '2004-06-16 00:00:00'}, {ts '2004-06-17 06:00:00'})}", 30),
        ("{fn TIMESTAMPADD(SQL_TSI_DAY, 1, {ts '2004-02-28 12:00:00'})}",
         datetime.datetime(2004, 2, 29, 12, 0, 0)),
        # system
        ("{fn DATABASE()}", "demo"),
        ("{fn USER()}", "tester"),
        ("{fn IFNULL(NULL, 5)}", 5),
    ]

    def test_every_family(self):
        for call, expected in self.CASES:
            with self.subTest(call=call):
                got = self.value("SELECT " + call)
                if isinstance(expected, float):
                    self.assertAlmostEqual(got, expected)
                else:
                    self.assertEqual(got, expected)

    def test_current_date_is_today(self):
        today = datetime.date.today()
        got = self.value("SELECT CURRENT_DATE")
        self.assertLessEqual(abs((got - today).days), 1)

    def test_function_bitmasks_follow_the_catalogue(self):
        # the bits of functions that evaluate above are set (ODBC's numbers)
        string_bits = self.cnxn.getinfo(pyodbc.SQL_STRING_FUNCTIONS)
        for bit in (0x1, 0x10, 0x1000, 0x20000, 0x800000):  # CONCAT LENGTH UCASE SOUNDEX POSITION
            self.assertTrue(string_bits & bit, hex(bit))
        numeric_bits = self.cnxn.getinfo(pyodbc.SQL_NUMERIC_FUNCTIONS)
        for bit in (0x1, 0x400, 0x80000, 0x1000):  # ABS MOD POWER SQRT
            self.assertTrue(numeric_bits & bit, hex(bit))
        timedate_bits = self.cnxn.getinfo(pyodbc.SQL_TIMEDATE_FUNCTIONS)
        for bit in (0x100, 0x8000, 0x40000, 0x80000):  # YEAR DAYNAME TIMESTAMPADD TIMESTAMPDIFF
            self.assertTrue(timedate_bits & bit, hex(bit))
        self.assertEqual(self.cnxn.getinfo(pyodbc.SQL_SYSTEM_FUNCTIONS), 0x7)


class Parameters(Fixture):
    def test_every_python_type(self):
        cases = [
            1, -2147483648, 2 ** 40, 1.5, "text", "unicodé ✓", b"\x00\xffbytes", True, False,
            decimal.Decimal("-1.25"), datetime.date(1999, 12, 31), datetime.time(23, 59, 58),
            datetime.datetime(2004, 6, 16, 13, 14, 15, 250000), None,
        ]
        for value in cases:
            with self.subTest(value=value):
                self.assertEqual(self.value("SELECT ?", value), value)

    def test_parameters_in_expressions(self):
        self.assertEqual(self.value("SELECT ? * 2 + ?", 20, 2), 42)
        self.assertEqual(self.value("SELECT {fn UCASE(?)} || ?", "ab", "c"), "ABc")
        self.assertEqual(self.value("SELECT {fn TIMESTAMPADD(SQL_TSI_DAY, ?, ?)}", 2,
                                    datetime.datetime(2004, 2, 28)),
                         datetime.datetime(2004, 3, 1))
        rows = self.cursor.execute(
            "SELECT a FROM (VALUES (1), (2), (3), (4)) AS t(a) WHERE a > ? ORDER BY a DESC", 2).fetchall()
        self.assertEqual([r[0] for r in rows], [4, 3])

    def test_decimal_round_trips_of_38_digits(self):
        for text in ("12345678901234567890123456789012345678", "-99999999999999999999999999999999999999",
                     "1234567890123456789.0123456789012345678", "0.00000000000000000000000000000000000001"):
            with self.subTest(text=text):
                self.assertEqual(self.value("SELECT ?", decimal.Decimal(text)), decimal.Decimal(text))

    def test_exact_arithmetic_of_38_digits(self):
        self.assertEqual(self.value("SELECT 12345678901234567890123456789012345677 + 1"),
                         decimal.Decimal("12345678901234567890123456789012345678"))
        self.assertEqual(self.value("SELECT ? - 1", decimal.Decimal("10000000000000000000000000000000000000")),
                         decimal.Decimal("9999999999999999999999999999999999999"))

    def test_fast_executemany_sends_every_set_in_one_execution(self):
        # pyodbc binds the sets row-wise as an array (SQL_ATTR_PARAMSET_SIZE)
        self.cursor.fast_executemany = True
        rows = [(i, "t%d" % i, decimal.Decimal("%d.25" % i)) for i in range(2000)]
        self.cursor.executemany("SELECT ? + 1, ?, CAST(? AS NUMERIC(12,2))", rows)
        # a set the driver cannot read fails the whole execution
        with self.assertRaises(pyodbc.Error) as caught:
            self.cursor.executemany("SELECT CAST(? AS INTEGER) + 1", [(1,), ("x",)])
        self.assertEqual(STATE_OF(caught.exception), "22018")


class DateTimes(Fixture):
    def test_python_objects(self):
        row = self.cursor.execute(
            "SELECT {d '2004-06-16'}, {t '13:14:15'}, {ts '2004-06-16 13:14:15.5'}, "
            "DATE '1752-09-14', {d '2004-06-16'} + INTERVAL '1' MONTH").fetchone()
        self.assertEqual(row[0], datetime.date(2004, 6, 16))
        self.assertEqual(row[1], datetime.time(13, 14, 15))
        self.assertEqual(row[2], datetime.datetime(2004, 6, 16, 13, 14, 15, 500000))
        self.assertEqual(row[3], datetime.date(1752, 9, 14))
        self.assertEqual(row[4], datetime.date(2004, 7, 16))

    def test_described_types(self):
        self.cursor.execute("SELECT {d '2004-06-16'}, {t '13:14:15'}, {ts '2004-06-16 13:14:15'}")
        types = [d[1] for d in self.cursor.description]
        self.assertEqual(types, [datetime.date, datetime.time, datetime.datetime])


class LongData(Fixture):
    def test_long_text_both_ways(self):
        text = "long text " * 300000   # 3,000,000 characters
        row = self.cursor.execute("SELECT ?, {fn LENGTH(?)}, {fn UCASE(?)}", text, text, text).fetchone()
        self.assertEqual(row[0], text)
        self.assertEqual(row[1], len(text.rstrip()))
        self.assertEqual(row[2], text.upper())

    def test_long_binary_both_ways(self):
        data = bytes(range(256)) * 12000   # 3,072,000 octets
        self.assertEqual(self.value("SELECT ?", data), data)

    def test_a_long_result_from_short_arguments(self):
        self.assertEqual(self.value("SELECT {fn REPEAT('xy', 1000000)}"), "xy" * 1000000)


class Errors(Fixture):
    def test_states(self):
        self.assertEqual(self.state("SELECT 1 +"), "42000")
        self.assertEqual(self.state("SELECT {fn UCASE()}"), "42000")
        self.assertEqual(self.state("SELECT nosuch"), "42S22")
        self.assertEqual(self.state("SELECT 1 / 0"), "22012")
        self.assertEqual(self.state("SELECT {fn MOD(?, 0)}", 3), "22012")
        self.assertEqual(self.state("SELECT {fn LOG(-1)}"), "2201E")
        self.assertEqual(self.state("SELECT CAST('x' AS INTEGER)"), "22018")
        self.assertEqual(self.state("SELECT {d '2004-02-30'}"), "22007")
        # an INTEGER sum past 2^31 - 1 (a 10-digit literal alone is exact)
        self.assertEqual(self.state("SELECT CAST(2147483647 AS INTEGER) + 1"), "22003")

    def test_syntax_error_names_the_position(self):
        with self.assertRaises(pyodbc.ProgrammingError) as caught:
            self.cursor.execute("SELECT 1, , 2")
        self.assertIn("position 11", caught.exception.args[1])

    def test_connection_stays_usable(self):
        for bad in ("SELECT (", "SELECT 1/0", "SELECT {fn NOPE(1)}"):
            self.assertRaises(pyodbc.Error, self.cursor.execute, bad)
            self.assertEqual(self.value("SELECT 'fine'"), "fine")


class Stopping(Fixture):
    LONG_QUERY = "SELECT n FROM SERIES(1, 4000000000) AS s(n) WHERE n < 0"

    def test_cancel_from_another_thread(self):
        # SQLCancel every 0.2 s until the query gives up: a cancel that comes
        # before the query has started cancels nothing
        finished = threading.Event()

        def keep_cancelling():
            while not finished.wait(0.2):
                self.cursor.cancel()

        canceller = threading.Thread(target=keep_cancelling)
        start = time.monotonic()
        canceller.start()
        try:
            state = self.state(self.LONG_QUERY)
        finally:
            finished.set()
            canceller.join()
        self.assertEqual(state, "HY008")
        self.assertLess(time.monotonic() - start, 10)
        self.assertEqual(self.value("SELECT 'after'"), "after")

    def test_query_time_out(self):
        self.cnxn.timeout = 1
        cursor = self.cnxn.cursor()
        start = time.monotonic()
        with self.assertRaises(pyodbc.Error) as caught:
            cursor.execute(self.LONG_QUERY)
        self.assertEqual(STATE_OF(caught.exception), "HYT00")
        self.assertLess(time.monotonic() - start, 10)


class Descriptions(Fixture):
    def test_described_sizes_hold_what_is_returned(self):
        row = self.cursor.execute("SELECT {fn REPEAT('ab', 1000)}").fetchone()
        self.assertEqual(row[0], "ab" * 1000)
        self.assertGreaterEqual(self.cursor.description[0][3], 2000)
        for sql in ["SELECT {fn SPACE(300)}", "SELECT {fn REPLACE('aaa', 'a', 'bbbb')}",
                    "SELECT {fn INSERT('abc', 1, 1, 'xxxxx')}",
                    "SELECT {fn CONCAT('x', CAST(-0.5 AS NUMERIC(38,37)))}"]:
            value = self.value(sql)
            self.assertGreaterEqual(self.cursor.description[0][3], len(value), sql)


class Catalogue(Fixture):
    def test_tables_and_columns_are_empty_with_odbc_columns(self):
        self.cursor.tables()
        self.assertEqual([d[0].upper() for d in self.cursor.description],
                         ["TABLE_CAT", "TABLE_SCHEM", "TABLE_NAME", "TABLE_TYPE", "REMARKS"])
        self.assertEqual(self.cursor.fetchall(), [])
        self.cursor.columns()
        self.assertEqual(len(self.cursor.description), 18)
        self.assertEqual(self.cursor.fetchall(), [])

    def test_keys_statistics_and_privileges_are_empty_with_odbc_columns(self):
        calls = [
            (lambda: self.cursor.primaryKeys("t"),
             ["TABLE_CAT", "TABLE_SCHEM", "TABLE_NAME", "COLUMN_NAME", "KEY_SEQ", "PK_NAME"]),
            (lambda: self.cursor.foreignKeys(table="t"),
             ["PKTABLE_CAT", "PKTABLE_SCHEM", "PKTABLE_NAME", "PKCOLUMN_NAME", "FKTABLE_CAT",
              "FKTABLE_SCHEM", "FKTABLE_NAME", "FKCOLUMN_NAME", "KEY_SEQ", "UPDATE_RULE",
              "DELETE_RULE", "FK_NAME", "PK_NAME", "DEFERRABILITY"]),
            (lambda: self.cursor.statistics("t"),
             ["TABLE_CAT", "TABLE_SCHEM", "TABLE_NAME", "NON_UNIQUE", "INDEX_QUALIFIER",
              "INDEX_NAME", "TYPE", "ORDINAL_POSITION", "COLUMN_NAME", "ASC_OR_DESC",
              "CARDINALITY", "PAGES", "FILTER_CONDITION"]),
            (lambda: self.cursor.statistics("t", unique=True, quick=False), None),
            (lambda: self.cursor.rowIdColumns("t"),
             ["SCOPE", "COLUMN_NAME", "DATA_TYPE", "TYPE_NAME", "COLUMN_SIZE", "BUFFER_LENGTH",
              "DECIMAL_DIGITS", "PSEUDO_COLUMN"]),
            (lambda: self.cursor.rowVerColumns("t"), None),
            (lambda: self.cursor.procedures(),
             ["PROCEDURE_CAT", "PROCEDURE_SCHEM", "PROCEDURE_NAME", "NUM_INPUT_PARAMS",
              "NUM_OUTPUT_PARAMS", "NUM_RESULT_SETS", "REMARKS", "PROCEDURE_TYPE"]),
            (lambda: self.cursor.procedureColumns(), None),
        ]
        for call, names in calls:
            call()
            if names is not None:
                self.assertEqual([d[0].upper() for d in self.cursor.description], names)
            self.assertEqual(self.cursor.fetchall(), [])
        self.assertEqual(len(self.cursor.procedureColumns().description), 19)
        # nullability as ODBC defines it: KEY_SEQ is never NULL, PK_NAME may be
        self.cursor.primaryKeys("t")
        self.assertEqual([d[6] for d in self.cursor.description],
                         [True, True, False, False, False, True])

    def test_none_parameters_take_the_described_type(self):
        # pyodbc binds None with the type SQLDescribeParam gives
        self.assertEqual(self.value("SELECT {fn IFNULL(?, 5)} + 1", None), 6)
        self.assertIsNone(self.value("SELECT CAST(? AS INTEGER)", None))
        self.assertEqual(self.value("SELECT COALESCE(?, {d '2024-02-29'})", None),
                         datetime.date(2024, 2, 29))

    def test_type_info(self):
        rows = self.cursor.getTypeInfo(pyodbc.SQL_TYPE_TIMESTAMP).fetchall()
        self.assertEqual([(r[0], r[1], r[2]) for r in rows], [("TIMESTAMP", 93, 29)])

    def test_every_type(self):
        # pyodbc reads a SMALLINT column as unsigned when SQL_DESC_UNSIGNED
        # says so: the negative DATA_TYPEs (BIT, BIGINT, ...) read back
        rows = {r.type_name: r for r in self.cursor.getTypeInfo().fetchall()}
        self.assertEqual(rows["BIT"].data_type, pyodbc.SQL_BIT)
        self.assertEqual(rows["LONG VARCHAR"].data_type, pyodbc.SQL_LONGVARCHAR)
        # UNSIGNED_ATTRIBUTE: NULL for what is not a number, false for numbers
        self.assertIsNone(rows["VARCHAR"].unsigned_attribute)
        self.assertIsNone(rows["DATE"].unsigned_attribute)
        self.assertEqual(rows["INTEGER"].unsigned_attribute, 0)
        self.assertEqual((rows["DOUBLE"].column_size, rows["DOUBLE"].num_prec_radix), (53, 2))
        self.assertEqual((rows["REAL"].column_size, rows["REAL"].num_prec_radix), (24, 2))
        self.assertEqual((rows["NUMERIC"].column_size, rows["NUMERIC"].num_prec_radix), (38, 10))


class WideText(Fixture):
    # pyodbc calls the driver's W entry points with UTF-16: text outside the
    # BMP (the G clef, a surrogate pair) reaches the driver whole, in the
    # statement, the connection string, column names and messages
    CLEF = "\U0001D11E"

    def test_statement_text_and_column_names(self):
        clef = self.CLEF
        self.cursor.execute(f"SELECT '{clef}\u00e9' AS \"n{clef}\", CHAR_LENGTH('{clef}\u00e9')")
        self.assertEqual(tuple(self.cursor.fetchone()), (clef + "\u00e9", 2))
        self.assertEqual(self.cursor.description[0][0], "n" + clef)

    def test_connection_string(self):
        # (getinfo is not checked: pyodbc reads it with the ANSI SQLGetInfo,
        # and the driver manager narrows the driver's wide answer to that)
        with pyodbc.connect(f"DRIVER={{KXEval}};DATABASE=d{self.CLEF}") as cnxn:
            self.assertEqual(cnxn.cursor().execute("SELECT {fn DATABASE()}").fetchone()[0], "d" + self.CLEF)

    def test_messages(self):
        with self.assertRaises(pyodbc.Error) as caught:
            self.cursor.execute(f'SELECT "n{self.CLEF}such"')
        self.assertEqual(STATE_OF(caught.exception), "42S22")
        self.assertIn(f"n{self.CLEF}such", str(caught.exception))


if __name__ == "__main__":
    unittest.main(verbosity=2)
