// Double-byte converters: every single byte, every lead/trail pair and every
// BMP unit (every scalar for Shift_JIS-2004) of the seven sets against the
// reference data and lead-byte types (room, limits and surrogates:
// test_contract.cpp and test_particulars.cpp).
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include <vynulib/converters/VynCharSetConverterMBCS.h>
#include <vynulib/internal/VynTables.h>

#include "converter_data.h"

namespace {

unsigned long const kAll = static_cast<unsigned long>(-1);

// UTF-16 of a list of decoded characters, 0 standing for a bad one: U+FFFD for
// it, or the output ends before it (stop).
Units utf16Of(std::vector<unsigned> const& chars, bool stop) {
    Units out;
    for (unsigned c : chars) {
        if (c == 0 && stop) break;
        for (unsigned short u : ::utf16Of(c ? c : 0xFFFD)) out.push_back(u);
    }
    return out;
}

// The shared helpers with a flag that goes in and out through `ill`.
Units decode(VynCharSetConverter& c, std::string const& bytes, ILLCHAR_OPTYPE op, bool* ill,
             int maxSrc = -1, unsigned long room = 64) {
    Decoded d = ::decode(c, bytesOf(bytes), op, room, maxSrc, *ill);
    *ill = d.flag;
    return d.units;
}

std::string encode(VynCharSetConverter& c, Units const& units, ILLCHAR_OPTYPE op, bool* ill,
                   unsigned long room = 64) {
    Encoded e = ::encode(c, units, op, room, *ill);
    *ill = e.flag;
    return std::string(e.bytes.begin(), e.bytes.end());
}

class DbcsData : public ::testing::TestWithParam<TableSet> {
protected:
    void SetUp() override {
        fwd.assign(0x10000, 0);
        rev.assign(0x110000, 0);
        for (MapRecord const& r : readMapData("mbcs/" + GetParam().map + ".tsv")) {
            ASSERT_TRUE(r.code >= 1 && r.code <= 0xFFFF && r.unicode >= 1 && r.unicode <= 0x10FFFF);
            fwd[r.code] = r.unicode;
            rev[r.unicode] = r.code;
            ++records;
        }
        ASSERT_GT(records, 0u) << "no data for " << GetParam().map;
        type = readTypeTable(GetParam().type);
        ASSERT_NE(0, type['A']) << "no lead-byte types for " << GetParam().type;
        conv = freshConverter(GetParam().cs);
    }
    bool lead(unsigned b) const { return (type[b] & 0x40) != 0; }
    bool trail(unsigned b) const { return (type[b] & 0x80) != 0; }
    // A byte seen alone before the terminator.
    unsigned single(unsigned b) const { return lead(b) ? 0 : fwd[b]; }

    void checkDecode(std::string const& bytes, std::vector<unsigned> const& chars) {
        bool ill = false, bad = false;
        for (unsigned ch : chars) bad |= ch == 0;
        EXPECT_EQ(utf16Of(chars, false), decode(*conv, bytes, REP, &ill));
        EXPECT_EQ(bad, ill);
        EXPECT_EQ(utf16Of(chars, true), decode(*conv, bytes, STOP, &ill));
        EXPECT_EQ(bad, ill);
        EXPECT_EQ(utf16Of(chars, false).size(), conv->getNumUnits(bytes.c_str(), kAll));
    }

