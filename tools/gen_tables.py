#!/usr/bin/env python3
"""Generate the compiled mapping tables of vynulib64.

Reads the data files under src/vynulib/tables/data/ and writes the C++ sources
src/vynulib/tables/VynTables*.cpp that define the arrays declared in
src/vynulib/tables/VynTables.h. The output is deterministic (no dates, fixed
layout), so the committed sources can be compared with a fresh run.

    python3 tools/gen_tables.py              # rewrite the committed sources
    python3 tools/gen_tables.py --out DIR    # write them into DIR instead
    python3 tools/gen_tables.py --check      # exit 1 if the committed ones differ

Standard library only.
"""

import argparse
import os
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DATA_REL = "src/vynulib/tables/data"
OUT_REL = "src/vynulib/tables"
COMMAND = "python3 tools/gen_tables.py"

SBCS_NAMES = [
    "oCP1250map", "oCP1251map", "oCP1252map", "oCP1253map", "oCP1254map",
    "oCP1255map", "oCP1256map", "oCP1257map", "oCP1258map", "oCP874map",
    "o8859_1map", "o8859_2map", "o8859_3map", "o8859_4map", "o8859_5map",
    "o8859_6map", "o8859_7map", "o8859_8map", "o8859_9map", "o8859_10map",
    "o8859_11map", "o8859_13map", "o8859_14map", "o8859_15map", "o8859_16map",
    "oKOI8Rmap",
]

TYPE_NAMES = ["oCP932Type", "oCP936Type", "oCP949Type", "oCP950Type", "oBig5Type"]

# Output file -> (what it holds, [(kind, table name, data file or None)]).
# kind: sbcs    (byte, unit) pairs of unsigned short, sorted by unit
#       mbcs    (code, unit) pairs of unsigned short, sorted by code
#       mbcsex  sMBCSExTable records (code, scalar value), sorted by code
#       empty   an unsigned short map that holds its terminator only
#       range   sGBRange records (first, last, target), sorted by first
#       types   256-byte lead-byte type tables from leadbyte_types.tsv
FILES = [
    ("VynTablesSBCS.cpp", "single-byte maps",
     [("sbcs", n, "sbcs/%s.tsv" % n) for n in SBCS_NAMES]),
    ("VynTablesCJK_JP.cpp", "Japanese double-byte and EUC-JP maps",
     [("mbcs", "oCP932map", "mbcs/oCP932map.tsv"),
      ("mbcs", "oSHIFTJISmap", "mbcs/oSHIFTJISmap.tsv"),
      ("mbcs", "oJIS0208map", "mbcs/oJIS0208map.tsv"),
      ("mbcs", "oJIS0201map", "mbcs/oJIS0201map.tsv"),
      ("empty", "oJIS0212map", None)]),
    ("VynTablesSJIS2004.cpp", "the Shift_JIS-2004 map (values beyond the BMP)",
     [("mbcsex", "oSJIS0213_2004map", "mbcs/oSJIS0213_2004map.tsv")]),
    ("VynTablesCJK_CN.cpp", "Simplified Chinese maps (code page 936, GB 2312)",
     [("mbcs", "oCP936map", "mbcs/oCP936map.tsv"),
      ("mbcs", "oGB2312map", "mbcs/oGB2312map.tsv")]),
    ("VynTablesCJK_KR.cpp", "Korean maps (code page 949, KS X 1001)",
     [("mbcs", "oCP949map", "mbcs/oCP949map.tsv"),
      ("mbcs", "oKSX1001map", "mbcs/oKSX1001map.tsv")]),
    ("VynTablesCJK_TW.cpp", "the code page 950 map",
     [("mbcs", "oCP950map", "mbcs/oCP950map.tsv")]),
    ("VynTablesBig5.cpp", "the Big5 map",
     [("mbcs", "oBIG5map", "mbcs/oBIG5map.tsv")]),
    ("VynTablesGB18030.cpp", "GB18030: the two-byte map and the four-byte range tables",
     [("mbcs", "oGBKmap", "gb18030/oGBKmap.tsv"),
      ("range", "oGB2UniRange", "gb18030/oGB2UniRange.tsv"),
      ("range", "oUni2GBRange", "gb18030/oUni2GBRange.tsv")]),
    ("VynTablesTypes.cpp", "lead-byte type tables of the double-byte converters",
     [("types", n, "leadbyte_types.tsv") for n in TYPE_NAMES]),
]


