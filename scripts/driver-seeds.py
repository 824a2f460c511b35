#!/usr/bin/env python3
"""Writes the seed corpus of the driver's fuzz target, tests/fuzz/corpus/driver/.

The seeds are the SQL statements the driver's client tests run: every
statement line of tests/driver/isql/*.sql (comment lines skipped), the SQL
texts of tests/driver/pyodbc_suite.py (its string constants that are
statements, and its scalar-function cases as SELECT items) and the SELECT
texts of the C clients tests/driver/odbc2_client.c and odbc3_client.c (string
literals, adjacent ones joined as the compiler joins them).

Each seed is the target's option octet followed by the text: 0 (parameters
as text, the text passed with its length) for every statement, and for a
statement with parameters also 0x0F (every parameter an SQL_C_SLONG). A file
is named by the SHA-1 of its content, as the other corpora are. Files of
the folder that the sources no longer give are removed.

Usage: python3 scripts/driver-seeds.py   (from the top of the source tree)
"""
import ast
import glob
import hashlib
import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
OUT = os.path.join(ROOT, "tests", "fuzz", "corpus", "driver")


def is_statement(text):
    return re.match(r"\s*select\b", text, re.IGNORECASE) is not None


def isql_statements():
    for path in sorted(glob.glob(os.path.join(ROOT, "tests", "driver", "isql", "*.sql"))):
        with open(path, encoding="utf-8") as f:
            for line in f:
                line = line.rstrip("\n")
                if line.startswith("--") or not line.strip():
                    continue
                yield line


def python_statements(path):
    with open(path, encoding="utf-8") as f:
        tree = ast.parse(f.read())
    for node in ast.walk(tree):
        if isinstance(node, ast.Constant) and isinstance(node.value, str) and is_statement(node.value):
            yield node.value
        # the scalar-function cases: (call, expected) pairs in a CASES list
        if isinstance(node, ast.Assign) and any(
                isinstance(t, ast.Name) and t.id == "CASES" for t in node.targets):
            for case in node.value.elts:
                call = case.elts[0]
                if isinstance(call, ast.Constant) and isinstance(call.value, str):
                    yield "SELECT " + call.value


C_STRING = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
C_ESCAPES = {"n": "\n", "t": "\t", "\\": "\\", '"': '"', "'": "'", "0": "\0"}


def c_unescape(body):
    out = bytearray()
    i = 0
    while i < len(body):
        c = body[i]
        if c != "\\":
            out += c.encode("utf-8")
            i += 1
            continue
        nxt = body[i + 1]
        if nxt == "x":
            m = re.match(r"[0-9a-fA-F]+", body[i + 2:])
            out.append(int(m.group(0), 16) & 0xFF)
            i += 2 + len(m.group(0))
        else:
            out += C_ESCAPES.get(nxt, nxt).encode("utf-8")
            i += 2
    return bytes(out)


def c_statements(path):
    with open(path, encoding="utf-8") as f:
        source = f.read()
    # runs of adjacent literals (only white space between them) are one text
    pieces = []
    last_end = None
    for m in C_STRING.finditer(source):
        if last_end is not None and source[last_end:m.start()].strip() == "":
            pieces[-1] += c_unescape(m.group(1))
        else:
            pieces.append(c_unescape(m.group(1)))
        last_end = m.end()
    for text in pieces:
        if is_statement(text.decode("utf-8", "replace")):
            yield text


def main():
    texts = []
    texts += [t.encode("utf-8") for t in isql_statements()]
    texts += [t.encode("utf-8") for t in
              python_statements(os.path.join(ROOT, "tests", "driver", "pyodbc_suite.py"))]
    for client in ("odbc2_client.c", "odbc3_client.c"):
        texts += list(c_statements(os.path.join(ROOT, "tests", "driver", client)))
    seeds = set()
    for text in texts:
        seeds.add(b"\x00" + text)
        if b"?" in text:
            seeds.add(b"\x0f" + text)
    os.makedirs(OUT, exist_ok=True)
    names = set()
    for seed in sorted(seeds):
        name = hashlib.sha1(seed).hexdigest()
        names.add(name)
        with open(os.path.join(OUT, name), "wb") as f:
            f.write(seed)
    for stale in set(os.listdir(OUT)) - names:
        os.remove(os.path.join(OUT, stale))
    print("%d statements, %d seeds in %s" % (len(set(texts)), len(names), OUT))


if __name__ == "__main__":
    sys.exit(main())
