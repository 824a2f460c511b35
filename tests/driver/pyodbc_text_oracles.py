"""The reference driver's string functions checked against Python's str,
through pyodbc.

Run with Debian's /usr/bin/python3 (python3-pyodbc) and ODBCSYSINI/ODBCINI
pointing at the build's odbcinst.ini and odbc.ini:

    /usr/bin/python3 pyodbc_text_oracles.py

Seeded random text (the seed is printed on a failure) from every Unicode
plane, with combining marks and blanks, goes to the driver as parameters;
each function's answer is compared with the same operation on Python's
str, which counts code points as the driver counts characters. Case
mapping is Unicode's simple mapping: one code point to one code point
(Python's own upper() of a single character where it gives one character,
else the character itself). Text that is not valid UTF-8 reaches the
driver through a Latin-1 connection encoding: each octet of a broken
sequence is one character of its own, and comes back as U+FFFD. The ODBC
reference's own examples close each family.
"""
import os
import random
import unittest

import pyodbc

DSN = "DSN=kxeval"
SEED = int(os.environ.get("KX_ORACLE_SEED", "20042"))

# Characters from every plane: ASCII, Latin-1, Latin Extended, Greek,
# Cyrillic, CJK, Hangul, a combining acute accent, Linear B (plane 1), an
# emoji, CJK Extension B (plane 2), a tag character (plane 14), private use
# (planes 15 and 16).
POOL = (
    list("abcxyzABCXYZ019 _-'%") + ["  "] +
    list("éÉßñÑøØÿ") + list("ąĄłŁœŒ") + list("αβγΣσΩω") + list("жЖяЯ") +
    list("日本語中文") + list("한국") + ["\u0301", "e\u0301"] +
    ["\U00010000", "\U0001F600", "\U00020000", "\U000E0041", "\U000F0000", "\U0010FFFD"]
)


def simple_upper(s):
    return "".join(c.upper() if len(c.upper()) == 1 else c for c in s)


def simple_lower(s):
    return "".join(c.lower() if len(c.lower()) == 1 else c for c in s)


class TextOracle(unittest.TestCase):
    def setUp(self):
        self.cnxn = pyodbc.connect(DSN, autocommit=True)
        self.cursor = self.cnxn.cursor()
        self.rng = random.Random(SEED)

    def tearDown(self):
        self.cnxn.close()

    def text(self, most=12):
        return "".join(self.rng.choice(POOL) for _ in range(self.rng.randint(0, most)))

    def value(self, sql, *params):
        try:
            return self.cursor.execute(sql, *params).fetchone()[0]
        except pyodbc.Error as error:
            self.fail("%s %r failed: %s (seed %d)" % (sql, params, error, SEED))

    def expect(self, expected, sql, *params):
        self.assertEqual(self.value(sql, *params), expected, "%s %r (seed %d)" % (sql, params, SEED))


class Lengths(TextOracle):
    def test_characters_octets_and_bits(self):
        for _ in range(400):
            s = self.text()
            self.expect(len(s), "SELECT {fn CHAR_LENGTH(?)}", s)
            self.expect(len(s), "SELECT CHARACTER_LENGTH(?)", s)
            self.expect(len(s.rstrip(" ")), "SELECT {fn LENGTH(?)}", s)
            self.expect(len(s.encode("utf-8")), "SELECT {fn OCTET_LENGTH(?)}", s)
            self.expect(8 * len(s.encode("utf-8")), "SELECT {fn BIT_LENGTH(?)}", s)

    def test_documented_examples(self):
        self.expect(2, "SELECT {fn LENGTH('é€')}")
        self.expect(5, "SELECT {fn OCTET_LENGTH('é€')}")
        self.expect(3, "SELECT {fn LENGTH('abc  ')}")
        self.expect(5, "SELECT {fn CHAR_LENGTH('abc  ')}")


