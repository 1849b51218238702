// EUC-CN, EUC-KR and EUC-JP against the reference data files (not the arrays
// the converters are built from), and counts against conversions.
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

} // namespace
