#!/usr/bin/env python3
"""Generate the compiled mapping tables of vynulib64.

Reads the catalogue of character sets (src/vynulib/tables/data/charsets.tsv)
and the mapping data beside it, and writes:
  src/vynulib/tables/VynTables*.cpp           the compiled tables
  src/vynulib/internal/VynTables.h            their declarations
  src/vynulib/charset/VynCharSetValues.h      the VynCharSet enumeration
  src/vynulib/internal/VynCatalogue.h         the catalogue as constexpr lists
  src/vynulib/internal/VynConverterObjects.inc  the static converters and the
                                              registry's insertion orders
The output is deterministic (no dates, fixed layout), so the committed sources
can be compared with a fresh run.

    python3 tools/gen_tables.py              # rewrite the committed sources
    python3 tools/gen_tables.py --out DIR    # write them under DIR instead
    python3 tools/gen_tables.py --check      # exit 1 if the committed ones differ

Standard library only.
"""

import argparse
import os
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DATA_REL = "src/vynulib/tables/data"
COMMAND = "python3 tools/gen_tables.py"

CATALOGUE = "charsets.tsv"

# Converter classes (without the "VynCharSetConverter" prefix) and how many
# compiled tables each constructor takes.
CLASS_TABLES = {"SBCS": 1, "DBCS": 2, "DBCSEx": 2, "EUC_CN_KR": 1, "EUC_JP": 3,
                "GB18030": 1, "UTF8": 0, "UTF16": 0, "UTF16Esc": 0, "UTF32": 0}

# Where each multibyte table goes (file -> (what it holds, [(kind, table)]));
# the single-byte maps all go to VynTablesSBCS.cpp, in construction order.
# kind: sbcs    (byte, unit) pairs of unsigned short, sorted by unit
#       mbcs    (code, unit) pairs of unsigned short, sorted by code
#       mbcsex  sMBCSExTable records (code, scalar value), sorted by code
#       empty   an unsigned short map that holds its terminator only
#       range   sGBRange records (first, last, target), sorted by first
#       types   256-byte lead-byte type tables from leadbyte_types.tsv
MBCS_FILES = [
    ("VynTablesCJK_JP.cpp", "Japanese double-byte and EUC-JP maps",
     [("mbcs", "oCP932map"), ("mbcs", "oSHIFTJISmap"), ("mbcs", "oJIS0208map"),
      ("mbcs", "oJIS0201map"), ("empty", "oJIS0212map")]),
    ("VynTablesSJIS2004.cpp", "the Shift_JIS-2004 map (values beyond the BMP)",
     [("mbcsex", "oSJIS0213_2004map")]),
    ("VynTablesCJK_CN.cpp", "Simplified Chinese maps (code page 936, GB 2312)",
     [("mbcs", "oCP936map"), ("mbcs", "oGB2312map")]),
    ("VynTablesCJK_KR.cpp", "Korean maps (code page 949, KS X 1001)",
     [("mbcs", "oCP949map"), ("mbcs", "oKSX1001map")]),
    ("VynTablesCJK_TW.cpp", "the code page 950 map", [("mbcs", "oCP950map")]),
    ("VynTablesBig5.cpp", "the Big5 map", [("mbcs", "oBIG5map")]),
    ("VynTablesGB18030.cpp", "GB18030: the two-byte map and the four-byte range tables",
     [("mbcs", "oGBKmap"), ("range", "oGB2UniRange"), ("range", "oUni2GBRange")]),
]

# Data file of a table by kind.
KIND_DIR = {"sbcs": "sbcs", "mbcs": "mbcs", "mbcsex": "mbcs"}
# The C++ declaration of a table by kind.
KIND_DECL = {"sbcs": "unsigned short const %s[]", "mbcs": "unsigned short const %s[]",
             "empty": "unsigned short const %s[]", "mbcsex": "sMBCSExTable const %s[]",
             "range": "sGBRange const %s[]", "types": "unsigned char const %s[256]"}


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


