// GB18030 against the reference data files: every one- and two-byte form,
// every four-byte form of the BMP area, the supplementary planes, every UTF-16
// unit and every scalar value beyond the BMP; the range indexes; counts.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include <vynulib/converters/VynCharSetConverterMBCS.h>
#include <vynulib/internal/VynTables.h>

#include "converter_data.h"

namespace {

// Everything the data says, plus the byte form of each four-byte index of the
// BMP area, found by walking the byte space in order rather than by formula.
class Gb18030 : public ::testing::Test {
protected:
    static constexpr unsigned kBmpFourByteKeys = 15 * 12600; // 0x81..0x8F leads

    static void SetUpTestSuite() {
        d = new Data;
        for (auto const& r : readMapData("gb18030/oGBKmap.tsv")) {
            d->fwd[r.code] = r.unicode;
            d->rev[r.unicode] = r.code;
        }
        d->gb2uni = readRanges("gb18030/oGB2UniRange.tsv");
        d->uni2gb = readRanges("gb18030/oUni2GBRange.tsv");
        d->keyValue.assign(kBmpFourByteKeys, 0);
        for (auto const& r : d->gb2uni)
            for (unsigned k = r.first; k <= r.last; ++k) {
                if (k < 0x10000)
                    d->rangeTwoByte[k] = r.target + (k - r.first);
                else if (k - 0x10000 < kBmpFourByteKeys)
                    d->keyValue[k - 0x10000] = r.target + (k - r.first);
            }
        for (auto const& r : d->uni2gb)
            for (unsigned u = r.first; u <= r.last; ++u) d->unitKey[u] = r.target + (u - r.first);
        for (unsigned b1 = 0x81; b1 <= 0x8F; ++b1)
            for (unsigned b2 = 0x30; b2 <= 0x39; ++b2)
                for (unsigned b3 = 0x81; b3 <= 0xFE; ++b3)
                    for (unsigned b4 = 0x30; b4 <= 0x39; ++b4)
                        d->keyBytes.push_back({Bytes::value_type(b1), Bytes::value_type(b2),
                                               Bytes::value_type(b3), Bytes::value_type(b4)});
    }
    static void TearDownTestSuite() {
        delete d;
        d = nullptr;
    }
    void SetUp() override {
        ASSERT_EQ(d->fwd.size(), 24067u);
        ASSERT_EQ(d->gb2uni.size(), 265u);
        ASSERT_EQ(d->uni2gb.size(), 265u);
    }

    // Two-byte code or four-byte key of unit u by the data; 0 when none.
    static unsigned keyOf(unsigned u) {
        auto it = d->rev.find(u);
        if (it != d->rev.end()) return it->second;
        auto jt = d->unitKey.find(u);
        return jt == d->unitKey.end() ? 0 : jt->second;
    }
    static Bytes bytesOfKey(unsigned key) {
        if (key <= 0xFF) return {Bytes::value_type(key)};
        if (key < 0x10000) return {Bytes::value_type(key >> 8), Bytes::value_type(key & 0xFF)};
        return d->keyBytes.at(key - 0x10000);
    }
    // Four bytes of a scalar value beyond the BMP: linear from 0x90 0x30 0x81 0x30.
    static Bytes supplementaryBytes(unsigned v) {
        unsigned l = v - 0x10000;
        return {Bytes::value_type(0x90 + l / 12600), Bytes::value_type(0x30 + l / 1260 % 10),
                Bytes::value_type(0x81 + l / 10 % 126), Bytes::value_type(0x30 + l % 10)};
    }

