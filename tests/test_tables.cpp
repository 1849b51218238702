// Invariants of the compiled mapping tables, read straight from the arrays.
// That they hold exactly the data files is the tables_regenerate test.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <vynulib/internal/VynTables.h>

#include "converter_data.h"

namespace {

using Pairs = std::vector<std::pair<unsigned, unsigned>>;

// No table has this many records: walking further means the terminator is missing.
constexpr size_t kMaxRecords = 0x10000;

template <class Rec>
Pairs recordsOf(Rec const* t, unsigned (*code)(Rec const*, size_t),
                unsigned (*value)(Rec const*, size_t)) {
    Pairs out;
    for (size_t i = 0; i < kMaxRecords; ++i) {
        if (code(t, i) == 0 && value(t, i) == 0) return out;
        out.emplace_back(code(t, i), value(t, i));
    }
    ADD_FAILURE() << "no (0, 0) terminator";
    return out;
}

Pairs records(unsigned short const* t) {
    return recordsOf<unsigned short>(
        t, [](unsigned short const* p, size_t i) -> unsigned { return p[2 * i]; },
        [](unsigned short const* p, size_t i) -> unsigned { return p[2 * i + 1]; });
}

Pairs records(sMBCSExTable const* t) {
    return recordsOf<sMBCSExTable>(
        t, [](sMBCSExTable const* p, size_t i) { return p[i].code; },
        [](sMBCSExTable const* p, size_t i) { return p[i].unicode; });
}

std::vector<sGBRange> ranges(sGBRange const* t) {
    std::vector<sGBRange> out;
    for (size_t i = 0; i < kMaxRecords && (t[i].first || t[i].last || t[i].target); ++i)
        out.push_back(t[i]);
    return out;
}

enum Shape { SBCS, DBCS, GRID94 };

struct MapCase {
    char const* name;
    unsigned short const* table;
    Shape shape;
    size_t count;
    size_t singles;            // records with a one-byte code
    unsigned char const* type; // lead-byte type table of its converter, if any
    size_t trailNotTrail;      // two-byte codes whose second byte is no trail byte
    char const* data;          // data file under src/vynulib/tables/data, if any
};

MapCase const kMaps[] = {
    {"oCP1250map", oCP1250map, SBCS, 255, 255, nullptr, 0, "sbcs/oCP1250map.tsv"},
    {"oCP1251map", oCP1251map, SBCS, 255, 255, nullptr, 0, "sbcs/oCP1251map.tsv"},
    {"oCP1252map", oCP1252map, SBCS, 255, 255, nullptr, 0, "sbcs/oCP1252map.tsv"},
    {"oCP1253map", oCP1253map, SBCS, 253, 253, nullptr, 0, "sbcs/oCP1253map.tsv"},
    {"oCP1254map", oCP1254map, SBCS, 255, 255, nullptr, 0, "sbcs/oCP1254map.tsv"},
    {"oCP1255map", oCP1255map, SBCS, 244, 244, nullptr, 0, "sbcs/oCP1255map.tsv"},
    {"oCP1256map", oCP1256map, SBCS, 255, 255, nullptr, 0, "sbcs/oCP1256map.tsv"},
    {"oCP1257map", oCP1257map, SBCS, 253, 253, nullptr, 0, "sbcs/oCP1257map.tsv"},
    {"oCP1258map", oCP1258map, SBCS, 255, 255, nullptr, 0, "sbcs/oCP1258map.tsv"},
    {"oCP874map", oCP874map, SBCS, 218, 218, nullptr, 0, "sbcs/oCP874map.tsv"},
    {"o8859_1map", o8859_1map, SBCS, 255, 255, nullptr, 0, "sbcs/o8859_1map.tsv"},
    {"o8859_2map", o8859_2map, SBCS, 255, 255, nullptr, 0, "sbcs/o8859_2map.tsv"},
    {"o8859_3map", o8859_3map, SBCS, 248, 248, nullptr, 0, "sbcs/o8859_3map.tsv"},
    {"o8859_4map", o8859_4map, SBCS, 255, 255, nullptr, 0, "sbcs/o8859_4map.tsv"},
    {"o8859_5map", o8859_5map, SBCS, 255, 255, nullptr, 0, "sbcs/o8859_5map.tsv"},
    {"o8859_6map", o8859_6map, SBCS, 210, 210, nullptr, 0, "sbcs/o8859_6map.tsv"},
    {"o8859_7map", o8859_7map, SBCS, 252, 252, nullptr, 0, "sbcs/o8859_7map.tsv"},
    {"o8859_8map", o8859_8map, SBCS, 219, 219, nullptr, 0, "sbcs/o8859_8map.tsv"},
    {"o8859_9map", o8859_9map, SBCS, 255, 255, nullptr, 0, "sbcs/o8859_9map.tsv"},
    {"o8859_10map", o8859_10map, SBCS, 255, 255, nullptr, 0, "sbcs/o8859_10map.tsv"},
    {"o8859_11map", o8859_11map, SBCS, 247, 247, nullptr, 0, "sbcs/o8859_11map.tsv"},
    {"o8859_13map", o8859_13map, SBCS, 255, 255, nullptr, 0, "sbcs/o8859_13map.tsv"},
    {"o8859_14map", o8859_14map, SBCS, 255, 255, nullptr, 0, "sbcs/o8859_14map.tsv"},
    {"o8859_15map", o8859_15map, SBCS, 255, 255, nullptr, 0, "sbcs/o8859_15map.tsv"},
    {"o8859_16map", o8859_16map, SBCS, 255, 255, nullptr, 0, "sbcs/o8859_16map.tsv"},
    {"oKOI8Rmap", oKOI8Rmap, SBCS, 255, 255, nullptr, 0, "sbcs/oKOI8Rmap.tsv"},
    {"oCP932map", oCP932map, DBCS, 9338, 193, oCP932Type, 0, "mbcs/oCP932map.tsv"},
    {"oSHIFTJISmap", oSHIFTJISmap, DBCS, 9396, 190, oCP932Type, 0, "mbcs/oSHIFTJISmap.tsv"},
    {"oCP936map", oCP936map, DBCS, 24069, 129, oCP936Type, 4158, "mbcs/oCP936map.tsv"},
    {"oCP949map", oCP949map, DBCS, 17365, 129, oCP949Type, 0, "mbcs/oCP949map.tsv"},
    {"oCP950map", oCP950map, DBCS, 20202, 127, oCP950Type, 418, "mbcs/oCP950map.tsv"},
    {"oBIG5map", oBIG5map, DBCS, 19839, 129, oBig5Type, 0, "mbcs/oBIG5map.tsv"},
    {"oGBKmap", oGBKmap, DBCS, 24067, 127, nullptr, 0, "gb18030/oGBKmap.tsv"},
    {"oJIS0201map", oJIS0201map, SBCS, 189, 189, nullptr, 0, "mbcs/oJIS0201map.tsv"},
    {"oGB2312map", oGB2312map, GRID94, 7445, 0, nullptr, 0, "mbcs/oGB2312map.tsv"},
    {"oKSX1001map", oKSX1001map, GRID94, 8224, 0, nullptr, 0, "mbcs/oKSX1001map.tsv"},
    {"oJIS0208map", oJIS0208map, GRID94, 6879, 0, nullptr, 0, "mbcs/oJIS0208map.tsv"},
    {"oJIS0212map", oJIS0212map, GRID94, 0, 0, nullptr, 0, nullptr},
};

void expectBijection(Pairs const& recs) {
    std::set<unsigned> codes, values;
    for (auto const& r : recs) {
        EXPECT_NE(r.first, 0u);
        EXPECT_NE(r.second, 0u);
        EXPECT_TRUE(codes.insert(r.first).second) << std::hex << "code 0x" << r.first;
        EXPECT_TRUE(values.insert(r.second).second) << std::hex << "value U+" << r.second;
    }
}

TEST(MapTables, CountsAndOneRecordPerCodeAndValue) {
    for (MapCase const& m : kMaps) {
        SCOPED_TRACE(m.name);
        Pairs recs = records(m.table);
        EXPECT_EQ(recs.size(), m.count);
        EXPECT_EQ(size_t(std::count_if(recs.begin(), recs.end(),
                                       [](auto const& r) { return r.first < 0x100; })),
                  m.singles);
        expectBijection(recs);
    }
    Pairs ex = records(oSJIS0213_2004map);
    EXPECT_EQ(ex.size(), 11398u);
    expectBijection(ex);
    size_t beyond = 0, singles = 0;
    for (auto const& r : ex) {
        EXPECT_LE(r.first, 0xFFFFu);
        EXPECT_LE(r.second, 0x10FFFFu);
        EXPECT_FALSE(r.second >= 0xD800 && r.second <= 0xDFFF) << std::hex << r.second;
        beyond += r.second > 0xFFFF;
        singles += r.first < 0x100;
    }
    EXPECT_EQ(beyond, 303u);
    EXPECT_EQ(singles, 190u);
}

// The single-byte converter walks its map as (byte, 0, unit) records in unit order.
TEST(MapTables, SingleByteMapsAreByteRecordsInUnitOrder) {
    for (MapCase const& m : kMaps) {
        if (m.shape != SBCS || m.table == oJIS0201map) continue;
        SCOPED_TRACE(m.name);
        unsigned char const* raw = reinterpret_cast<unsigned char const*>(m.table);
        Pairs recs = records(m.table);
        std::map<unsigned, unsigned> byByte;
        for (size_t i = 0; i < recs.size(); ++i) {
            EXPECT_EQ(raw[4 * i + 1], 0) << "reserved byte of record " << i;
            if (i) {
                EXPECT_LT(recs[i - 1].second, recs[i].second) << "record " << i;
            }
            byByte[recs[i].first] = recs[i].second;
        }
        // ASCII maps to itself, but for the three rotated controls of 874.
        bool rotated = m.table == oCP874map;
        for (unsigned b = 1; b < 0x80; ++b) {
            unsigned want = b;
            if (rotated) want = b == 0x1A ? 0x1C : b == 0x1C ? 0x7F : b == 0x7F ? 0x1A : b;
            EXPECT_EQ(byByte[b], want) << std::hex << "byte 0x" << b;
        }
    }
}

// A code the type table cannot produce would be dead weight or, for a single
// byte that is also a lead byte, never decodable.
TEST(MapTables, CodesFitTheirShape) {
    for (MapCase const& m : kMaps) {
        if (m.shape == SBCS) continue;
        SCOPED_TRACE(m.name);
        size_t trailNotTrail = 0;
        for (auto const& r : records(m.table)) {
            unsigned lead = r.first >> 8, trail = r.first & 0xFF;
            if (m.shape == GRID94) {
                EXPECT_TRUE(lead >= 0x21 && lead <= 0x7E && trail >= 0x21 && trail <= 0x7E)
                    << std::hex << r.first;
            } else if (m.type && lead == 0) {
                EXPECT_FALSE(m.type[trail] & 0x40) << std::hex << "single 0x" << r.first;
            } else if (m.type) {
                EXPECT_TRUE(m.type[lead] & 0x40) << std::hex << "code 0x" << r.first;
                trailNotTrail += !(m.type[trail] & 0x80);
            } else if (lead) {
                EXPECT_TRUE(lead >= 0x81 && lead <= 0xFE && trail >= 0x40 && trail <= 0xFE)
                    << std::hex << r.first;
            }
        }
        EXPECT_EQ(trailNotTrail, m.trailNotTrail);
    }
}

struct ByteRange {
    unsigned first, last;
};

bool inRanges(std::vector<ByteRange> const& rs, unsigned b) {
    return std::any_of(rs.begin(), rs.end(),
                       [b](ByteRange r) { return b >= r.first && b <= r.last; });
}

TEST(LeadByteTypes, LeadAndTrailBytes) {
    struct Case {
        char const* name;
        unsigned char const* type;
        std::vector<ByteRange> lead, trail;
    } const cases[] = {
        {"932", oCP932Type, {{0x81, 0x9F}, {0xE0, 0xFC}}, {{0x40, 0x7E}, {0x80, 0xFC}}},
        {"936", oCP936Type, {{0x81, 0xFE}}, {{0x40, 0x7F}, {0xA1, 0xFE}}},
        {"949", oCP949Type, {{0x81, 0xFE}}, {{0x41, 0x5A}, {0x61, 0x7A}, {0x81, 0xFE}}},
        {"950", oCP950Type, {{0x81, 0xFE}}, {{0x40, 0x7F}, {0xA1, 0xFE}}},
        {"Big5", oBig5Type, {{0x81, 0xFE}}, {{0x40, 0x7E}, {0xA1, 0xFE}}},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.name);
        for (unsigned b = 0; b < 256; ++b) {
            EXPECT_EQ((c.type[b] & 0x40) != 0, inRanges(c.lead, b)) << std::hex << "0x" << b;
            EXPECT_EQ((c.type[b] & 0x80) != 0, inRanges(c.trail, b)) << std::hex << "0x" << b;
        }
    }
    // 950 shares the 936 table byte for byte (class bits too); Big5 clears 0x7F only.
    EXPECT_EQ(std::memcmp(oCP936Type, oCP950Type, 256), 0);
    for (unsigned b = 0; b < 256; ++b)
        EXPECT_EQ(oBig5Type[b], b == 0x7F ? 0 : oCP936Type[b]) << std::hex << "0x" << b;
}

