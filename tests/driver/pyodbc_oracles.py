"""The reference driver's answers checked against Python, through pyodbc.

Run with Debian's /usr/bin/python3 (python3-pyodbc) and ODBCSYSINI/ODBCINI
pointing at the build's odbcinst.ini and odbc.ini:

    /usr/bin/python3 pyodbc_oracles.py

Seeded random cases (the seed is printed on a failure) compare the driver
with Python's own arithmetic, computed here from first principles: integer
nanoseconds on date.toordinal() for datetimes, calendar.monthrange for
month shifts, int for 64-bit arithmetic, decimal.Decimal for exact numbers.
Each case is one statement; an out-of-range case must fail with its
SQLSTATE, and every error the library raises must name the driver in
brackets.
"""
import calendar
import datetime
import decimal
import os
import random
import unittest

import pyodbc

DSN = "DSN=kxeval"
SEED = int(os.environ.get("KX_ORACLE_SEED", "20041"))
NS = 10**9
DAY_NS = 86400 * NS
INT64_MIN, INT64_MAX = -(2**63), 2**63 - 1


# ---- datetimes as (ordinal day, nanosecond of the day) ----

def make(y, mo, d, h=0, mi=0, s=0, ns=0):
    return (datetime.date(y, mo, d).toordinal(), ((h * 60 + mi) * 60 + s) * NS + ns)


def total_ns(t):
    return t[0] * DAY_NS + t[1]


def from_total(n):
    day, ns = divmod(n, DAY_NS)
    return (day, ns)


def in_calendar(t):
    return 1 <= t[0] <= datetime.date(9999, 12, 31).toordinal()


def text(t):
    """A timestamp as the driver writes it: the fraction without its
    trailing zeros, none when it is zero."""
    d = datetime.date.fromordinal(t[0])
    secs, ns = divmod(t[1], NS)
    h, rest = divmod(secs, 3600)
    mi, s = divmod(rest, 60)
    out = "%04d-%02d-%02d %02d:%02d:%02d" % (d.year, d.month, d.day, h, mi, s)
    if ns:
        out += "." + ("%09d" % ns).rstrip("0")
    return out


def literal(t):
    return "{ts '%s'}" % text(t)


def add_months(t, n):
    d = datetime.date.fromordinal(t[0])
    months = d.year * 12 + (d.month - 1) + n
    y, m = divmod(months, 12)
    if not 1 <= y <= 9999:
        return None
    day = min(d.day, calendar.monthrange(y, m + 1)[1])
    return (datetime.date(y, m + 1, day).toordinal(), t[1])


def random_timestamp(rng, first=1600, last=2400):
    y = rng.randint(first, last)
    mo = rng.randint(1, 12)
    d = rng.randint(1, calendar.monthrange(y, mo)[1])
    digits = rng.randint(0, 9)
    ns = rng.randrange(10**digits) * 10 ** (9 - digits) if digits else 0
    return make(y, mo, d, rng.randint(0, 23), rng.randint(0, 59), rng.randint(0, 59), ns)


def trunc_div(a, b):
    """a / b truncated toward zero."""
    q = abs(a) // abs(b)
    return q if (a < 0) == (b < 0) else -q


def month_diff(a, b):
    """Whole months from a to b: the month difference, less one (toward
    zero) when b's day and time of day have not reached a's."""
    da, db = datetime.date.fromordinal(a[0]), datetime.date.fromordinal(b[0])
    months = (db.year * 12 + db.month) - (da.year * 12 + da.month)
    rest_a, rest_b = (da.day, a[1]), (db.day, b[1])
    if months > 0 and rest_b < rest_a:
        months -= 1
    elif months < 0 and rest_b > rest_a:
        months += 1
    return months


class Oracle(unittest.TestCase):
    def setUp(self):
        self.cnxn = pyodbc.connect(DSN)
        self.cursor = self.cnxn.cursor()
        self.rng = random.Random(SEED)

    def tearDown(self):
        self.cnxn.close()

    def value(self, sql):
        try:
            return self.cursor.execute(sql).fetchone()[0]
        except pyodbc.Error as error:
            self.fail("%s failed: %s (seed %d)" % (sql, error, SEED))

    def state(self, sql):
        """The SQLSTATE of a statement that must fail; its message must name
        the driver."""
        try:
            self.cursor.execute(sql).fetchall()
        except pyodbc.Error as error:
            message = error.args[1]
            self.assertIn("[kxevaldrv]", message, sql)
            self.assertNotIn("Varnel", message, sql)
            return error.args[0]
        self.fail("no error from " + sql)

    def expect(self, sql, expected):
        """expected: a value, or ("error", state)."""
        if isinstance(expected, tuple) and expected and expected[0] == "error":
            self.assertEqual(self.state(sql), expected[1], "%s (seed %d)" % (sql, SEED))
        else:
            self.assertEqual(self.value(sql), expected, "%s (seed %d)" % (sql, SEED))