    void checkEncode(std::vector<unsigned short> const& units, unsigned scalar) {
        unsigned code = rev[scalar];
        std::string bytes;
        if (code > 0xFF) bytes += static_cast<char>(code >> 8);
        if (code) bytes += static_cast<char>(code & 0xFF);
        std::string esc = units.size() == 2 ? escapeOf({units[0], units[1]}) : escapeOf({scalar});
        bool ill = false;
        ASSERT_EQ(code ? bytes : "?", encode(*conv, units, REP, &ill)) << scalar;
        EXPECT_EQ(code == 0, ill);
        ASSERT_EQ(code ? bytes : esc, encode(*conv, units, ESC, &ill)) << scalar;
        ASSERT_EQ(code ? bytes : "", encode(*conv, units, STOP, &ill)) << scalar;
        EXPECT_EQ(code == 0, ill);
        std::vector<unsigned short> z(units);
        z.push_back(0);
        // A high surrogate just before the terminator is not counted at all
        // where pairs are understood, though it encodes as '?'.
        bool endsInHigh = GetParam().wide && scalar >= 0xD800 && scalar <= 0xDBFF;
        EXPECT_EQ(endsInHigh    ? 0u
                  : code > 0xFF ? 2u
                                : 1u,
                  conv->getNumBytes(z.data(), kAll))
            << scalar;
    }

    std::vector<unsigned> fwd, rev;
    unsigned records = 0;
    std::array<unsigned char, 256> type{};
    std::unique_ptr<VynCharSetConverter> conv;
};

TEST_P(DbcsData, EveryByteAndPairDecodesAsTheDataSays) {
    for (unsigned b = 1; b < 256; ++b) {
        SCOPED_TRACE(b);
        checkDecode(std::string(1, static_cast<char>(b)), {single(b)});
        if (!lead(b)) continue;
        for (unsigned t = 1; t < 256; ++t) {
            SCOPED_TRACE(t);
            std::string pair{static_cast<char>(b), static_cast<char>(t)};
            // A lead byte without a trail byte is bad by itself, and the byte
            // after it starts the next character.
            if (trail(t))
                checkDecode(pair, {fwd[b << 8 | t]});
            else
                checkDecode(pair, {0, single(t)});
            if (HasFailure()) return;
        }
    }
}

TEST_P(DbcsData, EveryUnitEncodesAsTheDataSays) {
    for (unsigned u = 1; u <= 0xFFFF; ++u) {
        checkEncode({static_cast<unsigned short>(u)}, u);
        if (HasFailure()) return;
    }
    if (!GetParam().wide) return;
    for (unsigned s = 0x10000; s <= 0x10FFFF; ++s) {
        unsigned short hi = static_cast<unsigned short>(0xD800 + ((s - 0x10000) >> 10));
        unsigned short lo = static_cast<unsigned short>(0xDC00 + (s & 0x3FF));
        checkEncode({hi, lo}, s);
        if (HasFailure()) return;
    }
}

INSTANTIATE_TEST_SUITE_P(AllSets, DbcsData,
                         ::testing::ValuesIn(tableSets({vyn::catalogue::Family::DBCS,
                                                        vyn::catalogue::Family::DBCSEx})),
                         [](::testing::TestParamInfo<TableSet> const& i) { return i.param.map; });

// --- particular sequences ------------------------------------------------------

// Only U+10000 to U+10FFFF make a pair; a value past U+10FFFF, which only a
// caller's table can hold, is one unit cut to 16 bits and no failure.
TEST(Dbcs, CallersTableValuesOutsideThePairRange) {
    static sMBCSExTable const table[] = {
        {0x41, 0x41}, {0x87A0, 0x2000B}, {0x8861, 0x112345}, {0x8862, 0x10FFFF}, {0, 0}};
    VynCharSetConverterDBCSEx c(table, oCP932Type, VYNCS_SJIS0213);
    char const* src = "\x88\x61\x88\x62\x87\xA0\x41";
    bool ill = true;
    EXPECT_EQ(Units({0x2345, 0xDBFF, 0xDFFF, 0xD840, 0xDC0B, 0x41}), decode(c, src, REP, &ill));
    EXPECT_FALSE(ill);
    EXPECT_EQ(6u, c.getNumUnits(src, kAll));
    // With one unit of room the cut value still fits.
    EXPECT_EQ(Units({0x2345}), decode(c, "\x88\x61\x88\x62", REP, &ill, -1, 1));
}

} // namespace