TEST(GB18030Ranges, SortedInverseAndCoveringTheBMP) {
    std::vector<sGBRange> dec = ranges(oGB2UniRange), enc = ranges(oUni2GBRange);
    ASSERT_EQ(dec.size(), 265u);
    ASSERT_EQ(enc.size(), 265u);
    for (auto const* t : {&dec, &enc})
        for (size_t i = 0; i < t->size(); ++i) {
            EXPECT_LE((*t)[i].first, (*t)[i].last) << i;
            if (i) {
                EXPECT_LT((*t)[i - 1].last, (*t)[i].first) << "record " << i;
            }
        }
    size_t twoByte =
        std::count_if(dec.begin(), dec.end(), [](sGBRange const& r) { return r.first < 0x10000; });
    EXPECT_EQ(twoByte, 59u);
    EXPECT_EQ(dec[59].first, 0x10000u);
    EXPECT_EQ(dec[59].target, 0x80u);
    EXPECT_EQ(dec.back().last, 0x199FBu);
    EXPECT_EQ(dec.back().target + (dec.back().last - dec.back().first), 0xFFFFu);

    // Each table is the other turned round.
    std::vector<std::vector<unsigned>> a, b;
    for (auto const& r : dec) a.push_back({r.target, r.target + (r.last - r.first), r.first});
    for (auto const& r : enc) b.push_back({r.first, r.last, r.target});
    std::sort(a.begin(), a.end());
    EXPECT_EQ(a, b);

    // The two-byte ranges repeat the GBK map; the four-byte ranges and the GBK
    // map share no value and together reach every BMP value but U+0000 and the
    // surrogates.
    std::map<unsigned, unsigned> gbk;
    std::vector<int> seen(0x10000, 0);
    for (auto const& r : records(oGBKmap)) {
        gbk[r.first] = r.second;
        ++seen[r.second];
    }
    for (auto const& r : dec)
        for (unsigned k = r.first; k <= r.last; ++k) {
            unsigned u = r.target + (k - r.first);
            if (k < 0x10000)
                EXPECT_EQ(gbk[k], u) << std::hex << "code 0x" << k;
            else if (u < 0x10000)
                ++seen[u];
        }
    for (unsigned u = 1; u < 0x10000; ++u)
        EXPECT_EQ(seen[u], (u >= 0xD800 && u <= 0xDFFF) ? 0 : 1) << std::hex << "U+" << u;
}

} // namespace
