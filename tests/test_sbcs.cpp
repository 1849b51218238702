// Single-byte converters: every byte and every BMP unit of each map against
// the reference data (room, limits and odd arguments: test_contract.cpp).
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

class SbcsData : public ::testing::TestWithParam<TableSet> {
protected:
    void SetUp() override {
        for (MapRecord const& r : readMapData(std::string("sbcs/") + GetParam().map + ".tsv")) {
            ASSERT_TRUE(r.code >= 1 && r.code <= 0xFF && r.unicode >= 1 && r.unicode <= 0xFFFF);
            fwd[r.code] = static_cast<unsigned short>(r.unicode);
            rev[r.unicode] = static_cast<unsigned char>(r.code);
        }
        ASSERT_FALSE(rev.empty()) << "no data for " << GetParam().map;
    }
    unsigned short fwd[256] = {};
    std::map<unsigned, unsigned char> rev;
};

TEST_P(SbcsData, EveryByteDecodesAsTheDataSays) {
    auto conv = freshConverter(GetParam().cs);
    VynCharSetConverter& c = *conv;
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
    auto conv = freshConverter(GetParam().cs);
    VynCharSetConverter& c = *conv;
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

INSTANTIATE_TEST_SUITE_P(AllMaps, SbcsData,
                         ::testing::ValuesIn(tableSets({vyn::catalogue::Family::SBCS})),
                         [](::testing::TestParamInfo<TableSet> const& i) { return i.param.map; });

} // namespace