def read_types(path, names):
    tables = {n: [0] * 256 for n in names}
    for name_row in _type_rows(path):
        name, first, last, value = name_row
        if not (0 <= first <= last <= 0xFF) or value > 0xFF:
            raise DataError("%s: bad record %s" % (path, name_row))
        if name not in tables:
            continue
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


GENERATED = "// Generated by tools/gen_tables.py: do not edit; change the data and regenerate."


class Row:
    def __init__(self, cols, where):
        self.name, value, build, insert, names, self.cls, tables, aliases = cols
        self.where = where
        try:
            self.value = int(value)
            self.build, self.insert, self.names = (None if c == "-" else int(c)
                                                   for c in (build, insert, names))
        except ValueError:
            raise DataError("%s: not a number" % where)
        self.cls = None if self.cls == "-" else self.cls
        self.tables = [] if tables == "-" else tables.split()
        self.aliases = "" if aliases == "-" else " ".join(aliases.split())
        self.id = self.name[len("VYNCS_"):]


def read_catalogue(data_dir):
    """The rows of charsets.tsv, checked: unique names and values, every place
    in each order taken once, tables as the class needs them."""
    path = os.path.join(data_dir, CATALOGUE)
    rows = []
    with open(path, encoding="utf-8") as f:
        for lineno, line in enumerate(f, 1):
            line = line.rstrip("\n")
            if not line or line.startswith("#"):
                continue
            cols = line.split("\t")
            where = "%s:%d" % (path, lineno)
            if len(cols) != 8:
                raise DataError("%s: expected 8 columns" % where)
            rows.append(Row(cols, where))
    for a, b in zip(rows, rows[1:]):
        if a.value >= b.value:
            raise DataError("%s: values not in increasing order" % b.where)
    seen = set()
    for r in rows:
        if not r.name.startswith("VYNCS_") or r.name in seen:
            raise DataError("%s: bad or repeated name %s" % (r.where, r.name))
        seen.add(r.name)
        served = r.cls is not None
        if served and r.cls not in CLASS_TABLES:
            raise DataError("%s: unknown class %s" % (r.where, r.cls))
        if served != (r.build is not None) or served != (r.insert is not None) or \
           r.names is None:
            raise DataError("%s: a served set needs build and insert places, every set "
                            "a names place" % r.where)
        if served and len(r.tables) != CLASS_TABLES[r.cls]:
            raise DataError("%s: class %s takes %d tables" % (r.where, r.cls,
                                                               CLASS_TABLES[r.cls]))
        if not served and r.tables:
            raise DataError("%s: a set without converter has no tables" % r.where)
    served = [r for r in rows if r.cls]
    for key, among in (("build", served), ("insert", served), ("names", rows)):
        places = sorted(getattr(r, key) for r in among)
        if places != list(range(1, len(among) + 1)):
            raise DataError("%s: the %s places are not 1..%d, each once" %
                            (path, key, len(among)))
    return rows


def in_order(rows, key):
    return sorted((r for r in rows if getattr(r, key) is not None), key=lambda r: getattr(r, key))


def table_files(rows):
    """[(file, what, [(kind, table)])]: the single-byte maps of the catalogue,
    the multibyte files, and the lead-byte type tables the catalogue names."""
    built = in_order(rows, "build")
    sbcs = [("sbcs", r.tables[0]) for r in built if r.cls == "SBCS"]
    types = []
    for r in built:
        if r.cls in ("DBCS", "DBCSEx") and r.tables[1] not in types:
            types.append(r.tables[1])
    files = [("VynTablesSBCS.cpp", "single-byte maps", sbcs)] + MBCS_FILES + \
        [("VynTablesTypes.cpp", "lead-byte type tables of the double-byte converters",
          [("types", t) for t in types])]
    emitted = [t for _, _, entries in files for _, t in entries]
    for r in built:
        for t in r.tables:
            if t not in emitted:
                raise DataError("%s: no file emits table %s (see MBCS_FILES)" % (r.where, t))
    return files


