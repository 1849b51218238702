// Single-byte converter: every byte and every BMP unit against the reference
// data of all 26 maps, then the buffer limits and odd arguments.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <vynulib/converters/VynCharSetConverterSBCS.h>
#include <vynulib/internal/VynTables.h>

#include "converter_data.h"

namespace {

unsigned long const kAll = static_cast<unsigned long>(-1);
unsigned short const kCanary16 = 0xBEEF;
unsigned char const kCanary8 = 0xA5;

class SbcsData : public ::testing::TestWithParam<SbcsSet> {
protected:
    void SetUp() override {
        for (MapRecord const& r : readMapData(std::string("sbcs/") + GetParam().name + ".tsv")) {
            ASSERT_TRUE(r.code >= 1 && r.code <= 0xFF && r.unicode >= 1 && r.unicode <= 0xFFFF);
            fwd[r.code] = static_cast<unsigned short>(r.unicode);
            rev[r.unicode] = static_cast<unsigned char>(r.code);
        }
        ASSERT_FALSE(rev.empty()) << "no data for " << GetParam().name;
    }
    unsigned short fwd[256] = {};
    std::map<unsigned, unsigned char> rev;
};

TEST_P(SbcsData, EveryByteDecodesAsTheDataSays) {
    VynCharSetConverterSBCS c(GetParam().map, GetParam().cs);
    unsigned char all[256];
    for (int b = 1; b < 256; ++b) all[b - 1] = static_cast<unsigned char>(b);
    all[255] = 0;

    // All bytes in one run: unmapped ones become U+FFFD and raise the flag.
    unsigned short out[257];
    bool ill = false;
    ASSERT_EQ(255u, c.toUTF16(out, all, 256, REP, &ill, -1));
    bool anyUnmapped = false;
    for (int b = 1; b < 256; ++b) {
        anyUnmapped |= fwd[b] == 0;
        EXPECT_EQ(fwd[b] ? fwd[b] : 0xFFFD, out[b - 1]) << "byte " << b;
    }
    EXPECT_EQ(0, out[255]);
    EXPECT_EQ(anyUnmapped, ill);

    // One byte at a time with STOP: an unmapped byte gives nothing.
    for (int b = 1; b < 256; ++b) {
        unsigned char one[2] = {static_cast<unsigned char>(b), 0};
        unsigned short o[3] = {kCanary16, kCanary16, kCanary16};
        unsigned long n = c.toUTF16(o, one, 2, STOP, &ill, -1);
        EXPECT_EQ(fwd[b] ? 1u : 0u, n) << "byte " << b;
        EXPECT_EQ(fwd[b] == 0, ill) << "byte " << b;
        EXPECT_EQ(0, o[n]);
        EXPECT_EQ(fwd[b], n ? o[0] : 0);
    }
}

TEST_P(SbcsData, EveryBmpUnitEncodesAsTheDataSays) {
    VynCharSetConverterSBCS c(GetParam().map, GetParam().cs);
    std::vector<unsigned short> units;
    for (unsigned u = 1; u <= 0xFFFF; ++u) units.push_back(static_cast<unsigned short>(u));
    units.push_back(0);

    // Whole runs: '?' or "U+%04X" for every unmapped unit, surrogates included.
    std::string wantReplace, wantEscape;
    for (unsigned u = 1; u <= 0xFFFF; ++u) {
        auto it = rev.find(u);
        wantReplace += it != rev.end() ? static_cast<char>(it->second) : '?';
        wantEscape +=
            it != rev.end() ? std::string(1, static_cast<char>(it->second)) : escapeOf({u});
    }
    for (auto op : {REP, ESC}) {
        std::string const& want = op == REP ? wantReplace : wantEscape;
        std::vector<char> out(want.size() + 1, '\x7F');
        bool ill = false;
        ASSERT_EQ(want.size(), c.fromUTF16(out.data(), units.data(), want.size(), op, &ill));
        EXPECT_TRUE(ill);
        EXPECT_EQ(want, std::string(out.data(), want.size()));
        EXPECT_EQ(0, out[want.size()]);
    }
    // Every unit counts one byte, mapped or not.
    EXPECT_EQ(0xFFFFu, c.getNumBytes(units.data(), kAll));

    // STOP, one unit at a time.
    for (unsigned u = 1; u <= 0xFFFF; ++u) {
        unsigned short one[2] = {static_cast<unsigned short>(u), 0};
        unsigned char o[3] = {kCanary8, kCanary8, kCanary8};
        bool ill = false;
        auto it = rev.find(u);
        unsigned long n = c.fromUTF16(o, one, 2, STOP, &ill);
        ASSERT_EQ(it != rev.end() ? 1u : 0u, n) << "unit " << u;
        EXPECT_EQ(it == rev.end(), ill);
        if (n) {
            EXPECT_EQ(it->second, o[0]);
        }
        EXPECT_EQ(0, o[n]);
    }
}

INSTANTIATE_TEST_SUITE_P(AllMaps, SbcsData, ::testing::ValuesIn(kSbcsSets),
                         [](::testing::TestParamInfo<SbcsSet> const& i) {
                             return std::string(i.param.name);
                         });

// --- limits and odd arguments on code page 1252 ------------------------------

VynCharSetConverterSBCS& cp1252() {
    static VynCharSetConverterSBCS c(oCP1252map, VYNCS_WCP1252);
    return c;
}

TEST(Sbcs, DecodeStopsAtRoomAndSourceLimit) {
    struct Case {
        unsigned long room;
        int maxSrc;
        unsigned long want;
    } const cases[] = {
        {0, -1, 0}, {1, -1, 1}, {2, -1, 2}, {3, -1, 3}, {10, -1, 4}, // room
        {10, 0, 0}, {10, 2, 2}, {10, 4, 4}, {10, 9, 4}, {1, 3, 1},   // source limit
    };
    char const src[] = "AB\x80\x81";
    for (Case const& k : cases) {
        std::vector<unsigned short> out(k.room + 2, kCanary16);
        bool ill = true;
        EXPECT_EQ(k.want, cp1252().toUTF16(out.data(), src, k.room, REP, &ill, k.maxSrc))
            << "room " << k.room << " maxSrc " << k.maxSrc;
        EXPECT_FALSE(ill);
        EXPECT_EQ(0, out[k.want]);
        unsigned short const want[] = {'A', 'B', 0x20AC, 0x0081};
        for (unsigned long i = 0; i < k.want; ++i) EXPECT_EQ(want[i], out[i]);
        EXPECT_EQ(kCanary16, out[k.room + 1]); // nothing behind the terminator's slot
    }
}

TEST(Sbcs, SourceLimitIsABoundOnReading) {
    // Exactly three bytes on the heap, no terminator: the limit alone ends it.
    std::unique_ptr<unsigned char[]> src(new unsigned char[3]{'x', 0xE9, 'y'});
    unsigned short out[8];
    EXPECT_EQ(3u, cp1252().toUTF16(out, src.get(), 7, REP, nullptr, 3));
    EXPECT_EQ(0xE9, out[1]);
    EXPECT_EQ(0, out[3]);
}

TEST(Sbcs, EncodeNeverCutsAnEscape) {
    // U+4E00 has no byte in 1252: its escape needs six bytes of room.
    unsigned short const src[] = {'A', 0x4E00, 'B', 0};
    struct Case {
        ILLCHAR_OPTYPE op;
        unsigned long room;
        char const* want;
        bool ill;
    } const cases[] = {
        {ESC, 0, "", false},
        {ESC, 1, "A", false},
        {ESC, 6, "A", true},
        {ESC, 7, "AU+4E00", true},
        {ESC, 8, "AU+4E00B", true},
        {REP, 2, "A?", true},
        {REP, 9, "A?B", true},
        {STOP, 9, "A", true},
        {static_cast<ILLCHAR_OPTYPE>(3), 9, "A?B", true}, // unknown values replace
    };
    for (Case const& k : cases) {
        std::vector<char> out(k.room + 2, static_cast<char>(kCanary8));
        bool ill = !k.ill;
        unsigned long n = cp1252().fromUTF16(out.data(), src, k.room, k.op, &ill);
        EXPECT_EQ(std::string(k.want), std::string(out.data(), n)) << "room " << k.room;
        EXPECT_EQ(0, out[n]);
        EXPECT_EQ(k.ill, ill) << "room " << k.room;
        EXPECT_EQ(static_cast<char>(kCanary8), out[k.room + 1]);
    }
    // A lone escape in exactly five bytes of room writes nothing.
    unsigned short const cjk[] = {0x4E00, 0};
    char o[6];
    EXPECT_EQ(0u, cp1252().fromUTF16(o, cjk, 5, ESC, nullptr));
    EXPECT_EQ(0, o[0]);
}

TEST(Sbcs, NullPointersAndCounts) {
    VynCharSetConverterSBCS& c = cp1252();
    expectNullArgumentsSafe(c);
    struct Case {
        unsigned long len, want;
    } const cases[] = {{0, 0}, {1, 1}, {2, 2}, {3, 2}, {kAll, 2}};
    unsigned short const w[] = {'A', 0x4E00, 0, 'B', 0};
    for (Case const& k : cases) {
        EXPECT_EQ(k.want, c.getNumUnits("A\xFF\0B", k.len)) << k.len;
        EXPECT_EQ(k.want, c.getNumBytes(w, k.len)) << k.len;
    }
}

TEST(Sbcs, InstanceWithoutMapConvertsNothing) {
    VynCharSetConverterSBCS c("cp1252.map", VYNCS_WCP1252);
    unsigned short u16[3] = {kCanary16, kCanary16, kCanary16};
    unsigned short const w[] = {'A', 0};
    char b[3] = {'z', 'z', 'z'};
    bool ill = true;
    EXPECT_EQ(0u, c.toUTF16(u16, "AB", 2, REP, &ill, -1));
    EXPECT_EQ(0, u16[0]);
    EXPECT_EQ(kCanary16, u16[1]);
    EXPECT_FALSE(ill);
    EXPECT_EQ(0u, c.fromUTF16(b, w, 2, REP, &ill));
    EXPECT_EQ(0, b[0]);
    EXPECT_EQ('z', b[1]);
    c.load(); // still nothing to build, and no harm
    EXPECT_EQ(0u, c.toUTF16(u16, "AB", 2, REP, &ill, -1));
}

} // namespace
