// The reference data behind the compiled tables, read at test time, so the
// converters are checked against something other than the arrays they use.
#ifndef VYNULIB_TESTS_CONVERTER_DATA_H
#define VYNULIB_TESTS_CONVERTER_DATA_H

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vynulib/converters/VynCharSetConverterMBCS.h>
#include <vynulib/tables/VynTables.h>

#include "utf_test_support.h"

struct MapRecord {
    unsigned code;
    unsigned unicode;
};

inline std::string dataPath(std::string const& rel) {
    return std::string(VYN_SOURCE_DIR "/src/vynulib/tables/data/") + rel;
}

// "code<TAB>unicode" lines in hexadecimal; '#' lines are comments. Empty when
// the file is missing.
inline std::vector<MapRecord> readMapData(std::string const& rel) {
    std::vector<MapRecord> out;
    std::ifstream in(dataPath(rel));
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream f(line);
        MapRecord r{};
        f >> std::hex >> r.code >> r.unicode;
        if (f) out.push_back(r);
    }
    return out;
}

// The lead-byte type table `name` from its ranges; all zero when unknown.
inline std::array<unsigned char, 256> readTypeTable(std::string const& name) {
    std::array<unsigned char, 256> t{};
    std::ifstream in(dataPath("leadbyte_types.tsv"));
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream f(line);
        std::string table;
        unsigned first = 0, last = 0, type = 0;
        f >> table >> std::hex >> first >> last >> type;
        if (!f || table != name) continue;
        for (unsigned b = first; b <= last && b < 256; ++b) t[b] = static_cast<unsigned char>(type);
    }
    return t;
}

struct Range {
    unsigned first, last, target;
};

// "first<TAB>last<TAB>target" lines in hexadecimal.
inline std::vector<Range> readRanges(std::string const& rel) {
    std::vector<Range> out;
    std::ifstream in(dataPath(rel));
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream f(line);
        Range r{};
        f >> std::hex >> r.first >> r.last >> r.target;
        if (f) out.push_back(r);
    }
    return out;
}

// "U+%04X" of each unit, as the converters escape it.
inline std::string escapeOf(std::initializer_list<unsigned> units) {
    std::string s;
    char buf[16];
    for (unsigned u : units) {
        std::snprintf(buf, sizeof buf, "U+%04X", u);
        s += buf;
    }
    return s;
}

// The 26 single-byte maps and the 7 double-byte sets, as the tests build them.
struct SbcsSet {
    char const* name;
    unsigned short const* map;
    VynCharSet cs;
};

inline SbcsSet const kSbcsSets[] = {
    {"oCP1250map", oCP1250map, VYNCS_WCP1250},
    {"oCP1251map", oCP1251map, VYNCS_WCP1251},
    {"oCP1252map", oCP1252map, VYNCS_WCP1252},
    {"oCP1253map", oCP1253map, VYNCS_WCP1253},
    {"oCP1254map", oCP1254map, VYNCS_WCP1254},
    {"oCP1255map", oCP1255map, VYNCS_WCP1255},
    {"oCP1256map", oCP1256map, VYNCS_WCP1256},
    {"oCP1257map", oCP1257map, VYNCS_WCP1257},
    {"oCP1258map", oCP1258map, VYNCS_WCP1258},
    {"oCP874map", oCP874map, VYNCS_WCP874},
    {"o8859_1map", o8859_1map, VYNCS_ISO_8859_1},
    {"o8859_2map", o8859_2map, VYNCS_ISO_8859_2},
    {"o8859_3map", o8859_3map, VYNCS_ISO_8859_3},
    {"o8859_4map", o8859_4map, VYNCS_ISO_8859_4},
    {"o8859_5map", o8859_5map, VYNCS_ISO_8859_5},
    {"o8859_6map", o8859_6map, VYNCS_ISO_8859_6},
    {"o8859_7map", o8859_7map, VYNCS_ISO_8859_7},
    {"o8859_8map", o8859_8map, VYNCS_ISO_8859_8},
    {"o8859_9map", o8859_9map, VYNCS_ISO_8859_9},
    {"o8859_10map", o8859_10map, VYNCS_ISO_8859_10},
    {"o8859_11map", o8859_11map, VYNCS_ISO_8859_11},
    {"o8859_13map", o8859_13map, VYNCS_ISO_8859_13},
    {"o8859_14map", o8859_14map, VYNCS_ISO_8859_14},
    {"o8859_15map", o8859_15map, VYNCS_ISO_8859_15},
    {"o8859_16map", o8859_16map, VYNCS_ISO_8859_16},
    {"oKOI8Rmap", oKOI8Rmap, VYNCS_KOI8R},
};

inline void PrintTo(SbcsSet const& s, std::ostream* os) {
    *os << s.name;
}