class Positions(TextOracle):
    def test_substring_left_right(self):
        for _ in range(400):
            s = self.text()
            start = self.rng.randint(1, len(s) + 2)
            length = self.rng.randint(0, len(s) + 2)
            self.expect(s[start - 1:start - 1 + length], "SELECT {fn SUBSTRING(?, ?, ?)}", s, start, length)
            n = self.rng.randint(0, len(s) + 2)
            self.expect(s[:n], "SELECT {fn LEFT(?, ?)}", s, n)
            self.expect(s[len(s) - n:] if n < len(s) else s, "SELECT {fn RIGHT(?, ?)}", s, n)

    def test_locate_and_position(self):
        for _ in range(400):
            s = self.text()
            if s and self.rng.random() < 0.7:
                a = self.rng.randint(0, len(s) - 1)
                needle = s[a:a + self.rng.randint(1, 3)]
            else:
                needle = self.text(3) or "q"
            self.expect(s.find(needle) + 1, "SELECT {fn LOCATE(?, ?)}", needle, s)
            self.expect(s.find(needle) + 1, "SELECT POSITION(? IN ?)", needle, s)
            start = self.rng.randint(1, len(s) + 1)
            self.expect(s.find(needle, start - 1) + 1, "SELECT {fn LOCATE(?, ?, ?)}", needle, s, start)

    def test_insert(self):
        for _ in range(300):
            s = self.text()
            t = self.text(4)
            start = self.rng.randint(1, len(s) + 1)
            length = self.rng.randint(0, len(s) - start + 1)
            # MySQL's INSERT: a start past the last character gives the text unchanged
            expected = s if start > len(s) else s[:start - 1] + t + s[start - 1 + length:]
            self.expect(expected, "SELECT {fn INSERT(?, ?, ?, ?)}", s, start, length, t)

    def test_documented_examples(self):
        self.expect("c", "SELECT {fn SUBSTRING('abc', 3, 1)}")
        self.expect("é", "SELECT {fn SUBSTRING('héllo', 2, 1)}")
        self.expect("abXYef", "SELECT {fn INSERT('abcdef', 3, 2, 'XY')}")
        self.expect("日", "SELECT {fn LEFT('日本語', 1)}")
        self.expect(3, "SELECT {fn LOCATE('語', '日本語')}")


class Blanks(TextOracle):
    def test_blanks_are_data(self):
        for _ in range(300):
            a, b = self.text(), self.text()
            self.expect(a + b, "SELECT {fn CONCAT(?, ?)}", a, b)
            n = self.rng.randint(0, 4)
            self.expect(a * n, "SELECT {fn REPEAT(?, ?)}", a, n)
            if b:
                c = self.text(3)
                self.expect(a.replace(b, c), "SELECT {fn REPLACE(?, ?, ?)}", a, b, c)
            self.expect(a.lstrip(" "), "SELECT {fn LTRIM(?)}", a)
            self.expect(a.rstrip(" "), "SELECT {fn RTRIM(?)}", a)

    def test_documented_examples(self):
        self.expect("ab  cd ", "SELECT {fn CONCAT('ab  ', 'cd ')}")
        self.expect("  ", "SELECT {fn RIGHT('abc  ', 2)}")
        self.expect("ab ab ab ", "SELECT {fn REPEAT('ab ', 3)}")
        self.expect("", "SELECT {fn REPEAT('ab', 0)}")


class Case(TextOracle):
    def test_simple_case_mapping(self):
        for _ in range(400):
            s = self.text()
            self.expect(simple_upper(s), "SELECT {fn UCASE(?)}", s)
            self.expect(simple_lower(s), "SELECT {fn LCASE(?)}", s)
            self.expect(simple_upper(s), "SELECT UPPER(?)", s)
            self.expect(simple_lower(s), "SELECT LOWER(?)", s)

    def test_documented_examples(self):
        self.expect("É", "SELECT {fn UCASE('é')}")
        self.expect("straße".upper().replace("SS", "ß"), "SELECT {fn UCASE('straße')}")
        self.expect("σ", "SELECT {fn LCASE('Σ')}")


class CodePoints(TextOracle):
    def test_ascii_and_char(self):
        for _ in range(300):
            s = self.text() or "a"
            self.expect(ord(s[0]), "SELECT {fn ASCII(?)}", s)
            c = self.rng.choice(POOL)[0]
            self.expect(c, "SELECT {fn CHAR(?)}", ord(c))

    def test_documented_examples(self):
        self.expect(233, "SELECT {fn ASCII('é')}")
        self.expect("é", "SELECT {fn CHAR(233)}")
        self.expect(65, "SELECT {fn ASCII('A')}")