class DataError(Exception):
    pass


def read_rows(path, ncols):
    """Rows of hexadecimal integers; checks the '# records: N' header if present."""
    rows, declared = [], None
    with open(path, encoding="utf-8") as f:
        for lineno, line in enumerate(f, 1):
            line = line.rstrip("\n")
            if not line:
                continue
            if line.startswith("#"):
                body = line[1:].strip()
                if body.startswith("records:"):
                    declared = int(body.split()[1])
                continue
            cols = line.split("\t")
            if len(cols) != ncols:
                raise DataError("%s:%d: expected %d columns" % (path, lineno, ncols))
            try:
                rows.append(tuple(int(c, 16) for c in cols))
            except ValueError:
                raise DataError("%s:%d: not hexadecimal" % (path, lineno))
    if declared is not None and declared != len(rows):
        raise DataError("%s: header says %d records, found %d" % (path, declared, len(rows)))
    return rows


def check_pairs(path, rows, code_max, value_max, sort_col):
    codes, values = set(), set()
    for code, value in rows:
        if not (0 < code <= code_max and 0 < value <= value_max):
            raise DataError("%s: record %X %X out of range" % (path, code, value))
        if code in codes or value in values:
            raise DataError("%s: %X or %X occurs twice" % (path, code, value))
        codes.add(code)
        values.add(value)
    keys = [r[sort_col] for r in rows]
    if keys != sorted(keys):
        raise DataError("%s: records not sorted by column %d" % (path, sort_col + 1))


def check_ranges(path, rows):
    prev_last = -1
    for first, last, target in rows:
        if not (0 < first <= last) or target == 0 or first <= prev_last:
            raise DataError("%s: range %X-%X -> %X out of order" % (path, first, last, target))
        prev_last = last


def read_types(path):
    tables = {n: [0] * 256 for n in TYPE_NAMES}
    for name_row in _type_rows(path):
        name, first, last, value = name_row
        if name not in tables or not (0 <= first <= last <= 0xFF) or value > 0xFF:
            raise DataError("%s: bad record %s" % (path, name_row))
        for b in range(first, last + 1):
            tables[name][b] = value
    return tables


def _type_rows(path):
    with open(path, encoding="utf-8") as f:
        for line in f:
            line = line.rstrip("\n")
            if not line or line.startswith("#"):
                continue
            name, first, last, value = line.split("\t")
            yield name, int(first, 16), int(last, 16), int(value, 16)


def chunks(items, n):
    for i in range(0, len(items), n):
        yield items[i:i + n]


def emit_array(comment, declaration, rows, per_line, fmt, terminator):
    """Lines for one constant array: a comment, the rows (per_line records a
    line, each formatted with fmt) and the terminating record."""
    out = ["// " + comment, declaration + " = {"]
    for part in chunks(rows, per_line):
        out.append("    " + " ".join(fmt % r for r in part))
    out += ["    " + terminator, "};"]
    return out


def emit_pairs(name, rows, kind):
    """A (code, unit) table of unsigned short, 8 records a line."""
    if kind == "sbcs":
        what = "records (byte, unit), sorted by unit"
    else:
        what = "records (code, unit), sorted by code"
    return emit_array("%s: %d %s, then (0, 0)." % (name, len(rows), what),
                      "unsigned short const %s[]" % name, rows, 8, "0x%04X,0x%04X,", "0,0")


