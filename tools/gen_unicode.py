#!/usr/bin/env python3
"""Derive the character class and case range lists from the Unicode data files.

Reads src/vynulib/unicode/data/UnicodeData-2.0.14.txt and Blocks-2.0.0.txt and
writes src/vynulib/unicode/VynUCharTables.cpp (the lists classTable,
toLowerTable and toUpperTable).

    python3 tools/gen_unicode.py                    # rewrite the committed source
    python3 tools/gen_unicode.py --out DIR          # write DIR/VynUCharTables.cpp
    python3 tools/gen_unicode.py --check-reference  # compare with data/*.tsv, write nothing

The output is deterministic: the same input always gives the same bytes.
Standard library only.
"""

import argparse
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
DATA_DIR = os.path.join(ROOT, "src", "vynulib", "unicode", "data")
OUT_NAME = "VynUCharTables.cpp"
UNICODE_DATA = "UnicodeData-2.0.14.txt"
BLOCKS = "Blocks-2.0.0.txt"

# Class bits, as in VynUChar.h.
WHITESPACE = 0x0001
DIGIT = 0x0002
LETTER = 0x0004
MARK = 0x0008
PUNCTUATION = 0x0010
RTL = 0x0020
UPPER = 0x0040
LOWER = 0x0080
TITLE = 0x0100
MODIFIER = 0x0200
EASTASIAN = 0x0400
HALFWIDTH = 0x4000
FULLWIDTH = 0x8000

# Units whose class getCharClass answers in code; the class list leaves them out.
CODED_RANGES = [
    (0x2E80, 0x2E99),
    (0x2E9B, 0x2EF3),
    (0x2F00, 0x2FD5),
    (0x3400, 0x4DB5),
    (0x4E00, 0x9FA5),
    (0xA000, 0xA48C),
    (0xAC00, 0xD7A3),
    (0xF900, 0xFA2D),
    (0xD800, 0xDFFF),
]

# Blocks whose characters are East Asian (kana, bopomofo, Hangul, CJK symbols
# and ideographs). The ideograph and syllable blocks lie in CODED_RANGES.
EAST_ASIAN_BLOCKS = {
    "Hangul Jamo",
    "CJK Symbols and Punctuation",
    "Hiragana",
    "Katakana",
    "Bopomofo",
    "Hangul Compatibility Jamo",
    "Kanbun",
    "CJK Unified Ideographs",
    "Hangul Syllables",
    "CJK Compatibility Ideographs",
    "CJK Compatibility Forms",
}

EXTRA_WHITESPACE = {0x0009, 0x000A, 0x000D, 0x200B}

LIST_NAMES = ("classTable", "toLowerTable", "toUpperTable")


def read_unicode_data(path):
    """Returns {code: fields} for every BMP code point, ranges expanded."""
    chars = {}
    first = None
    with open(path, encoding="ascii") as f:
        for lineno, line in enumerate(f, 1):
            line = line.rstrip("\r\n")
            if not line.strip():
                continue
            fields = line.split(";")
            if len(fields) < 15:
                sys.exit("%s:%d: expected 15 fields, got %d" % (path, lineno, len(fields)))
            code = int(fields[0], 16)
            if code > 0xFFFF:
                continue
            name = fields[1]
            if name.endswith(", First>"):
                first = (code, fields)
                continue
            if name.endswith(", Last>"):
                if first is None:
                    sys.exit("%s:%d: range end without start" % (path, lineno))
                start, ffields = first
                for c in range(start, code + 1):
                    chars[c] = ffields
                first = None
                continue
            chars[code] = fields
    return chars


def read_blocks(path):
    blocks = []
    with open(path, encoding="ascii") as f:
        for line in f:
            line = line.split("#", 1)[0].strip()
            if not line:
                continue
            lo, hi, name = [p.strip() for p in line.split(";", 2)]
            blocks.append((int(lo, 16), int(hi, 16), name))
    return blocks


def east_asian_codes(blocks):
    ea = set()
    for lo, hi, name in blocks:
        if name in EAST_ASIAN_BLOCKS:
            ea.update(range(lo, hi + 1))
    return ea


def char_class(code, fields, ea):
    cat = fields[2]
    bidi = fields[4]
    decomp = fields[5]
    value = 0
    if cat in ("Zs", "Zl", "Zp") or code in EXTRA_WHITESPACE:
        value |= WHITESPACE
    if cat in ("Nd", "Nl", "No"):
        value |= DIGIT
    if cat.startswith("L"):
        value |= LETTER
        value |= {"Lu": UPPER, "Ll": LOWER, "Lt": TITLE, "Lm": MODIFIER}.get(cat, 0)
    if cat.startswith("M"):
        value |= MARK
    if cat.startswith("P"):
        value |= PUNCTUATION
    if bidi == "R":
        value |= RTL
    tag = None
    target = None
    if decomp.startswith("<"):
        tag, _, rest = decomp.partition(">")
        tag += ">"
        parts = rest.split()
        if parts:
            target = int(parts[0], 16)
    if tag == "<wide>":
        value |= FULLWIDTH
    elif tag == "<narrow>":
        value |= HALFWIDTH
    if tag in ("<wide>", "<narrow>"):
        # A width variant is East Asian when what it stands for is.
        if target is not None and target in ea:
            value |= EASTASIAN
    elif code in ea:
        value |= EASTASIAN
    return value