struct DbcsSet {
    char const* data; // mbcs/<data>.tsv
    char const* typeName;
    VynCharSet cs;
    unsigned short const* map; // null for the extended form
    sMBCSExTable const* exMap;
    unsigned char const* type;
};

inline DbcsSet const kDbcsSets[] = {
    {"oCP932map", "oCP932Type", VYNCS_WCP932, oCP932map, nullptr, oCP932Type},
    {"oCP936map", "oCP936Type", VYNCS_WCP936, oCP936map, nullptr, oCP936Type},
    {"oCP949map", "oCP949Type", VYNCS_WCP949, oCP949map, nullptr, oCP949Type},
    {"oCP950map", "oCP950Type", VYNCS_WCP950, oCP950map, nullptr, oCP950Type},
    {"oSHIFTJISmap", "oCP932Type", VYNCS_SHIFTJIS, oSHIFTJISmap, nullptr, oCP932Type},
    {"oSJIS0213_2004map", "oCP932Type", VYNCS_SJIS0213, nullptr, oSJIS0213_2004map, oCP932Type},
    {"oBIG5map", "oBig5Type", VYNCS_BIG5, oBIG5map, nullptr, oBig5Type},
};

inline void PrintTo(DbcsSet const& s, std::ostream* os) {
    *os << s.data;
}

using Bytes = std::vector<unsigned char>;
using Units = std::vector<unsigned short>;

inline ILLCHAR_OPTYPE const kOps[] = {ILLCHAR_STOP, ILLCHAR_REPLACE, ILLCHAR_ESCAPE};

struct Decoded {
    Units units;
    bool flag;
};
struct Encoded {
    Bytes bytes;
    bool flag;
};

// One conversion into `room` units (bytes) of room: the terminator must be
// there and nothing written behind room plus terminator.
// `flag` goes in as given, so that a flag never written shows.
inline Decoded decode(VynCharSetConverter& c, Bytes src, ILLCHAR_OPTYPE op, unsigned long room = 16,
                      int maxSrc = -1, bool flag = false) {
    src.push_back(0);
    Guarded<unsigned short> dst(room + 1);
    unsigned long n = c.toUTF16(dst.data(), src.data(), room, op, &flag, maxSrc);
    EXPECT_LE(n, room);
    n = std::min(n, room);
    EXPECT_EQ(dst[n], 0);
    EXPECT_TRUE(dst.canariesIntact());
    return {dst.head(n), flag};
}

inline Encoded encode(VynCharSetConverter& c, Units src, ILLCHAR_OPTYPE op, unsigned long room = 32,
                      bool flag = false) {
    src.push_back(0);
    Guarded<unsigned char> dst(room + 1);
    unsigned long n = c.fromUTF16(dst.data(), src.data(), room, op, &flag);
    EXPECT_LE(n, room);
    n = std::min(n, room);
    EXPECT_EQ(dst[n], 0);
    EXPECT_TRUE(dst.canariesIntact());
    return {dst.head(n), flag};
}

// One character decoded to scalar value v (0: unconvertible).
inline ::testing::AssertionResult decodesTo(Decoded const& got, unsigned v, ILLCHAR_OPTYPE op) {
    Units want = v ? utf16Of(v) : op != ILLCHAR_STOP ? Units{0xFFFD} : Units{};
    if (got.units != want || got.flag != (v == 0))
        return ::testing::AssertionFailure() << "got [" << hex(got.units) << "] flag " << got.flag
                                             << ", want [" << hex(want) << "] (op " << op << ")";
    return ::testing::AssertionSuccess();
}

// The bytes `src` encodes to: `mapped`, or for an unconvertible character
// (`mapped` empty) '?', its escape or nothing by the option. Each branch
// builds its own vector: assigning over a copy of `mapped` made g++ 12 -O3
// warn about freeing a non-heap pointer.
inline Bytes expectedBytes(Bytes const& mapped, Units const& src, ILLCHAR_OPTYPE op) {
    if (!mapped.empty()) return mapped;
    if (op == ILLCHAR_REPLACE) return Bytes(1, '?');
    if (op == ILLCHAR_ESCAPE)
        return bytesOf(src.size() == 2 ? escapeOf({src[0], src[1]}) : escapeOf({src[0]}));
    return Bytes();
}

// One character encoded to `mapped` (empty: unconvertible).
inline ::testing::AssertionResult encodesTo(Encoded const& got, Bytes const& mapped,
                                            Units const& src, ILLCHAR_OPTYPE op) {
    Bytes const want = expectedBytes(mapped, src, op);
    if (got.bytes != want || got.flag != mapped.empty())
        return ::testing::AssertionFailure()
               << "[" << hex(src) << "]: got [" << hex(got.bytes) << "] flag " << got.flag
               << ", want [" << hex(want) << "] (op " << op << ")";
    return ::testing::AssertionSuccess();
}

#endif