def emit_ex(name, rows):
    return emit_array(
        "%s: %d records (code, scalar value), sorted by code, then {0, 0}." % (name, len(rows)),
        "sMBCSExTable const %s[]" % name, rows, 8, "{0x%04X,0x%05X},", "{0,0}")


def emit_ranges(name, rows):
    return emit_array(
        "%s: %d records {first, last, target}, sorted by first, then {0, 0, 0}." %
        (name, len(rows)),
        "sGBRange const %s[]" % name, rows, 4, "{0x%05X,0x%05X,0x%05X},", "{0,0,0}")


def emit_types(name, table):
    out = ["// %s: bit 0x40 lead byte, bit 0x80 trail byte; low bits: character class." % name,
           "unsigned char const %s[256] = {" % name]
    for i, part in enumerate(chunks(table, 16)):
        out.append("    " + " ".join("0x%02X," % v for v in part) + " // %02X" % (i * 16))
    out.append("};")
    return out


def render(filename, what, entries, data_dir):
    sources = sorted({d for _, _, d in entries if d})
    body = []
    types = None
    for kind, name, data in entries:
        path = os.path.join(data_dir, data) if data else None
        if kind in ("sbcs", "mbcs"):
            rows = read_rows(path, 2)
            if kind == "sbcs":
                check_pairs(path, rows, 0xFF, 0xFFFF, 1)
            else:
                check_pairs(path, rows, 0xFFFF, 0xFFFF, 0)
            body += emit_pairs(name, rows, kind)
        elif kind == "mbcsex":
            rows = read_rows(path, 2)
            check_pairs(path, rows, 0xFFFF, 0x10FFFF, 0)
            body += emit_ex(name, rows)
        elif kind == "empty":
            body += ["// %s: no records, the terminator only." % name,
                     "unsigned short const %s[] = {0,0};" % name]
        elif kind == "range":
            rows = read_rows(path, 3)
            check_ranges(path, rows)
            body += emit_ranges(name, rows)
        elif kind == "types":
            if types is None:
                types = read_types(path)
            body += emit_types(name, types[name])
        else:
            raise DataError("unknown kind " + kind)
        body.append("")
    head = ["// Generated by tools/gen_tables.py: do not edit; change the data and regenerate.",
            "// Holds %s." % what,
            "// Data (under %s/):" % DATA_REL]
    head += ["//   %s" % s for s in sources]
    head += ["// Regenerate, from the repository root: %s" % COMMAND,
             "// clang-format off",
             "",
             "#include <vynulib/tables/VynTables.h>",
             ""]
    return "\n".join(head + body).rstrip("\n") + "\n"


def generate(data_dir):
    return [(name, render(name, what, entries, data_dir)) for name, what, entries in FILES]


def main(argv):
    ap = argparse.ArgumentParser(description="Generate vynulib64's compiled mapping tables.")
    ap.add_argument("--data", default=os.path.join(ROOT, DATA_REL),
                    help="data directory (default: %s)" % DATA_REL)
    ap.add_argument("--out", default=os.path.join(ROOT, OUT_REL),
                    help="output directory (default: %s)" % OUT_REL)
    ap.add_argument("--check", action="store_true",
                    help="write nothing; exit 1 if a file in the output directory differs")
    args = ap.parse_args(argv)
    try:
        files = generate(args.data)
    except (DataError, OSError) as e:
        print("gen_tables: %s" % e, file=sys.stderr)
        return 2
    if args.check:
        stale = []
        for name, text in files:
            path = os.path.join(args.out, name)
            try:
                with open(path, encoding="utf-8", newline="") as f:
                    same = f.read() == text
            except OSError:
                same = False
            if not same:
                stale.append(name)
        for name in stale:
            print("gen_tables: %s differs from the data; run %s" % (name, COMMAND),
                  file=sys.stderr)
        return 1 if stale else 0
    os.makedirs(args.out, exist_ok=True)
    for name, text in files:
        with open(os.path.join(args.out, name), "w", encoding="utf-8", newline="\n") as f:
            f.write(text)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