def render_tables(filename, what, entries, data_dir):
    def data_of(kind, name):
        if kind == "range":
            return "gb18030/%s.tsv" % name
        if kind == "mbcs" and name == "oGBKmap":
            return "gb18030/%s.tsv" % name
        if kind == "types":
            return "leadbyte_types.tsv"
        return "%s/%s.tsv" % (KIND_DIR[kind], name) if kind in KIND_DIR else None

    sources = sorted({data_of(k, n) for k, n in entries if data_of(k, n)})
    body = []
    types = None
    for kind, name in entries:
        data = data_of(kind, name)
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
                types = read_types(path, [n for k, n in entries if k == "types"])
            body += emit_types(name, types[name])
        else:
            raise DataError("unknown kind " + kind)
        body.append("")
    head = [GENERATED,
            "// Holds %s." % what,
            "// Data (under %s/):" % DATA_REL]
    head += ["//   %s" % s for s in sources]
    head += ["// Regenerate, from the repository root: %s" % COMMAND,
             "// clang-format off",
             "",
             "#include <vynulib/internal/VynTables.h>",
             ""]
    return "\n".join(head + body).rstrip("\n") + "\n"


def text_of(lines):
    return "\n".join(lines).rstrip("\n") + "\n"


def render_table_header(files):
    out = [GENERATED,
           "// The compiled mapping tables and lead-byte type tables (internal), defined",
           "// in the generated VynTables*.cpp. Single-byte maps are records (byte, unit),",
           "// multibyte maps (code, unit), both ended by (0, 0).",
           "#ifndef VYNULIB_INTERNAL_VYNTABLES_H",
           "#define VYNULIB_INTERNAL_VYNTABLES_H",
           "",
           "#include <vynulib/tables/VynTableRecords.h>",
           ""]
    for filename, what, entries in files:
        out.append("// %s: %s" % (filename, what))
        out += ["extern " + KIND_DECL[kind] % name + ";" for kind, name in entries]
        out.append("")
    out.append("#endif")
    return text_of(out)


def render_values(rows):
    out = [GENERATED,
           "// From src/vynulib/tables/data/charsets.tsv. Included by VynCharSet.h.",
           "#ifndef VYNULIB_CHARSET_VYNCHARSETVALUES_H",
           "#define VYNULIB_CHARSET_VYNCHARSETVALUES_H",
           "",
           "// The values are the sets' code-page numbers, so a caller holding such a number",
           "// can pass it straight through. Any other int value may be cast to VynCharSet:",
           "// it is served by the UTF-8 converter and prints as \"VYNCS_OS_DEFAULT\".",
           "// There is no ISO 8859-12 (28602).",
           "enum VynCharSet : int {"]
    out += ["    %s = %d," % (r.name, r.value) for r in rows]
    out += ["};", "", "#endif"]
    return text_of(out)