def in_coded_range(code):
    return any(lo <= code <= hi for lo, hi in CODED_RANGES)


def constant_runs(values):
    """values: {code: value}. Runs of consecutive codes with one value."""
    records = []
    for code in sorted(values):
        v = values[code]
        if records and records[-1][1] == code - 1 and records[-1][2] == v:
            records[-1][1] = code
        else:
            records.append([code, code, v])
    return [tuple(r) for r in records]


def counting_runs(values):
    """values: {code: mapped}. Runs of consecutive codes with one offset."""
    records = []
    for code in sorted(values):
        v = values[code]
        if records:
            first, last, base = records[-1]
            if last == code - 1 and base - first == v - code:
                records[-1][1] = code
                continue
        records.append([code, code, v])
    return [tuple(r) for r in records]


def build_lists(data_dir):
    chars = read_unicode_data(os.path.join(data_dir, UNICODE_DATA))
    ea = east_asian_codes(read_blocks(os.path.join(data_dir, BLOCKS)))
    classes = {}
    lower = {}
    upper = {}
    for code, fields in chars.items():
        if code == 0:
            continue  # the list's terminator: U+0000 can never carry a value
        if not in_coded_range(code):
            v = char_class(code, fields, ea)
            if v:
                classes[code] = v
        if fields[13]:
            lower[code] = int(fields[13], 16)
        if fields[12]:
            upper[code] = int(fields[12], 16)
    return {
        "classTable": constant_runs(classes),
        "toLowerTable": counting_runs(lower),
        "toUpperTable": counting_runs(upper),
    }


def read_reference(path):
    records = []
    with open(path, encoding="ascii") as f:
        for line in f:
            line = line.strip()
            if not line or line.startswith("#"):
                continue
            first, last, value = line.split("\t")
            records.append((int(first, 16), int(last, 16), int(value, 16)))
    return records


def check_reference(lists, data_dir):
    ok = True
    for name in LIST_NAMES:
        ref = read_reference(os.path.join(data_dir, name + ".tsv"))
        got = lists[name]
        if got == ref:
            print("%s: %d records match the reference" % (name, len(got) + 1))
            continue
        ok = False
        print("%s: %d records, reference has %d (terminator included)"
              % (name, len(got) + 1, len(ref) + 1))
        gs, rs = set(got), set(ref)
        for r in sorted(rs - gs)[:20]:
            print("  missing %04X-%04X %04X" % r)
        for r in sorted(gs - rs)[:20]:
            print("  extra   %04X-%04X %04X" % r)
    return ok


HEADER = """\
// Generated by tools/gen_unicode.py from src/vynulib/unicode/data/{data}
// and {blocks}. Do not edit: regenerate with
//     python3 tools/gen_unicode.py
// Records of three unsigned shorts (first, last, value), ended by a record
// whose first unit is 0.

#include <vynulib/internal/VynUCharTables.h>
"""


def render(lists):
    out = [HEADER.format(data=UNICODE_DATA, blocks=BLOCKS)]
    for name in LIST_NAMES:
        records = list(lists[name]) + [(0, 0, 0)]
        out.append("\n// %d records (terminator included), %d units with a value.\n"
                   % (len(records), sum(r[1] - r[0] + 1 for r in lists[name])))
        out.append("const unsigned short %s[] = {\n" % name)
        per_line = 4
        for i in range(0, len(records), per_line):
            chunk = records[i:i + per_line]
            out.append("    " + " ".join("0x%04X, 0x%04X, 0x%04X," % r for r in chunk) + "\n")
        out.append("};\n")
    return "".join(out)


def main(argv=None):
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--data", default=DATA_DIR, help="directory of the Unicode data files")
    ap.add_argument("--out", default=os.path.join(ROOT, "src", "vynulib", "unicode"),
                    help="directory to write %s into" % OUT_NAME)
    ap.add_argument("--check-reference", action="store_true",
                    help="compare the derived lists with DATA/*.tsv and write nothing")
    args = ap.parse_args(argv)

    lists = build_lists(args.data)
    if args.check_reference:
        return 0 if check_reference(lists, args.data) else 1
    os.makedirs(args.out, exist_ok=True)
    path = os.path.join(args.out, OUT_NAME)
    with open(path, "w", encoding="ascii", newline="\n") as f:
        f.write(render(lists))
    return 0


if __name__ == "__main__":
    sys.exit(main())