class Soundex(TextOracle):
    def soundex(self, word):
        codes = {}
        for letters, digit in (("BFPV", "1"), ("CGJKQSXZ", "2"), ("DT", "3"), ("L", "4"), ("MN", "5"),
                               ("R", "6")):
            for letter in letters:
                codes[letter] = digit
        letters = [c for c in word.upper() if "A" <= c <= "Z"]
        if not letters:
            return None
        out = letters[0]
        last = codes.get(letters[0], "")
        for c in letters[1:]:
            digit = codes.get(c, "")
            if digit and digit != last:
                out += digit
            if c not in "HW":
                last = digit
        return (out + "000")[:4]

    def test_american_soundex(self):
        for word in ("Tymczak", "Pfister", "Ashcraft", "Robert", "Rupert", "Rubin", "Honeyman",
                     "Lee", "Gutierrez", "Jackson"):
            self.expect(self.soundex(word), "SELECT {fn SOUNDEX(?)}", word)
        for _ in range(200):
            word = "".join(self.rng.choice("ABCDEFGHIJKLMNOPQRSTUVWXYZ") for _ in range(self.rng.randint(1, 9)))
            self.expect(self.soundex(word), "SELECT {fn SOUNDEX(?)}", word)
            other = "".join(self.rng.choice("ABCDEHLMNRSTW") for _ in range(self.rng.randint(1, 9)))
            same = sum(x == y for x, y in zip(self.soundex(word), self.soundex(other)))
            self.expect(same, "SELECT {fn DIFFERENCE(?, ?)}", word, other)

    def test_documented_examples(self):
        self.expect("T522", "SELECT {fn SOUNDEX('Tymczak')}")
        self.expect("P236", "SELECT {fn SOUNDEX('Pfister')}")
        self.expect(4, "SELECT {fn DIFFERENCE('Robert', 'Rupert')}")


class BrokenText(unittest.TestCase):
    """Octets that are no UTF-8, sent as SQL_C_CHAR through Latin-1 and read
    back as SQL_C_WCHAR, where the driver turns what is not UTF-8 into
    U+FFFD (one for each maximal broken sequence, as Python's "replace"
    does)."""

    def setUp(self):
        self.cnxn = pyodbc.connect(DSN, autocommit=True)
        # str -> octets one for one, sent as SQL_C_CHAR
        self.cnxn.setencoding(encoding="latin-1", ctype=pyodbc.SQL_CHAR)
        self.cnxn.setdecoding(pyodbc.SQL_CHAR, encoding="utf-16le", ctype=pyodbc.SQL_WCHAR)
        self.cursor = self.cnxn.cursor()
        self.rng = random.Random(SEED)

    def tearDown(self):
        self.cnxn.close()

    @staticmethod
    def characters(octets):
        """The octets of each character: a valid UTF-8 sequence, or one
        octet of a broken one."""
        out, i = [], 0
        while i < len(octets):
            for size in (1, 2, 3, 4):
                piece = octets[i:i + size]
                try:
                    piece.decode("utf-8")
                except UnicodeDecodeError:
                    continue
                out.append(piece)
                i += size
                break
            else:
                out.append(octets[i:i + 1])
                i += 1
        return out

    @staticmethod
    def shown(pieces):
        return b"".join(pieces).decode("utf-8", "replace")

    @staticmethod
    def upper(piece):
        try:
            return simple_upper(piece.decode("utf-8")).encode("utf-8")
        except UnicodeDecodeError:
            return piece

    def test_every_broken_octet_is_one_character(self):
        pieces = [b"a", b" ", "é".encode(), "日".encode(), "😀".encode(), b"\xc3", b"\xe6\x97", b"\xff",
                  b"\x80", b"\xf0\x9f\x98"]
        for _ in range(300):
            octets = b"".join(self.rng.choice(pieces) for _ in range(self.rng.randint(1, 8)))
            chars = self.characters(octets)
            text = octets.decode("latin-1")
            got = self.cursor.execute("SELECT {fn CHAR_LENGTH(?)}", text).fetchone()[0]
            self.assertEqual(got, len(chars), "%r (seed %d)" % (octets, SEED))
            got = self.cursor.execute("SELECT {fn OCTET_LENGTH(?)}", text).fetchone()[0]
            self.assertEqual(got, len(octets), "%r (seed %d)" % (octets, SEED))
            n = self.rng.randint(0, len(chars))
            got = self.cursor.execute("SELECT {fn LEFT(?, ?)}", text, n).fetchone()[0]
            self.assertEqual(got, self.shown(chars[:n]), "%r LEFT %d (seed %d)" % (octets, n, SEED))
            got = self.cursor.execute("SELECT {fn UCASE(?)}", text).fetchone()[0]
            self.assertEqual(got, self.shown([self.upper(c) for c in chars]), "%r (seed %d)" % (octets, SEED))


if __name__ == "__main__":
    unittest.main()
