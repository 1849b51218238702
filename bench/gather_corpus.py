#!/usr/bin/env python3
"""Gather real translated text for the conversion benchmarks.

Reads the gettext catalogues that installed packages put under
/usr/share/locale/<lang>/LC_MESSAGES/*.mo, takes every translated message
(msgstr, all plural forms), and writes one UTF-8 file per language group into
the output directory: one message per line, inner newlines and tabs turned into
spaces, duplicates dropped. SOURCES.txt beside them records where the text came
from. The corpora are generated, not committed.

The benchmark picks the groups that fit each character set and re-encodes the
text itself, dropping lines that the set cannot hold.

Usage: gather_corpus.py [OUT_DIR] [--locale-dir DIR] [--max-kib N]
"""

import argparse
import codecs
import glob
import os
import re
import struct
import sys
import unicodedata

# Language group -> gettext locale directories it is drawn from. The group
# names are what bench_convert.cpp asks for.
GROUPS = {
    "ja": ["ja"],
    "zh_CN": ["zh_CN"],
    "zh_TW": ["zh_TW", "zh_HK"],
    "ko": ["ko"],
    "ru": ["ru"],
    "cyrillic": ["uk", "bg", "ru"],
    "el": ["el"],
    "th": ["th"],
    "ar": ["ar"],
    "he": ["he"],
    "tr": ["tr"],
    "vi": ["vi"],
    "western": ["fr", "de", "es", "it", "pt", "pt_BR"],
    "central": ["pl", "cs", "hu", "sk", "sl", "hr"],
    "baltic": ["lt", "lv", "et"],
    "nordic": ["da", "sv", "nb", "nn", "fi", "is"],
    "celtic": ["ga", "cy", "gd"],
    "south": ["eo", "mt"],
    "ro": ["ro"],
}

MO_MAGIC_LE = 0x950412DE


def parse_mo(data):
    """Return the list of msgstr byte strings of a .mo file, and its charset."""
    if len(data) < 28:
        return [], None
    magic = struct.unpack_from("<I", data, 0)[0]
    if magic == MO_MAGIC_LE:
        end = "<"
    elif struct.unpack_from(">I", data, 0)[0] == MO_MAGIC_LE:
        end = ">"
    else:
        return [], None
    _rev, count, orig_off, trans_off = struct.unpack_from(end + "4I", data, 4)
    # A damaged catalogue must not take the whole run down.
    if trans_off + 8 * count > len(data) or orig_off + 8 * count > len(data):
        return [], None
    charset = None
    out = []
    for i in range(count):
        olen, ooff = struct.unpack_from(end + "2I", data, orig_off + 8 * i)
        tlen, toff = struct.unpack_from(end + "2I", data, trans_off + 8 * i)
        if toff + tlen > len(data) or ooff + olen > len(data):
            continue
        msgstr = data[toff:toff + tlen]
        if olen == 0:
            # The header entry: only its charset is of interest.
            m = re.search(rb"charset=([A-Za-z0-9_.:-]+)", msgstr)
            if m:
                charset = m.group(1).decode("ascii", "replace")
            continue
        out.extend(p for p in msgstr.split(b"\0") if p)
    return out, charset


def split_tones(text, codec="cp1258"):
    """Vietnamese as a code page with combining tone marks holds it: letters
    keep the accents that the code page has precomposed (circumflex, breve,
    horn) and the tone marks follow as combining characters."""
    out = []
    base, marks = None, []

    def flush():
        if base is None:
            out.extend(marks)
            return
        letter, rest = base, []
        for m in marks:
            # Marks of different classes commute, so any of them may fold
            # into the letter when the code page has the result.
            cand = unicodedata.normalize("NFC", letter + m)
            if len(cand) == 1:
                try:
                    cand.encode(codec)
                    letter = cand
                    continue
                except UnicodeEncodeError:
                    pass
            rest.append(m)
        out.append(letter)
        out.extend(rest)

    for ch in unicodedata.normalize("NFD", text):
        if unicodedata.combining(ch):
            marks.append(ch)
            continue
        flush()
        base, marks = ch, []
    flush()
    return "".join(out)