def render_catalogue(rows):
    classes = ["None"] + list(CLASS_TABLES)
    served = in_order(rows, "build")
    out = [GENERATED,
           "// The catalogue of character sets (internal), from",
           "// src/vynulib/tables/data/charsets.tsv: what the tools, tests, fuzzers and",
           "// benchmarks iterate over. Header-only, so a program linked against the shared",
           "// library may use it.",
           "#ifndef VYNULIB_INTERNAL_VYNCATALOGUE_H",
           "#define VYNULIB_INTERNAL_VYNCATALOGUE_H",
           "",
           "#include <cstddef>",
           "",
           "#include <vynulib/charset/VynCharSet.h>",
           "",
           "namespace vyn {",
           "namespace catalogue {",
           "",
           "// The converter class serving a set (None: named only).",
           "enum class Family : unsigned char { %s };" % ", ".join(classes),
           "inline constexpr std::size_t kFamilyCount = %d; // None included" % len(classes),
           "",
           "struct Entry {",
           "    VynCharSet cs;",
           "    char const* name;     // \"VYNCS_WCP932\"",
           "    Family family;",
           "    char const* aliases;  // space-separated, for vynconv",
           "    char const* tables;   // the compiled tables its converter is built from",
           "};",
           "",
           "// Every named value, in numeric order.",
           "inline constexpr Entry kNamed[] = {"]
    out += ["    {%s, \"%s\", Family::%s, \"%s\", \"%s\"}," %
            (r.name, r.name, r.cls or "None", r.aliases, " ".join(r.tables)) for r in rows]
    out += ["};",
            "",
            "// The served sets, in the order their converters are constructed.",
            "inline constexpr VynCharSet kServed[] = {"]
    out += ["    %s," % r.name for r in served]
    out += ["};",
            "",
            "inline constexpr std::size_t kNamedCount = %d;" % len(rows),
            "inline constexpr std::size_t kServedCount = %d;" % len(served),
            "static_assert(sizeof kNamed / sizeof kNamed[0] == kNamedCount, \"catalogue rows\");",
            "static_assert(sizeof kServed / sizeof kServed[0] == kServedCount, \"served rows\");",
            "",
            "// X(id, class, constructor arguments) for each served set, in construction",
            "// order: VYNCS_<id> is served by VynCharSetConverter<class>. Expanding it",
            "// needs the table declarations of VynTables.h.",
            "#define VYN_CATALOGUE_SERVED(X) \\"]
    out += ["    X(%s, %s, (%s)) \\" % (r.id, r.cls, ", ".join(r.tables + [r.name])) for r in served]
    out += ["",
            "// The row of cs, or null for a value without a name.",
            "constexpr Entry const* find(VynCharSet cs) {",
            "    for (Entry const& e : kNamed)",
            "        if (e.cs == cs) return &e;",
            "    return nullptr;",
            "}",
            "",
            "} // namespace catalogue",
            "} // namespace vyn",
            "",
            "#endif"]
    return text_of(out)


def render_objects(rows):
    served = in_order(rows, "build")
    out = [GENERATED,
           "// From src/vynulib/tables/data/charsets.tsv. Included once, by VynCharSet.cpp:",
           "// the static converter objects in construction order (destroyed in reverse,",
           "// after the registry, which that file defines last), then the order in",
           "// which the registry inserts them and the order in which it inserts the",
           "// names. The converters' addresses are link-time constants, so the lists",
           "// are usable before dynamic initialisation.",
           "// clang-format off",
           ""]
    for r in served:
        args = ", ".join(r.tables + [r.name])
        out.append("static VynCharSetConverter%s g_oConverter%s(%s);" % (r.cls, r.id, args))
    out += ["", "RegisteredConverter const kRegistered[] = {"]
    out += ["    {%s, &g_oConverter%s}," % (r.name, r.id) for r in in_order(rows, "insert")]
    out += ["};", "", "CharSetName const kNames[] = {"]
    out += ["    {%s, \"%s\"}," % (r.name, r.name) for r in in_order(rows, "names")]
    out += ["};"]
    return text_of(out)


def generate(data_dir):
    """[(path relative to the repository root, text)]."""
    rows = read_catalogue(data_dir)
    files = table_files(rows)
    out = [("src/vynulib/tables/" + name, render_tables(name, what, entries, data_dir))
           for name, what, entries in files]
    out += [("src/vynulib/internal/VynTables.h", render_table_header(files)),
            ("src/vynulib/charset/VynCharSetValues.h", render_values(rows)),
            ("src/vynulib/internal/VynCatalogue.h", render_catalogue(rows)),
            ("src/vynulib/internal/VynConverterObjects.inc", render_objects(rows))]
    return out


def main(argv):
    ap = argparse.ArgumentParser(description="Generate vynulib64's compiled mapping tables.")
    ap.add_argument("--data", default=os.path.join(ROOT, DATA_REL),
                    help="data directory (default: %s)" % DATA_REL)
    ap.add_argument("--out", default=ROOT,
                    help="root to write under (default: the repository)")
    ap.add_argument("--check", action="store_true",
                    help="write nothing; exit 1 if a file under the root differs")
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
    for name, text in files:
        path = os.path.join(args.out, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8", newline="\n") as f:
            f.write(text)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
