// The reference data behind the compiled tables, read at test time, so the
// converters are checked against something other than the arrays they use.
#ifndef VYNULIB_TESTS_CONVERTER_DATA_H
#define VYNULIB_TESTS_CONVERTER_DATA_H

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vynulib/converters/VynCharSetConverterMBCS.h>
#include <vynulib/converters/VynCharSetConverterSBCS.h>
#include <vynulib/converters/VynCharSetConverterUTF16.h>
#include <vynulib/converters/VynCharSetConverterUTF32.h>
#include <vynulib/converters/VynCharSetConverterUTF8.h>
#include <vynulib/internal/VynCatalogue.h>
#include <vynulib/internal/VynTables.h>

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

// A fresh converter for a served set, built as the library builds its own.
inline std::unique_ptr<VynCharSetConverter> freshConverter(VynCharSet cs) {
#define VYN_FRESH(id, cls, args)                                                                   \
    if (cs == VYNCS_##id)                                                                          \
        return std::unique_ptr<VynCharSetConverter>(new VynCharSetConverter##cls args);
    VYN_CATALOGUE_SERVED(VYN_FRESH)
#undef VYN_FRESH
    return nullptr;
}

// A served set with the names of its map and lead-byte type table.
struct TableSet {
    VynCharSet cs;
    std::string map, type;
    bool wide; // values beyond the BMP
};

inline void PrintTo(TableSet const& s, std::ostream* os) {
    *os << s.map;
}

// The served sets of the given families, in construction order.
inline std::vector<TableSet> tableSets(std::initializer_list<vyn::catalogue::Family> families) {
    std::vector<TableSet> out;
    for (VynCharSet cs : vyn::catalogue::kServed) {
        auto const* e = vyn::catalogue::find(cs);
        for (auto f : families)
            if (e->family == f) {
                std::istringstream t(e->tables);
                TableSet s{cs, "", "", f == vyn::catalogue::Family::DBCSEx};
                t >> s.map >> s.type;
                out.push_back(s);
            }
    }
    return out;
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