class Datetimes(Oracle):
    def test_timestamp_casts_keep_every_fraction(self):
        for _ in range(2000):
            t = random_timestamp(self.rng)
            sql = "SELECT CAST(CAST('%s' AS TIMESTAMP) AS VARCHAR(40))" % text(t)
            self.expect(sql, text(t))

    def test_headline_cases(self):
        self.expect("SELECT CAST(CAST('2004-06-16 13:14:15.5' AS TIMESTAMP) AS VARCHAR(40))",
                    "2004-06-16 13:14:15.5")
        self.expect("SELECT {fn TIMESTAMPDIFF(SQL_TSI_SECOND, {ts '2004-06-16 13:14:05'}, "
                    "{ts '2004-06-16 13:14:15'})}", 10)
        self.expect("SELECT CAST({fn TIMESTAMPADD(SQL_TSI_MONTH, 1, {ts '2004-01-31 10:00:00'})} "
                    "AS VARCHAR(40))", "2004-02-29 10:00:00")
        self.expect("SELECT CAST({fn TIMESTAMPADD(SQL_TSI_MONTH, 12, {ts '2004-12-15 00:00:00'})} "
                    "AS VARCHAR(40))", "2005-12-15 00:00:00")
        self.expect("SELECT CASE WHEN {d '2004-06-17'} > {ts '2004-06-16 23:59:59.5'} "
                    "THEN 1 ELSE 0 END", 1)

    def test_day_time_intervals_added_and_subtracted(self):
        units = [("DAY", DAY_NS), ("HOUR", 3600 * NS), ("MINUTE", 60 * NS), ("SECOND", NS)]
        for _ in range(600):
            t = random_timestamp(self.rng)
            unit, size = self.rng.choice(units)
            n = self.rng.randint(0, 99999)
            fraction = self.rng.randrange(NS) if unit == "SECOND" and self.rng.random() < 0.5 else 0
            amount = n * size + fraction
            body = str(n) if not fraction else "%d.%09d" % (n, fraction)
            qualifier = unit + ("(9, 9)" if unit == "SECOND" else "(9)")
            for sign, op in ((1, "+"), (-1, "-")):
                result = from_total(total_ns(t) + sign * amount)
                sql = "SELECT CAST(%s %s INTERVAL '%s' %s AS VARCHAR(40))" % (
                    literal(t), op, body, qualifier)
                self.expect(sql, text(result) if in_calendar(result) else ("error", "22008"))

    def test_year_month_intervals_clamp_the_day(self):
        for _ in range(600):
            t = random_timestamp(self.rng)
            unit = self.rng.choice(["YEAR", "MONTH", "YEAR TO MONTH"])
            if unit == "YEAR":
                n = self.rng.randint(0, 500)
                months, body, qualifier = 12 * n, str(n), "YEAR(4)"
            elif unit == "MONTH":
                n = self.rng.randint(0, 6000)
                months, body, qualifier = n, str(n), "MONTH(4)"
            else:
                y, m = self.rng.randint(0, 500), self.rng.randint(0, 11)
                months, body, qualifier = 12 * y + m, "%d-%d" % (y, m), "YEAR(4) TO MONTH"
            for sign, op in ((1, "+"), (-1, "-")):
                result = add_months(t, sign * months)
                sql = "SELECT CAST(%s %s INTERVAL '%s' %s AS VARCHAR(40))" % (
                    literal(t), op, body, qualifier)
                self.expect(sql, text(result) if result else ("error", "22008"))

    def test_timestampadd_of_every_unit(self):
        units = {
            "SQL_TSI_FRAC_SECOND": 1, "SQL_TSI_SECOND": NS, "SQL_TSI_MINUTE": 60 * NS,
            "SQL_TSI_HOUR": 3600 * NS, "SQL_TSI_DAY": DAY_NS, "SQL_TSI_WEEK": 7 * DAY_NS,
        }
        months = {"SQL_TSI_MONTH": 1, "SQL_TSI_QUARTER": 3, "SQL_TSI_YEAR": 12}
        for _ in range(1500):
            t = random_timestamp(self.rng)
            unit = self.rng.choice(sorted(units) + sorted(months))
            n = self.rng.randint(-2000000, 2000000) if unit in units else self.rng.randint(-3000, 3000)
            if unit in units:
                result = from_total(total_ns(t) + n * units[unit])
                result = result if in_calendar(result) else None
            else:
                result = add_months(t, n * months[unit])
            sql = "SELECT CAST({fn TIMESTAMPADD(%s, %d, %s)} AS VARCHAR(40))" % (unit, n, literal(t))
            self.expect(sql, text(result) if result else ("error", "22008"))

    def test_timestampdiff_of_every_unit(self):
        sizes = {
            "SQL_TSI_FRAC_SECOND": 1, "SQL_TSI_SECOND": NS, "SQL_TSI_MINUTE": 60 * NS,
            "SQL_TSI_HOUR": 3600 * NS, "SQL_TSI_DAY": DAY_NS, "SQL_TSI_WEEK": 7 * DAY_NS,
        }
        for _ in range(1500):
            a, b = random_timestamp(self.rng), random_timestamp(self.rng)
            if self.rng.random() < 0.3:  # near each other too
                b = from_total(total_ns(a) + self.rng.randint(-40 * DAY_NS, 40 * DAY_NS))
                if not in_calendar(b):
                    continue
            unit = self.rng.choice(sorted(sizes) + ["SQL_TSI_MONTH", "SQL_TSI_QUARTER", "SQL_TSI_YEAR"])
            if unit in sizes:
                expected = trunc_div(total_ns(b) - total_ns(a), sizes[unit])
            else:
                months = month_diff(a, b)
                expected = months if unit == "SQL_TSI_MONTH" else trunc_div(
                    months, 3 if unit == "SQL_TSI_QUARTER" else 12)
            if not INT64_MIN <= expected <= INT64_MAX:
                expected = ("error", "22003")
            sql = "SELECT {fn TIMESTAMPDIFF(%s, %s, %s)}" % (unit, literal(a), literal(b))
            self.expect(sql, expected)

    def test_dates_against_timestamps(self):
        for _ in range(600):
            t = random_timestamp(self.rng)
            day = t[0] + self.rng.randint(-1, 1)
            d = datetime.date.fromordinal(day)
            date_literal = "{d '%04d-%02d-%02d'}" % (d.year, d.month, d.day)
            midnight = (day, 0)
            for op, check in (("<", lambda x, y: x < y), ("=", lambda x, y: x == y),
                              (">", lambda x, y: x > y)):
                sql = "SELECT CASE WHEN %s %s %s THEN 1 ELSE 0 END" % (date_literal, op, literal(t))
                self.expect(sql, 1 if check(midnight, t) else 0)

    def test_the_proleptic_gregorian_calendar(self):
        for _ in range(300):
            day = self.rng.randint(datetime.date(1, 1, 1).toordinal(), datetime.date(1800, 1, 1).toordinal())
            d = datetime.date.fromordinal(day)
            sql = "SELECT {fn DAYOFWEEK({d '%04d-%02d-%02d'})}" % (d.year, d.month, d.day)
            self.expect(sql, d.isoweekday() % 7 + 1)
        self.expect("SELECT {fn DAYNAME({d '1752-09-02'})}", "Saturday")
        self.expect("SELECT {d '1700-02-28'} + INTERVAL '1' DAY", datetime.date(1700, 3, 1))


