// EUC-CN, EUC-KR and EUC-JP against the reference data files (not the arrays
// the converters are built from), plus byte-exact edges, room and counting.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include <vynulib/converters/VynCharSetConverterMBCS.h>
#include <vynulib/internal/VynTables.h>

#include "converter_data.h"

namespace {

std::map<unsigned, unsigned> forwardOf(std::vector<MapRecord> const& recs) {
    std::map<unsigned, unsigned> m;
    for (auto const& r : recs) m[r.code] = r.unicode;
    return m;
}
std::map<unsigned, unsigned> reverseOf(std::vector<MapRecord> const& recs) {
    std::map<unsigned, unsigned> m;
    for (auto const& r : recs) m[r.unicode] = r.code;
    return m;
}
unsigned find(std::map<unsigned, unsigned> const& m, unsigned k) {
    auto it = m.find(k);
    return it == m.end() ? 0 : it->second;
}

// --- EUC-CN and EUC-KR ------------------------------------------------------

struct CnKrCase {
    char const* name;
    unsigned short const* table;
    char const* data;
    VynCharSet cs;
    size_t records;
};

CnKrCase const kCnKr[] = {
    {"EUC_CN", oGB2312map, "mbcs/oGB2312map.tsv", VYNCS_EUC_CN, 7445},
    {"EUC_KR", oKSX1001map, "mbcs/oKSX1001map.tsv", VYNCS_EUC_KR, 8224},
};

class CnKr : public ::testing::TestWithParam<CnKrCase> {
protected:
    void SetUp() override {
        recs = readMapData(GetParam().data);
        ASSERT_EQ(recs.size(), GetParam().records) << "data file " << GetParam().data;
        fwd = forwardOf(recs);
        rev = reverseOf(recs);
    }
    std::vector<MapRecord> recs;
    std::map<unsigned, unsigned> fwd, rev;
    VynCharSetConverterEUC_CN_KR cnv{GetParam().table, GetParam().cs};
};

TEST_P(CnKr, EverySingleByteDecodes) {
    // ASCII is 0x01-0x7E only: DEL, C1 and a G1 byte before the end are bad.
    for (unsigned b = 1; b <= 0xFF; ++b)
        for (ILLCHAR_OPTYPE op : kOps)
            EXPECT_TRUE(decodesTo(decode(cnv, {Bytes::value_type(b)}, op), b <= 0x7E ? b : 0, op))
                << std::hex << b;
}

TEST_P(CnKr, EveryG1PairDecodesAsTheData) {
    for (unsigned b = 0xA1; b <= 0xFE; ++b)
        for (unsigned t = 0xA1; t <= 0xFE; ++t)
            for (ILLCHAR_OPTYPE op : kOps)
                ASSERT_TRUE(decodesTo(decode(cnv, {Bytes::value_type(b), Bytes::value_type(t)}, op),
                                      find(fwd, ((b - 0x80) << 8) | (t - 0x80)), op))
                    << std::hex << b << ' ' << t;
}

TEST_P(CnKr, EveryBmpUnitEncodesAsTheData) {
    for (unsigned u = 1; u <= 0xFFFF; ++u) {
        Bytes want;
        unsigned code = find(rev, u);
        if (u <= 0x7E)
            want = {Bytes::value_type(u)};
        else if (code)
            want = {Bytes::value_type((code >> 8) + 0x80), Bytes::value_type((code & 0xFF) + 0x80)};
        for (ILLCHAR_OPTYPE op : kOps)
            ASSERT_TRUE(encodesTo(encode(cnv, {Units::value_type(u)}, op), want,
                                  {Units::value_type(u)}, op));
    }
}

INSTANTIATE_TEST_SUITE_P(Sets, CnKr, ::testing::ValuesIn(kCnKr),
                         [](auto const& i) { return std::string(i.param.name); });

// --- EUC-JP -------------------------------------------------------------------

class EucJp : public ::testing::Test {
protected:
    void SetUp() override {
        auto r0208 = readMapData("mbcs/oJIS0208map.tsv");
        auto r0201 = readMapData("mbcs/oJIS0201map.tsv");
        ASSERT_EQ(r0208.size(), 6879u);
        ASSERT_EQ(r0201.size(), 189u);
        // JIS X 0201 goes in after JIS X 0208 and wins where both have a value.
        fwd = forwardOf(r0208);
        rev = reverseOf(r0208);
        for (auto const& r : r0201) {
            fwd[r.code] = r.unicode;
            rev[r.unicode] = r.code;
        }
    }
    std::map<unsigned, unsigned> fwd, rev;
    VynCharSetConverterEUC_JP cnv{oJIS0208map, oJIS0201map, oJIS0212map, VYNCS_EUC_JP};
};

TEST_F(EucJp, EverySingleByteDecodes) {
    for (unsigned b = 1; b <= 0xFF; ++b)
        for (ILLCHAR_OPTYPE op : kOps)
            EXPECT_TRUE(decodesTo(decode(cnv, {Bytes::value_type(b)}, op), b < 0x7F ? b : 0, op))
                << std::hex << b;
}

// Every lead but the single shifts, with every second byte: the second byte's
// high bit is not looked at, so 0xA4 0x22 reads as 0xA4 0xA2 and lead 0x80
// reaches the JIS X 0201 entries. Only the first character is compared.
TEST_F(EucJp, EveryTwoByteFormDecodesAsTheData) {
    for (unsigned b = 0x7F; b <= 0xFE; ++b) {
        if (b == 0x8E || b == 0x8F) continue;
        for (unsigned t = 1; t <= 0xFF; ++t)
            for (ILLCHAR_OPTYPE op : kOps)
                ASSERT_TRUE(
                    decodesTo(decode(cnv, {Bytes::value_type(b), Bytes::value_type(t)}, op, 1),
                              find(fwd, ((b & 0x7F) << 8) | (t & 0x7F)), op))
                    << std::hex << b << ' ' << t;
    }
}

TEST_F(EucJp, EverySingleShift2FormDecodesAsTheData) {
    for (unsigned t = 1; t <= 0xFF; ++t)
        for (ILLCHAR_OPTYPE op : kOps)
            EXPECT_TRUE(decodesTo(decode(cnv, {0x8E, Bytes::value_type(t)}, op, 1),
                                  t >= 0xA1 && t <= 0xDF ? find(fwd, t) : 0, op))
                << std::hex << t;
}

// JIS X 0212 is empty: every SS3 form is bad, only the 0x8F goes, and the two
// bytes after it decode on their own.
TEST_F(EucJp, EverySingleShift3FormIsUnconvertible) {
    for (unsigned b = 0xA1; b <= 0xFE; ++b)
        for (unsigned t = 0xA1; t <= 0xFE; ++t) {
            unsigned u = find(fwd, ((b & 0x7F) << 8) | (t & 0x7F));
            Decoded d = decode(cnv, {0x8F, Bytes::value_type(b), Bytes::value_type(t)}, REP);
            // An unmapped pair after it loses its lead alone, then its second byte.
            Units want = u ? Units{0xFFFD, Units::value_type(u)} : Units{0xFFFD, 0xFFFD, 0xFFFD};
            ASSERT_EQ(hex(d.units), hex(want)) << std::hex << b << ' ' << t;
            ASSERT_TRUE(d.flag);
            ASSERT_TRUE(decodesTo(
                decode(cnv, {0x8F, Bytes::value_type(b), Bytes::value_type(t)}, STOP), 0, STOP));
        }
}

TEST_F(EucJp, EveryBmpUnitEncodesAsTheData) {
    for (unsigned u = 1; u <= 0xFFFF; ++u) {
        Bytes want;
        unsigned code = find(rev, u);
        if (u < 0x7F) {
            want = {Bytes::value_type(u)};
        } else if (code >= 0xA1 && code <= 0xDF) {
            want = {0x8E, Bytes::value_type(code)};
        } else if (code) {
            // JIS X 0201 codes below 0x80 come out with lead 0x80.
            unsigned w = (code + 0x8080) & 0xFFFF;
            want = {Bytes::value_type(w >> 8), Bytes::value_type(w & 0xFF)};
        }
        for (ILLCHAR_OPTYPE op : kOps)
            ASSERT_TRUE(encodesTo(encode(cnv, {Units::value_type(u)}, op), want,
                                  {Units::value_type(u)}, op));
    }
}

// --- behaviour shared by the three sets ---------------------------------------

enum Which { CN, KR, JP };

struct Converters {
    VynCharSetConverterEUC_CN_KR cn{oGB2312map, VYNCS_EUC_CN};
    VynCharSetConverterEUC_CN_KR kr{oKSX1001map, VYNCS_EUC_KR};
    VynCharSetConverterEUC_JP jp{oJIS0208map, oJIS0201map, oJIS0212map, VYNCS_EUC_JP};
    VynCharSetConverter& operator[](Which w) {
        return w == CN   ? static_cast<VynCharSetConverter&>(cn)
               : w == KR ? static_cast<VynCharSetConverter&>(kr)
                         : jp;
    }
};

TEST(EucEdges, Decoding) {
    struct {
        char const* what;
        Which w;
        Bytes src;
        ILLCHAR_OPTYPE op;
        int maxSrc;
        Units want;
        bool flag;
    } const cases[] = {
        {"KR 1998 euro sign absent", KR, {0xA2, 0xE6}, REP, -1, {0xFFFD}, true},
        // A lead without a G1 follower goes alone; the follower starts anew.
        {"CN lead, ASCII", CN, {0xB0, 0x41}, REP, -1, {0xFFFD, 0x41}, true},
        {"KR lead, DEL", KR, {0xB0, 0x7F}, REP, -1, {0xFFFD, 0xFFFD}, true},
        {"CN lead, A0, FF", CN, {0xB0, 0xA0, 0xFF}, REP, -1, {0xFFFD, 0xFFFD, 0xFFFD}, true},
        {"stop ends before the bad byte", CN, {0x41, 0x7F, 0x42}, STOP, -1, {0x41}, true},
        {"limit after a whole character", CN, {0xB0, 0xA1, 0x41}, REP, 1, {0x554A}, false},
        {"limit counts replaced characters", CN, {0x80, 0x41}, REP, 1, {0xFFFD}, true},
        {"limit 0 is no limit", KR, {0x41, 0x42}, REP, 0, {0x41, 0x42}, false},
        {"JP hiragana, unchecked second byte", JP, {0xA4, 0x22}, REP, -1, {0x3042}, false},
        {"JP backslash stays", JP, {0x5C}, REP, -1, {0x5C}, false},
        {"JP lead 0x80 yen", JP, {0x80, 0xDC}, REP, -1, {0x00A5}, false},
        {"JP lead 0x80 overline", JP, {0x80, 0xFE}, REP, -1, {0x203E}, false},
        {"JP DEL leads nothing", JP, {0x7F, 0x41}, REP, -1, {0xFFFD, 0x41}, true},
        {"JP SS2 kana", JP, {0x8E, 0xB1}, REP, -1, {0xFF71}, false},
        {"JP SS2 before the end", JP, {0x41, 0x8E}, REP, -1, {0x41, 0xFFFD}, true},
        {"JP SS3 only 0x8F goes", JP, {0x8F, 0xB0, 0xA1}, REP, -1, {0xFFFD, 0x4E9C}, true},
        {"JP SS3 short", JP, {0x8F, 0xB0}, REP, -1, {0xFFFD, 0xFFFD}, true},
        {"JP limit after SS2", JP, {0x8E, 0xB1, 0x41}, REP, 2, {0xFF71}, false},
    };
    Converters c;
    for (auto const& k : cases) {
        Decoded d = decode(c[k.w], k.src, k.op, 16, k.maxSrc);
        EXPECT_EQ(hex(d.units), hex(k.want)) << k.what;
        EXPECT_EQ(d.flag, k.flag) << k.what;
    }
}

TEST(EucEdges, Encoding) {
    struct {
        char const* what;
        Which w;
        Units src;
        ILLCHAR_OPTYPE op;
        unsigned long room;
        std::string want;
        bool flag;
    } const cases[] = {
        {"KR euro unmapped", KR, {0x20AC}, REP, 8, "?", true},
        {"DEL is not ASCII here", CN, {0x7F}, ESC, 8, "U+007F", true},
        {"escape needs six bytes", KR, {0x41, 0x20AC}, ESC, 6, "A", true},
        {"escape with exactly six", KR, {0x20AC, 0x41}, ESC, 6, "U+20AC", true},
        {"stop before the bad unit", CN, {0x41, 0xD800, 0x42}, STOP, 8, "A", true},
        {"surrogates are unmapped", JP, {0xD83D, 0xDE00}, REP, 8, "??", true},
        {"JP yen through lead 0x80", JP, {0x00A5}, REP, 8, "\x80\xDC", false},
        {"JP overline", JP, {0x203E}, REP, 8, "\x80\xFE", false},
        {"JP backslash", JP, {0x5C}, REP, 8, "\\", false},
        {"JP DEL", JP, {0x7F}, REP, 8, "?", true},
        {"JP no room for SS2 pair", JP, {0x41, 0xFF71}, REP, 2, "A", false},
        {"JP SS2 escaped needs two", JP, {0xFF71}, ESC, 1, "", false},
    };
    Converters c;
    for (auto const& k : cases) {
        Encoded e = encode(c[k.w], k.src, k.op, k.room);
        EXPECT_EQ(hex(e.bytes), hex(bytesOf(k.want))) << k.what;
        EXPECT_EQ(e.flag, k.flag) << k.what;
    }
}

// Room 0 to 4 around two-byte characters: nothing is written past the room
// plus the terminator, and no character is split.
TEST(EucEdges, RoomAroundMultibyteCharacters) {
    Converters c;
    unsigned long const wantBytes[] = {0, 1, 1, 3, 3}, wantUnits[] = {0, 1, 2, 3, 3};
    for (Which w : {CN, KR, JP}) {
        Bytes full = encode(c[w], {0x41, 0x3000, 0x3000}, REP).bytes;
        ASSERT_EQ(full.size(), 5u);
        for (unsigned long room = 0; room <= 4; ++room) {
            SCOPED_TRACE(room);
            EXPECT_EQ(encode(c[w], {0x41, 0x3000, 0x3000}, REP, room).bytes.size(),
                      wantBytes[room]);
            EXPECT_EQ(decode(c[w], full, REP, room).units.size(), wantUnits[room]);
        }
    }
}

TEST(EucEdges, NullsEmptiesAndNamedInstances) {
    Converters c;
    VynCharSetConverterEUC_CN_KR namedCn("GB2312", VYNCS_EUC_CN);
    VynCharSetConverterEUC_JP namedJp("JIS0208", "JIS0201", "JIS0212", VYNCS_EUC_JP);
    VynCharSetConverter* all[] = {&c.cn, &c.kr, &c.jp, &namedCn, &namedJp};
    unsigned char const text[] = {0xB0, 0xA1, 0x41, 0};
    unsigned short const wide[] = {0x3000, 0x41, 0};
    for (VynCharSetConverter* p : all) {
        expectNullArgumentsSafe(*p);
        EXPECT_EQ(p->getNumUnits(text, 0), 0u);
        EXPECT_EQ(p->getNumBytes(wide, 0), 0u);
        EXPECT_EQ(decode(*p, {}, REP).units.size(), 0u);
    }
    // Instances made from names have no maps: they convert nothing, cleanly.
    for (VynCharSetConverter* p : {all[3], all[4]}) {
        EXPECT_EQ(decode(*p, {0xB0, 0xA1, 0x41}, REP).units.size(), 0u);
        EXPECT_EQ(encode(*p, {0x3000, 0x41}, REP).bytes.size(), 0u);
        EXPECT_EQ(p->getNumBytes(wide, 2), 0u);
        EXPECT_EQ(p->getNumUnits(text, 3), 0u);
    }
}

// The counting functions agree with what the conversions write, over random
// text made mostly of the bytes and units that matter here.
TEST(EucEdges, CountsMatchConversions) {
    Converters c;
    unsigned char const pool[] = {0x41, 0x7F, 0x80, 0x8E, 0x8F, 0xA0, 0xA1, 0xA4,
                                  0xA2, 0xB0, 0xB1, 0xDC, 0xDF, 0xE0, 0xFE, 0xFF};
    unsigned short const wpool[] = {0x41,   0x7F,   0xA5,   0x203E, 0x3000, 0x3042, 0x554A,
                                    0xAC00, 0xFF71, 0xD800, 0xDC00, 0x20AC, 0x4E9C, 0xFFFF};
    Lcg rng(51932);
    for (Which w : {CN, KR, JP})
        for (int round = 0; round < 3000; ++round) {
            Bytes s(1 + rng.below(12));
            for (auto& x : s) x = rng.below(4) ? pool[rng.below(sizeof pool)] : 1 + rng.below(255);
            // EUC-JP counts no cut sequence at the very end (see the budgets
            // below); two ASCII bytes keep the ends whole.
            s.push_back('A');
            s.push_back('A');
            Units u(1 + rng.below(12));
            for (auto& x : u) x = wpool[rng.below(sizeof wpool / sizeof wpool[0])];
            Bytes sz = s;
            sz.push_back(0);
            Units uz = u;
            uz.push_back(0);
            EXPECT_EQ(c[w].getNumUnits(sz.data(), (unsigned long)-1),
                      decode(c[w], s, REP, 64).units.size())
                << w << " [" << hex(s) << "]";
            EXPECT_EQ(c[w].getNumUnits(sz.data(), s.size()),
                      c[w].getNumUnits(sz.data(), (unsigned long)-1));
            EXPECT_EQ(c[w].getNumBytes(uz.data(), (unsigned long)-1),
                      encode(c[w], u, REP, 64).bytes.size())
                << w << " [" << hex(u) << "]";
        }
}

// A budget that ends inside a character.
TEST(EucEdges, CountingBudgets) {
    struct {
        Which w;
        Bytes src;
        unsigned long len;
        unsigned long want;
    } const cases[] = {
        {CN, {0x41, 0xB0, 0xA1}, 2, 2}, // the cut lead counts alone
        {CN, {0x41, 0xB0, 0xA1}, 3, 2},
        {CN, {0x41, 0xB0, 0xA1}, 100, 2}, // the terminator ends it first
        {JP, {0x41, 0xA4, 0xA2}, 2, 1},   // a cut two-byte form is not counted
        {JP, {0x41, 0x8E, 0xB1}, 2, 1},
        {JP, {0x8F, 0xB0, 0xA1}, 2, 0},
        {JP, {0x8F, 0xB0, 0xA1}, 3, 2}, // 0x8F alone, then 0xB0 0xA1
        {JP, {0x80, 0xDC, 0x41}, 3, 2},
        {JP, {0x41, 0xA4}, (unsigned long)-1, 1}, // decoding gives A U+FFFD
        {JP, {0x41, 0x8F, 0x41}, (unsigned long)-1, 1},
        {CN, {0x41, 0xB0}, (unsigned long)-1, 2},
    };
    Converters c;
    for (auto const& k : cases) {
        Bytes s = k.src;
        s.push_back(0);
        EXPECT_EQ(c[k.w].getNumUnits(s.data(), k.len), k.want) << hex(k.src) << " len " << k.len;
    }
    unsigned short const wide[] = {0x3000, 0xFF71, 0x41, 0};
    EXPECT_EQ(c.jp.getNumBytes(wide, 2), 4u);
    EXPECT_EQ(c.jp.getNumBytes(wide, 100), 5u);
}

} // namespace
