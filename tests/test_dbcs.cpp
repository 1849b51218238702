// Double-byte converters: every single byte, every lead/trail pair and every
// BMP unit (every scalar for Shift_JIS-2004) of the seven sets against the
// reference data and lead-byte types, then buffer limits, surrogates and the
// source limit.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include <vynulib/converters/VynCharSetConverterMBCS.h>
#include <vynulib/tables/VynTables.h>

#include "converter_data.h"

namespace {

unsigned long const kAll = static_cast<unsigned long>(-1);

std::unique_ptr<VynCharSetConverter> make(DbcsSet const& s) {
    if (s.exMap) return std::make_unique<VynCharSetConverterDBCSEx>(s.exMap, s.type, s.cs);
    return std::make_unique<VynCharSetConverterDBCS>(s.map, s.type, s.cs);
}

std::unique_ptr<VynCharSetConverter> make(VynCharSet cs) {
    for (DbcsSet const& s : kDbcsSets)
        if (s.cs == cs) return make(s);
    return nullptr;
}

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

class DbcsData : public ::testing::TestWithParam<DbcsSet> {
protected:
    void SetUp() override {
        fwd.assign(0x10000, 0);
        rev.assign(0x110000, 0);
        for (MapRecord const& r : readMapData(std::string("mbcs/") + GetParam().data + ".tsv")) {
            ASSERT_TRUE(r.code >= 1 && r.code <= 0xFFFF && r.unicode >= 1 && r.unicode <= 0x10FFFF);
            fwd[r.code] = r.unicode;
            rev[r.unicode] = r.code;
            ++records;
        }
        ASSERT_GT(records, 0u) << "no data for " << GetParam().data;
        type = readTypeTable(GetParam().typeName);
        ASSERT_NE(0, type['A']) << "no lead-byte types for " << GetParam().typeName;
        conv = make(GetParam());
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
        bool endsInHigh = GetParam().exMap && scalar >= 0xD800 && scalar <= 0xDBFF;
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
    if (!GetParam().exMap) return;
    for (unsigned s = 0x10000; s <= 0x10FFFF; ++s) {
        unsigned short hi = static_cast<unsigned short>(0xD800 + ((s - 0x10000) >> 10));
        unsigned short lo = static_cast<unsigned short>(0xDC00 + (s & 0x3FF));
        checkEncode({hi, lo}, s);
        if (HasFailure()) return;
    }
}

INSTANTIATE_TEST_SUITE_P(AllSets, DbcsData, ::testing::ValuesIn(kDbcsSets),
                         [](::testing::TestParamInfo<DbcsSet> const& i) {
                             return std::string(i.param.data);
                         });

// --- particular sequences ------------------------------------------------------

TEST(Dbcs, BadLeadBytesInARun) {
    struct Case {
        VynCharSet cs;
        char const* bytes;
        std::vector<unsigned short> want;
        bool ill;
    } const cases[] = {
        // 0x81 is no trail byte in 936: the first 0x81 is bad, the second leads.
        {VYNCS_WCP936, "\x81\x81\x41", {0xFFFD, 0x4E04}, true},
        {VYNCS_BIG5, "\xA1\x7F\xA4\x40\x82", {0xFFFD, 0x007F, 0x4E00, 0xFFFD}, true},
        {VYNCS_SJIS0213, "\x87\xA0\x87\x20\x82", {0xD840, 0xDC0B, 0xFFFD, 0x20, 0xFFFD}, true},
    };
    for (Case const& k : cases) {
        SCOPED_TRACE(k.bytes);
        auto c = make(k.cs);
        bool ill = !k.ill;
        EXPECT_EQ(k.want, decode(*c, k.bytes, REP, &ill));
        EXPECT_EQ(k.ill, ill);
        EXPECT_EQ(k.want.size(), c->getNumUnits(k.bytes, kAll));
    }
}

TEST(Dbcs, DecodeNeverSplitsACharacterOverTheRoom) {
    struct Case {
        VynCharSet cs;
        char const* bytes;
        unsigned long room;
        std::vector<unsigned short> want;
    } const cases[] = {
        {VYNCS_WCP932, "\x82\xA0\x82\xA0", 0, {}},
        {VYNCS_WCP932, "\x82\xA0\x82\xA0", 1, {0x3042}},
        {VYNCS_WCP932, "\x82\xA0\x82\xA0", 3, {0x3042, 0x3042}},
        // A pair needs two units of room; one left ends the conversion.
        {VYNCS_SJIS0213, "a\x87\xA0z", 1, {'a'}},
        {VYNCS_SJIS0213, "a\x87\xA0z", 2, {'a'}},
        {VYNCS_SJIS0213, "\x87\xA0z", 1, {}},
        {VYNCS_SJIS0213, "a\x87\xA0z", 3, {'a', 0xD840, 0xDC0B}},
    };
    for (Case const& k : cases) {
        SCOPED_TRACE(k.room);
        auto c = make(k.cs);
        for (ILLCHAR_OPTYPE op : {STOP, REP}) {
            bool ill = true;
            EXPECT_EQ(k.want, decode(*c, k.bytes, op, &ill, -1, k.room));
            EXPECT_FALSE(ill);
        }
    }
}

TEST(Dbcs, SourceLimit) {
    // A positive limit ends the conversion after the whole character that
    // reaches it; 0 and negative values mean no limit. An invalid lead byte is
    // not tested against the limit: the conversion goes on behind it.
    struct Case {
        VynCharSet cs;
        char const* bytes;
        int maxSrc;
        std::vector<unsigned short> want;
        bool ill;
    } const cases[] = {
        {VYNCS_WCP932, "\x82\xA0\x41\x82\x9F", -1, {0x3042, 'A', 0x3041}, false},
        {VYNCS_WCP932, "\x82\xA0\x41\x82\x9F", 0, {0x3042, 'A', 0x3041}, false},
        {VYNCS_WCP932, "\x82\xA0\x41\x82\x9F", 1, {0x3042}, false},
        {VYNCS_WCP932, "\x82\xA0\x41\x82\x9F", 2, {0x3042}, false},
        {VYNCS_WCP932, "\x82\xA0\x41\x82\x9F", 3, {0x3042, 'A'}, false},
        {VYNCS_WCP932, "\x82\xA0\x41\x82\x9F", 4, {0x3042, 'A', 0x3041}, false},
        {VYNCS_WCP932, "\x82\xA0\x41\x82\x9F", 50, {0x3042, 'A', 0x3041}, false},
        {VYNCS_WCP932, "\x82\x20\x42", 1, {0xFFFD, ' '}, true},
        {VYNCS_WCP936, "\x81\x81\x41\x42", 2, {0xFFFD, 0x4E04}, true},
        {VYNCS_SJIS0213, "\x87\xA0\x41", 1, {0xD840, 0xDC0B}, false},
        {VYNCS_SJIS0213, "\x87\x20\x42", 1, {0xFFFD, ' '}, true},
    };
    for (Case const& k : cases) {
        SCOPED_TRACE(testing::Message() << k.cs << " limit " << k.maxSrc);
        auto c = make(k.cs);
        bool ill = !k.ill;
        EXPECT_EQ(k.want, decode(*c, k.bytes, REP, &ill, k.maxSrc));
        EXPECT_EQ(k.ill, ill);
    }
}

TEST(Dbcs, EncodeCases) {
    struct Case {
        VynCharSet cs;
        std::vector<unsigned short> units;
        ILLCHAR_OPTYPE op;
        unsigned long room;
        std::string want;
        bool ill;
    } const cases[] = {
        {VYNCS_WCP936, {0x4E96}, REP, 9, "\x81\x81", false},
        // Room: a two-byte code is written whole or not at all.
        {VYNCS_WCP932, {0x3042, 'A', 0x3042}, REP, 0, "", false},
        {VYNCS_WCP932, {0x3042, 'A', 0x3042}, REP, 1, "", false},
        {VYNCS_WCP932, {0x3042, 'A', 0x3042}, REP, 2, "\x82\xA0", false},
        {VYNCS_WCP932, {0x3042, 'A', 0x3042}, REP, 3, "\x82\xA0\x41", false},
        {VYNCS_WCP932, {0x3042, 'A', 0x3042}, REP, 4, "\x82\xA0\x41", false},
        {VYNCS_WCP932, {0x3042, 'A', 0x3042}, REP, 5, "\x82\xA0\x41\x82\xA0", false},
        // U+20AC has no code in 932; an escape is never cut.
        {VYNCS_WCP932, {0x20AC}, ESC, 5, "", true},
        {VYNCS_WCP932, {'A', 0x20AC}, ESC, 6, "A", true},
        {VYNCS_WCP932, {'A', 0x20AC}, ESC, 7, "AU+20AC", true},
        {VYNCS_WCP932, {'A', 0x20AC, 'B'}, STOP, 9, "A", true},
        {VYNCS_WCP932, {'A', 0x20AC, 'B'}, static_cast<ILLCHAR_OPTYPE>(3), 9, "A?B", true},
        // BMP-only sets take surrogates one unit at a time.
        {VYNCS_WCP932, {0xD840, 0xDC0B}, REP, 9, "??", true},
        // Shift_JIS-2004: pairs, unmapped pairs, lone surrogates.
        {VYNCS_SJIS0213, {0xD840, 0xDC0B}, REP, 1, "", false},
        {VYNCS_SJIS0213, {0xD840, 0xDC0B}, REP, 2, "\x87\xA0", false},
        {VYNCS_SJIS0213, {0xD83D, 0xDE00, 'A'}, REP, 9, "?A", true},
        {VYNCS_SJIS0213, {0xD83D, 0xDE00}, ESC, 11, "", true},
        {VYNCS_SJIS0213, {0xD83D, 0xDE00}, ESC, 12, "U+D83DU+DE00", true},
        {VYNCS_SJIS0213, {0xD800, 'A'}, REP, 9, "?A", true},
        {VYNCS_SJIS0213, {0xD800, 'A'}, ESC, 9, "U+D800A", true},
        {VYNCS_SJIS0213, {0xD800, 0xD840, 0xDC0B}, REP, 9, "?\x87\xA0", true},
        {VYNCS_SJIS0213, {'A', 0xD800}, REP, 9, "A?", true},
        {VYNCS_SJIS0213, {0xDC0B, 'A'}, ESC, 9, "U+DC0BA", true},
        {VYNCS_SJIS0213, {0xD800, 'A'}, STOP, 9, "", true},
    };
    for (Case const& k : cases) {
        SCOPED_TRACE(k.want);
        SCOPED_TRACE(k.room);
        auto c = make(k.cs);
        bool ill = !k.ill;
        EXPECT_EQ(k.want, encode(*c, k.units, k.op, &ill, k.room));
        EXPECT_EQ(k.ill, ill);
    }
}

TEST(Dbcs, ByteCounts) {
    // An unmapped unit counts the one byte of '?' whatever the later
    // conversion does; a pair counts as one character.
    struct Case {
        VynCharSet cs;
        std::vector<unsigned short> units;
        unsigned long len;
        unsigned long want;
    } const cases[] = {
        {VYNCS_WCP932, {0x3042, 0x20AC, 'A'}, kAll, 4},
        {VYNCS_WCP932, {0x3042, 0x20AC, 'A'}, 1, 2},
        {VYNCS_WCP932, {0xD840, 0xDC0B}, kAll, 2},
        {VYNCS_SJIS0213, {0xD840, 0xDC0B, 'A'}, kAll, 3},
        {VYNCS_SJIS0213, {0xD83D, 0xDE00}, kAll, 1},
        {VYNCS_SJIS0213, {0xD800, 'A'}, kAll, 2},
        // A high surrogate at the end adds nothing: before the terminator, and
        // as the last unit the length allows (its partner is not read).
        {VYNCS_SJIS0213, {'A', 0xD800}, kAll, 1},
        {VYNCS_SJIS0213, {'A', 0xD840, 0xDC0B}, 2, 1},
        {VYNCS_SJIS0213, {0x3042, 0, 'A'}, kAll, 2},
        {VYNCS_SJIS0213, {0x3042, 'A'}, 0, 0},
    };
    for (Case const& k : cases) {
        auto c = make(k.cs);
        std::vector<unsigned short> z(k.units);
        z.push_back(0);
        EXPECT_EQ(k.want, c->getNumBytes(z.data(), k.len)) << k.cs << " len " << k.len;
    }
}

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

TEST(Dbcs, NullPointersAndInstancesWithoutMap) {
    VynCharSetConverterDBCS named("cp932.map", oCP932Type, VYNCS_WCP932);
    VynCharSetConverterDBCSEx namedEx("sjis2004.map", oCP932Type, VYNCS_SJIS0213);
    auto real = make(VYNCS_WCP932);
    auto realEx = make(VYNCS_SJIS0213);
    unsigned short const w[] = {'A', 0x3042, 0};
    VynCharSetConverter* const all[] = {&named, &namedEx, real.get(), realEx.get()};
    for (VynCharSetConverter* c : all) {
        bool hasMap = c == real.get() || c == realEx.get();
        expectNullArgumentsSafe(*c);
        EXPECT_EQ(0u, c->getNumUnits("A", 0));
        // Empty source or no room: a lone terminator.
        bool ill = true;
        EXPECT_TRUE(decode(*c, "", REP, &ill).empty());
        EXPECT_TRUE(encode(*c, {'A'}, REP, &ill, 0).empty());
        // Without a map nothing converts, cleanly; with one it does.
        EXPECT_EQ(hasMap ? 2u : 0u, decode(*c, "A\x82\xA0", REP, &ill).size());
        EXPECT_FALSE(ill);
        EXPECT_EQ(hasMap ? 3u : 0u, encode(*c, {'A', 0x3042}, REP, &ill).size());
        EXPECT_EQ(hasMap ? 2u : 0u, c->getNumUnits("A\x82\xA0", kAll));
        EXPECT_EQ(hasMap ? 3u : 0u, c->getNumBytes(w, kAll));
    }
}

} // namespace