def clean(text):
    text = re.sub(r"[\r\n\t\v\f]+", " ", text)
    text = "".join(c for c in text if c >= " " and c != "\x7f")
    return text.strip()


def gather_group(locale_dir, langs, max_bytes):
    lines, seen, sources, total = [], set(), [], 0
    # Round-robin over the catalogues of all the group's languages, so a cap
    # still leaves a mix of languages and programs.
    files = []
    for lang in langs:
        files.extend(sorted(glob.glob(os.path.join(locale_dir, lang, "LC_MESSAGES", "*.mo"))))
    per_file = []
    for path in files:
        try:
            with open(path, "rb") as f:
                msgs, charset = parse_mo(f.read())
        except OSError:
            continue
        enc = (charset or "UTF-8").upper()
        if enc in ("CHARSET", "ASCII", "ANSI_X3.4-1968"):
            enc = "UTF-8"
        try:
            codecs.lookup(enc)
        except LookupError:
            continue
        texts = []
        for m in msgs:
            try:
                t = clean(m.decode(enc))
            except UnicodeDecodeError:
                continue
            if t:
                texts.append(t)
        if texts:
            per_file.append((path, texts))
    used = {}
    idx = 0
    while per_file and total < max_bytes:
        progressed = False
        for path, texts in per_file:
            if idx < len(texts):
                progressed = True
                t = texts[idx]
                if t in seen:
                    continue
                seen.add(t)
                lines.append(t)
                used[path] = used.get(path, 0) + 1
                total += len(t.encode("utf-8")) + 1
                if total >= max_bytes:
                    break
        if not progressed:
            break
        idx += 1
    sources = sorted(used.items())
    return lines, sources


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("out_dir", nargs="?", default=None,
                    help="output directory (default: ./build-bench/bench/corpus)")
    ap.add_argument("--locale-dir", default="/usr/share/locale")
    ap.add_argument("--max-kib", type=int, default=1024,
                    help="cap per language group, in KiB of UTF-8 (default 1024)")
    args = ap.parse_args()
    out_dir = args.out_dir or os.path.join(os.getcwd(), "build-bench", "bench", "corpus")
    os.makedirs(out_dir, exist_ok=True)

    summary = []
    with open(os.path.join(out_dir, "SOURCES.txt"), "w", encoding="utf-8") as src:
        src.write("Text gathered by gather_corpus.py from the translated messages (msgstr)\n"
                  "of the gettext catalogues installed under %s.\n"
                  "Each catalogue keeps the licence of the package that installed it;\n"
                  "these files are generated for local benchmarking and not distributed.\n\n"
                  % args.locale_dir)
        for group, langs in GROUPS.items():
            lines, sources = gather_group(args.locale_dir, langs, args.max_kib * 1024)
            path = os.path.join(out_dir, group + ".txt")
            with open(path, "w", encoding="utf-8", newline="\n") as f:
                for t in lines:
                    f.write(t + "\n")
            size = os.path.getsize(path)
            summary.append((group, len(lines), size))
            if group == "vi":
                # The same text with separate tone marks, for the code page
                # that writes Vietnamese that way.
                dpath = os.path.join(out_dir, "vi_tones.txt")
                with open(dpath, "w", encoding="utf-8", newline="\n") as f:
                    for t in lines:
                        f.write(split_tones(t) + "\n")
                summary.append(("vi_tones", len(lines), os.path.getsize(dpath)))
            src.write("[%s] %d lines, %d bytes, from %d catalogues:\n"
                      % (group, len(lines), size, len(sources)))
            for p, n in sources:
                src.write("  %s (%d messages)\n" % (p, n))
    for group, n, size in summary:
        print("%-10s %7d lines %9d bytes" % (group, n, size))
    if any(n == 0 for _, n, _ in summary):
        print("warning: some groups found no text; sets fed only by them are skipped by the benchmark",
              file=sys.stderr)
    print("corpus written to", out_dir)


if __name__ == "__main__":
    main()