class Numbers(Oracle):
    def test_sixty_four_bit_arithmetic_at_the_edges(self):
        edges = [INT64_MIN, INT64_MIN + 1, -1, 0, 1, INT64_MAX - 1, INT64_MAX, 2**32, -(2**32), 3037000499,
                 3037000500, -3037000500]
        for _ in range(1500):
            a = self.rng.choice(edges + [self.rng.randint(INT64_MIN, INT64_MAX)])
            b = self.rng.choice(edges + [self.rng.randint(-(2**33), 2**33)])
            op = self.rng.choice("+-*/")
            if op == "/" and b == 0:
                expected = ("error", "22012")
            else:
                exact = {"+": a + b, "-": a - b, "*": a * b}.get(op) if op != "/" else trunc_div(a, b)
                expected = exact if INT64_MIN <= exact <= INT64_MAX else ("error", "22003")
            sql = "SELECT CAST(%d AS BIGINT) %s CAST(%d AS BIGINT)" % (a, op, b)
            self.expect(sql, expected)
        self.expect("SELECT CASE WHEN CAST(2000000 AS BIGINT) > 1234567 THEN 1 ELSE 0 END", 1)

    def decimal_text(self, digits, scale):
        value = self.rng.randrange(10**digits) * self.rng.choice((1, -1))
        # scaleb rounds to its context: 28 digits by default
        return decimal.Decimal(value).scaleb(-scale, context=decimal.Context(prec=100))

    def test_thirty_eight_digit_arithmetic(self):
        context = decimal.Context(prec=200)
        limit = decimal.Decimal(10) ** 38
        for _ in range(1500):
            sa, sb = self.rng.randint(0, 10), self.rng.randint(0, 10)
            a = self.decimal_text(self.rng.randint(1, 38 - sa) + sa, sa)
            b = self.decimal_text(self.rng.randint(1, 38 - sb) + sb, sb)
            op = self.rng.choice("+-*/")
            if op == "/" and b == 0:
                expected = ("error", "22012")
            elif op == "/":
                scale = min(sa + 4, 38)
                q = context.divide(a, b)
                expected = q.quantize(decimal.Decimal(1).scaleb(-scale), rounding=decimal.ROUND_HALF_UP,
                                      context=context)
            else:
                expected = {"+": context.add, "-": context.subtract, "*": context.multiply}[op](a, b)
            if not isinstance(expected, tuple) and abs(expected) >= limit:
                expected = ("error", "22003")
            sql = "SELECT CAST(%s AS NUMERIC(38,%d)) %s CAST(%s AS NUMERIC(38,%d))" % (a, sa, op, b, sb)
            if isinstance(expected, tuple):
                self.expect(sql, expected)
                continue
            got = self.value(sql)
            # where 38 digits leave no room for every digit of a product or
            # quotient, the fraction is rounded: the answer is within half a
            # unit of its last place
            exponent = got.as_tuple().exponent
            tolerance = decimal.Decimal(5).scaleb(exponent - 1)
            self.assertLessEqual(abs(context.subtract(got, expected)), tolerance,
                                 "%s gave %s, not %s (seed %d)" % (sql, got, expected, SEED))

    def test_headline_cases(self):
        self.expect("SELECT 0.1 + 0.2", decimal.Decimal("0.3"))
        self.expect("SELECT CASE WHEN 0.1 + 0.2 = 0.3 THEN 1 ELSE 0 END", 1)
        self.assertEqual(self.value("SELECT 10 / 3.0000000"), decimal.Decimal("3.3333"))
        self.expect("SELECT 99999999999999999999999999999999999999 * 4", ("error", "22003"))
        self.expect("SELECT 1.5000000 + -1.5000000", decimal.Decimal("0"))
        self.assertEqual(str(self.value("SELECT 1.5000000 + -1.5000000")).lstrip("-"),
                         str(self.value("SELECT 1.5000000 + -1.5000000")))


class Errors(Oracle):
    def test_every_library_error_names_the_driver(self):
        cases = [
            ("SELECT 1 / 0", "22012"),
            ("SELECT {fn MOD(7, 0)}", "22012"),
            ("SELECT CAST(9223372036854775807 AS BIGINT) + 1", "22003"),
            ("SELECT {fn TIMESTAMPADD(SQL_TSI_YEAR, 9000, {ts '2004-01-01 00:00:00'})}", "22008"),
            ("SELECT INTERVAL '99' DAY + INTERVAL '1' DAY", "22015"),
            ("SELECT 'abc' < 5", "22018"),
        ]
        for sql, state in cases:
            self.expect(sql, ("error", state))
        # domain errors are data exceptions (class 22), not HY000
        for sql in ("SELECT {fn LOG(0)}", "SELECT {fn SQRT(-1)}", "SELECT {fn ACOS(2)}"):
            self.assertTrue(self.state(sql).startswith("22"), sql)


if __name__ == "__main__":
    unittest.main()
