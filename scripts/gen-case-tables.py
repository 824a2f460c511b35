#!/usr/bin/env python3
"""Writes functions/functions_case_tables.h, the Unicode simple case mappings
that the standard UCASE/UPPER and LCASE/LOWER apply (one code point to one
code point).

The mappings come from Python's own character database: str.upper() and
str.lower() of each code point where the result is one code point. Where
Python's (full) mapping gives several code points (U+00DF, U+0130, the Greek
letters with ypogegrammeni, the ligatures of U+FB00...), the simple mapping
is the one of the C library's C.UTF-8 locale (towupper and towlower), which
follows the simple mappings of the same Unicode version; for every other
code point the script checks that the C library and Python agree, and stops
when they do not.

The table is two-stage. A code point below 0x80 is mapped by the reader
itself. Above, block = cp >> 7 (for cp below kLimit) picks a row of 128
indexes in kUpperRows / kLowerRows (row 0 maps nothing), and an index picks
a signed difference in kUpperDeltas / kLowerDeltas: the mapping is cp plus
that difference. Code points from kLimit on map to themselves.

Usage: python3 scripts/gen-case-tables.py   (from the top of the source tree)
"""
import ctypes
import ctypes.util
import os
import sys
import unicodedata

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
OUT = os.path.join(ROOT, "functions", "functions_case_tables.h")
BLOCK = 128
LC_CTYPE = 0


def c_library_mappings():
    libc = ctypes.CDLL(ctypes.util.find_library("c"))
    libc.setlocale.restype = ctypes.c_char_p
    libc.setlocale.argtypes = [ctypes.c_int, ctypes.c_char_p]
    if libc.setlocale(LC_CTYPE, b"C.UTF-8") is None:
        sys.exit("the C library has no C.UTF-8 locale")
    for f in (libc.towupper, libc.towlower):
        f.restype = ctypes.c_uint32
        f.argtypes = [ctypes.c_uint32]
    return libc.towupper, libc.towlower


def simple_mappings():
    towupper, towlower = c_library_mappings()
    upper, lower = {}, {}
    taken_from_c = []
    for cp in range(0x110000):
        if 0xD800 <= cp < 0xE000:
            continue
        c = chr(cp)
        for table, full, from_c, name in ((upper, c.upper(), towupper(cp), "upper"),
                                          (lower, c.lower(), towlower(cp), "lower")):
            if len(full) == 1:
                if ord(full) != from_c:
                    sys.exit("U+%04X: Python's %s is U+%04X, the C library's U+%04X"
                             % (cp, name, ord(full), from_c))
                mapped = ord(full)
            else:
                mapped = from_c
                if mapped != cp:
                    taken_from_c.append((name, cp, mapped))
            if mapped != cp:
                table[cp] = mapped
    return upper, lower, taken_from_c


def check_lengths(mapping):
    """What the reader relies on: ASCII maps to ASCII, and a mapping grows a
    character's UTF-8 by one octet at most, only from two octets to three,
    so that a result never needs more than 1.5 times its argument's octets."""
    for cp, mapped in mapping.items():
        a = len(chr(cp).encode())
        b = len(chr(mapped).encode())
        assert cp >= 0x80 or mapped < 0x80, hex(cp)
        assert b <= a or (a == 2 and b == 3), hex(cp)


def stage_tables(mapping):
    deltas = [0]
    delta_index = {0: 0}
    for cp in sorted(mapping):
        d = mapping[cp] - cp
        if d not in delta_index:
            delta_index[d] = len(deltas)
            deltas.append(d)
    assert len(deltas) <= 256, "one octet per index"
    top = max(mapping) + 1
    blocks = (top + BLOCK - 1) // BLOCK
    rows = [tuple([0] * BLOCK)]
    row_index = {rows[0]: 0}
    stage1 = []
    for b in range(blocks):
        row = tuple(delta_index[mapping[cp] - cp] if cp in mapping else 0
                    for cp in range(b * BLOCK, (b + 1) * BLOCK))
        if row not in row_index:
            row_index[row] = len(rows)
            rows.append(row)
        stage1.append(row_index[row])
    assert len(rows) <= 256
    return stage1, rows, deltas


def c_array(kind, name, values, per_line):
    lines = []
    for i in range(0, len(values), per_line):
        lines.append("    " + ", ".join(str(v) for v in values[i:i + per_line]) + ",")
    return "inline constexpr %s %s[%d] = {\n%s\n};\n" % (kind, name, len(values), "\n".join(lines))


def main():
    upper, lower, taken_from_c = simple_mappings()
    check_lengths(upper)
    check_lengths(lower)
    up1, up_rows, up_deltas = stage_tables(upper)
    lo1, lo_rows, lo_deltas = stage_tables(lower)
    limit_blocks = max(len(up1), len(lo1))
    up1 += [0] * (limit_blocks - len(up1))
    lo1 += [0] * (limit_blocks - len(lo1))
    out = []
    out.append("// functions_case_tables.h - the Unicode simple case mappings of the\n"
               "// standard UCASE and LCASE (Unicode %s), made by\n"
               "// scripts/gen-case-tables.py from Python's str.upper() and str.lower()\n"
               "// (the C library's C.UTF-8 towupper and towlower for the %d code points\n"
               "// whose full mapping has several). Generated: do not edit.\n"
               "//\n"
               "// cp below kLimit maps to cp + kXDeltas[kXRows[kXBlocks[cp >> 7]][cp & 127]];\n"
               "// every other code point maps to itself. %d code points have an upper\n"
               "// case, %d a lower case.\n"
               % (unicodedata.unidata_version, len(taken_from_c), len(upper), len(lower)))
    out.append("#ifndef KXSUPP_FUNCTIONS_FUNCTIONS_CASE_TABLES_H\n"
               "#define KXSUPP_FUNCTIONS_FUNCTIONS_CASE_TABLES_H\n\n"
               "#include <cstdint>\n\nnamespace kx::casemap {\n\n")
    out.append("inline constexpr uint32_t kBlockBits = 7;\n")
    out.append("inline constexpr uint32_t kLimit = %d;  // 0x%X\n\n" % (limit_blocks * BLOCK,
                                                                     limit_blocks * BLOCK))
    for prefix, stage1, rows, deltas in (("kUpper", up1, up_rows, up_deltas),
                                         ("kLower", lo1, lo_rows, lo_deltas)):
        out.append(c_array("uint8_t", prefix + "Blocks", stage1, 24))
        out.append("inline constexpr uint8_t %sRows[%d][%d] = {\n" % (prefix, len(rows), BLOCK))
        for row in rows:
            out.append("    {")
            out.append(", ".join(str(v) for v in row))
            out.append("},\n")
        out.append("};\n")
        out.append(c_array("int32_t", prefix + "Deltas", deltas, 10))
        out.append("\n")
    out.append("}  // namespace kx::casemap\n\n#endif\n")
    text = "".join(out)
    with open(OUT, "w", encoding="ascii") as f:
        f.write(text)
    print("wrote %s: upper %d rows, %d deltas; lower %d rows, %d deltas; %d blocks"
          % (os.path.relpath(OUT, ROOT), len(up_rows), len(up_deltas), len(lo_rows),
             len(lo_deltas), limit_blocks))


if __name__ == "__main__":
    main()