    struct Data {
        std::map<unsigned, unsigned> fwd, rev, rangeTwoByte, unitKey;
        std::vector<Range> gb2uni, uni2gb;
        std::vector<unsigned> keyValue;
        std::vector<Bytes> keyBytes;
    };
    static Data* d;
    VynCharSetConverterGB18030 cnv{oGBKmap, VYNCS_GB18030};
};
Gb18030::Data* Gb18030::d = nullptr;

TEST_F(Gb18030, EverySingleByteDecodes) {
    // 0x80 and 0xFF are no characters; a lead before the end is cut.
    for (unsigned b = 1; b <= 0xFF; ++b) {
        auto it = d->fwd.find(b);
        for (ILLCHAR_OPTYPE op : kOps)
            EXPECT_TRUE(decodesTo(decode(cnv, {Bytes::value_type(b)}, op),
                                  it == d->fwd.end() ? 0 : it->second, op))
                << std::hex << b;
    }
}

TEST_F(Gb18030, EveryTwoByteFormDecodesAsTheData) {
    for (unsigned b = 0x81; b <= 0xFE; ++b)
        for (unsigned t = 0x40; t <= 0xFE; ++t) {
            unsigned code = (b << 8) | t;
            unsigned v = 0;
            if (d->fwd.count(code))
                v = d->fwd[code];
            else if (d->rangeTwoByte.count(code))
                v = d->rangeTwoByte[code];
            Bytes src = {Bytes::value_type(b), Bytes::value_type(t)};
            for (ILLCHAR_OPTYPE op : kOps) {
                // Trail 0x7F is no trail: only the first character is compared.
                Decoded got = decode(cnv, src, op, t == 0x7F ? 1 : 16);
                ASSERT_TRUE(decodesTo(got, t == 0x7F ? 0 : v, op)) << std::hex << code;
            }
        }
}

// All four-byte forms with leads 0x81 to 0x8F: the BMP area by the ranges,
// the rest up to the supplementary planes unconvertible, four bytes each.
TEST_F(Gb18030, EveryBmpAreaFourByteFormDecodesAsTheData) {
    unsigned mapped = 0;
    for (unsigned i = 0; i < kBmpFourByteKeys; ++i) {
        unsigned v = d->keyValue[i];
        mapped += v != 0;
        ILLCHAR_OPTYPE ops[] = {REP, kOps[i % 3]};
        for (ILLCHAR_OPTYPE op : ops)
            ASSERT_TRUE(decodesTo(decode(cnv, d->keyBytes[i], op), v, op)) << hex(d->keyBytes[i]);
    }
    EXPECT_EQ(mapped, 0x199FCu - 0x10000u); // up to 0x84 0x31 0xA4 0x39
}

TEST_F(Gb18030, SupplementaryFourByteFormsDecode) {
    unsigned char const thirds[] = {0x81, 0x82, 0xA4, 0xC0, 0xFD, 0xFE};
    for (unsigned b1 = 0x90; b1 <= 0xFE; ++b1)
        for (unsigned b2 = 0x30; b2 <= 0x39; ++b2)
            for (unsigned char b3 : thirds)
                for (unsigned b4 = 0x30; b4 <= 0x39; ++b4) {
                    unsigned v = 0x10000 + (b1 - 0x90) * 12600 + (b2 - 0x30) * 1260 +
                                 (b3 - 0x81) * 10 + (b4 - 0x30);
                    if (v > 0x10FFFF) v = 0;
                    Bytes src = {Bytes::value_type(b1), Bytes::value_type(b2), b3,
                                 Bytes::value_type(b4)};
                    for (ILLCHAR_OPTYPE op : kOps)
                        ASSERT_TRUE(decodesTo(decode(cnv, src, op), v, op)) << hex(src);
                }
}

TEST_F(Gb18030, EveryBmpUnitEncodesAsTheData) {
    for (unsigned u = 1; u <= 0xFFFF; ++u) {
        Units src = {Units::value_type(u)};
        if (u >= 0xD800 && u <= 0xDBFF) {
            // A high surrogate with no low half ends the text, unflagged.
            for (ILLCHAR_OPTYPE op : kOps) {
                Encoded e = encode(cnv, src, op);
                ASSERT_TRUE(e.bytes.empty() && !e.flag) << std::hex << u;
            }
            continue;
        }
        unsigned key = keyOf(u);
        Bytes want = key ? bytesOfKey(key) : Bytes();
        for (ILLCHAR_OPTYPE op : kOps) ASSERT_TRUE(encodesTo(encode(cnv, src, op), want, src, op));
    }
}

TEST_F(Gb18030, EverySupplementaryScalarRoundTrips) {
    for (unsigned v = 0x10000; v <= 0x10FFFF; ++v) {
        Units src = {Units::value_type(0xD800 + ((v - 0x10000) >> 10)),
                     Units::value_type(0xDC00 + (v & 0x3FF))};
        Bytes want = supplementaryBytes(v);
        ASSERT_TRUE(encodesTo(encode(cnv, src, STOP), want, src, STOP));
        ASSERT_TRUE(decodesTo(decode(cnv, want, STOP), v, STOP));
    }
}

// The range index gives, for every key and every unit, a record from which the
// search finds what a search from the start finds, and never the terminator.
TEST_F(Gb18030, RangeIndexesAgreeWithAFullSearch) {
    cnv.load();
    auto search = [](sGBRange const* r, unsigned key) -> sGBRange const* {
        while (r->first != 0 && r->last < key) ++r;
        return r->first != 0 && r->first <= key ? r : nullptr;
    };
    sGBRange const* lastDec = oGB2UniRange + 264;
    sGBRange const* lastEnc = oUni2GBRange + 264;
    ASSERT_EQ(lastDec[1].first, 0u);
    std::vector<unsigned> keys;
    for (unsigned k = 0; k <= 0x1A100; ++k) keys.push_back(k);
    for (unsigned k : {254535u, 254536u, 1653135u, 0xFFFFFFFFu}) keys.push_back(k);
    for (unsigned k : keys) {
        sGBRange const* start = cnv.getGB2UniRange(k);
        ASSERT_TRUE(start >= oGB2UniRange && start <= lastDec) << std::hex << k;
        ASSERT_EQ(search(start, k), search(oGB2UniRange, k)) << std::hex << k;
    }
    for (unsigned u = 0; u <= 0xFFFF; ++u) {
        sGBRange const* start = cnv.getUni2GBRange(u);
        ASSERT_TRUE(start >= oUni2GBRange && start <= lastEnc) << std::hex << u;
        ASSERT_EQ(search(start, u), search(oUni2GBRange, u)) << std::hex << u;
    }
}

TEST_F(Gb18030, CountsMatchConversions) {
    unsigned char const pool[] = {0x41, 0x30, 0x39, 0x40, 0x7F, 0x80, 0x81, 0x84, 0x90,
                                  0xA2, 0xA5, 0xE3, 0xE4, 0xFE, 0xFF, 0x32, 0x9A};
    unsigned short const wpool[] = {0x41,   0x80,   0xA5,   0x20AC, 0x4E02, 0xE5E5,
                                    0xFFFF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xFFFD};
    Lcg rng(54936);
    for (int round = 0; round < 20000; ++round) {
        Bytes s(1 + rng.below(12));
        for (auto& x : s) x = rng.below(5) ? pool[rng.below(sizeof pool)] : 1 + rng.below(255);
        Units u(1 + rng.below(8));
        for (auto& x : u) x = wpool[rng.below(sizeof wpool / sizeof wpool[0])];
        Bytes sz = s;
        sz.push_back(0);
        Units uz = u;
        uz.push_back(0);
        ASSERT_EQ(cnv.getNumUnits(sz.data(), (unsigned long)-1),
                  decode(cnv, s, REP, 64).units.size())
            << "[" << hex(s) << "]";
        ASSERT_EQ(cnv.getNumBytes(uz.data(), (unsigned long)-1),
                  encode(cnv, u, REP, 128).bytes.size())
            << "[" << hex(u) << "]";
    }
}

} // namespace
