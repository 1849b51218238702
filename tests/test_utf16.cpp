// The plain UTF-16 converter (a bounded copy) and the escaped form.
#include <vynulib/converters/VynCharSetConverterUTF16.h>

#include <gtest/gtest.h>

#include <cstring>

#include "utf_test_support.h"

namespace {

unsigned long const ALL = static_cast<unsigned long>(-1);
using U16 = std::vector<unsigned short>;

// --- plain UTF-16 --------------------------------------------------------------

TEST(Utf16Plain, ToUtf16Limits) {
    struct {
        char const* name;
        unsigned long cap;
        int limit;
        unsigned long result;
    } const cases[] = {
        // The -1 the entry points pass copies nothing; kept as callers know it.
        {"limit -1 copies nothing", 10, -1, 0},
        {"limit 0 copies nothing", 10, 0, 0},
        {"limit 3", 10, 3, 3},
        {"capacity 2", 2, 10, 2},
        {"capacity 0", 0, 10, 0},
        {"stops at the zero unit", 10, 100, 4},
    };
    U16 const src = z16({0x41, 0xD83D, 0xDE00, 0xFFFF});
    VynCharSetConverterUTF16 c(VYNCS_UTF16);
    for (auto const& tc : cases) {
        SCOPED_TRACE(tc.name);
        Guarded<unsigned short> dst(tc.cap + 1);
        bool flag = true;
        unsigned long r = c.toUTF16(dst.data(), src.data(), tc.cap, STOP, &flag, tc.limit);
        ASSERT_EQ(r, tc.result);
        EXPECT_EQ(dst.head(r), U16(src.begin(), src.begin() + r));
        EXPECT_EQ(dst[r], 0);
        EXPECT_FALSE(flag);
        EXPECT_TRUE(dst.canariesIntact());
    }
}

TEST(Utf16Plain, FromUtf16ByteCapacity) {
    U16 const src = z16({0x41, 0xD83D, 0xDE00});
    // Capacity in bytes, terminator (two bytes) not counted; odd bytes unused.
    unsigned long const expected[] = {0, 0, 2, 2, 4, 4, 6, 6, 6};
    VynCharSetConverterUTF16 c(VYNCS_UTF16);
    for (unsigned long cap = 0; cap < sizeof expected / sizeof expected[0]; ++cap) {
        SCOPED_TRACE(cap);
        Guarded<unsigned char> dst(cap + 2);
        unsigned long r = c.fromUTF16(dst.data(), src.data(), cap, STOP, nullptr);
        ASSERT_EQ(r, expected[cap]);
        EXPECT_EQ(0, std::memcmp(dst.data(), src.data(), r));
        EXPECT_EQ(dst[r], 0);
        EXPECT_EQ(dst[r + 1], 0);
        EXPECT_TRUE(dst.canariesIntact());
    }
}

// The byte side may sit at any address.
TEST(Utf16Plain, MisalignedByteSide) {
    unsigned short const units[] = {0x41, 0x20AC, 0};
    unsigned char raw[16] = {};
    std::memcpy(raw + 1, units, sizeof units);
    VynCharSetConverterUTF16 c(VYNCS_UTF16);
    unsigned short dst[4];
    EXPECT_EQ(c.toUTF16(dst, raw + 1, 3, STOP, nullptr, 10), 2u);
    EXPECT_EQ(dst[1], 0x20AC);
    EXPECT_EQ(c.getNumUnits(raw + 1, ALL), 2u);
    unsigned char out[16];
    EXPECT_EQ(c.fromUTF16(out + 1, units, 8, STOP, nullptr), 4u);
    EXPECT_EQ(0, std::memcmp(out + 1, units, 6));
}

TEST(Utf16Plain, Counts) {
    U16 const src = z16({0x41, 0x42, 0x43});
    VynCharSetConverterUTF16 c(VYNCS_UTF16);
    struct {
        unsigned long len, result;
    } const units[] = {{ALL, 3}, {0, 0}, {1, 0}, {5, 2}, {6, 3}, {100, 3}}, // len in bytes
        bytes[] = {{ALL, 6}, {0, 0}, {2, 4}, {100, 6}};                     // len in units
    for (auto const& tc : units) EXPECT_EQ(c.getNumUnits(src.data(), tc.len), tc.result) << tc.len;
    for (auto const& tc : bytes) EXPECT_EQ(c.getNumBytes(src.data(), tc.len), tc.result) << tc.len;
}

// --- escaped UTF-16 ------------------------------------------------------------

struct EscDecodeCase {
    char const* name;
    std::string src;
    unsigned long cap;
    int limit;
    U16 out;
};

TEST(Utf16Esc, Decode) {
    EscDecodeCase const cases[] = {
        {"escape", "U+00E9", 10, -1, {0xE9}},
        {"lower-case digit is text", "U+00e9", 10, -1, {0x55, 0x2B, 0x30, 0x30, 0x65, 0x39}},
        {"escaped ASCII accepted", "U+0041", 10, -1, {0x41}},
        {"lone surrogate accepted", "U+D800x", 10, -1, {0xD800, 0x78}},
        {"high byte widens with sign", "\xE9\x80", 10, -1, {0xFFE9, 0xFF80}},
        {"short escape before terminator", "U+00", 10, -1, {0x55, 0x2B, 0x30, 0x30}},
        {"U at the end", "aU", 10, -1, {0x61, 0x55}},
        {"escapes back to back", "U+20ACU+0001", 10, -1, {0x20AC, 1}},
        {"limit in an escape reads it whole", "U+00E9A", 10, 1, {0xE9}},
        {"limit counts bytes", "ABCU+00E9", 10, 3, {0x41, 0x42, 0x43}},
        {"limit 0 is no limit", "AB", 10, 0, {0x41, 0x42}},
        {"capacity", "U+00E9AB", 2, -1, {0xE9, 0x41}},
        {"capacity 0", "AB", 0, -1, {}},
        {"empty", "", 10, -1, {}},
    };
    VynCharSetConverterUTF16Esc c(VYNCS_UTF16ESC);
    for (auto const& tc : cases) {
        SCOPED_TRACE(tc.name);
        Guarded<unsigned short> dst(tc.cap + 1);
        bool flag = true;
        unsigned long r = c.toUTF16(dst.data(), tc.src.c_str(), tc.cap, STOP, &flag, tc.limit);
        ASSERT_EQ(r, tc.out.size());
        EXPECT_EQ(hex(dst.head(r)), hex(tc.out));
        EXPECT_EQ(dst[r], 0);
        EXPECT_FALSE(flag);
        EXPECT_TRUE(dst.canariesIntact());
    }
}

// The look-ahead after "U" ends at the terminator: a source that stops inside
// an escape, with no readable byte behind its terminator, is safe.
TEST(Utf16Esc, LookAheadStopsAtTerminator) {
    char const* const tails[] = {"U", "U+", "U+0", "U+00", "U+00E"};
    VynCharSetConverterUTF16Esc c(VYNCS_UTF16ESC);
    for (char const* t : tails) {
        SCOPED_TRACE(t);
        size_t n = std::strlen(t);
        std::vector<char> exact(t, t + n + 1); // heap block of exactly the text
        unsigned short dst[8];
        EXPECT_EQ(c.toUTF16(dst, exact.data(), 7, STOP, nullptr, -1), n);
        EXPECT_EQ(c.getNumUnits(exact.data(), ALL), n);
    }
}

TEST(Utf16Esc, EncodeCapacity) {
    struct {
        U16 src;
        unsigned long cap;
        std::string out;
    } const cases[] = {
        {{0xD83D, 0xDE00}, 20, "U+D83DU+DE00"},
        {{0xD83D, 0xDE00}, 11, "U+D83D"},
        {{0x41, 0xE9}, 6, "A"},
        {{0x41, 0xE9}, 7, "AU+00E9"},
        {{0xE9, 0x41}, 5, ""},
        {{0x41}, 0, ""},
        {{0x55, 0x2B, 0x30, 0x30, 0x34, 0x31}, 20, "U+0041"}, // ASCII "U" never escaped
        {{0x7F, 0x80}, 20, "\x7FU+0080"},
    };
    VynCharSetConverterUTF16Esc c(VYNCS_UTF16ESC);
    for (auto const& tc : cases) {
        SCOPED_TRACE(tc.out);
        U16 src = z16(tc.src);
        Guarded<unsigned char> dst(tc.cap + 1);
        unsigned long r = c.fromUTF16(dst.data(), src.data(), tc.cap, ESC, nullptr);
        ASSERT_EQ(r, tc.out.size());
        EXPECT_EQ(hex(dst.head(r)), hex(bytesOf(tc.out)));
        EXPECT_EQ(dst[r], 0);
        EXPECT_TRUE(dst.canariesIntact());
    }
}

TEST(Utf16Esc, Counts) {
    VynCharSetConverterUTF16Esc c(VYNCS_UTF16ESC);
    struct {
        std::string src;
        unsigned long len, units;
    } const units[] = {
        {"U+12", ALL, 4},     {"U+00E9", ALL, 1}, {"U+00E9", 5, 5}, // an escape needs all six
        {"AU+00E9B", ALL, 3}, {"AB", 1, 1},       {"AB", 0, 0},     {"\xE9U+20ACU", ALL, 3},
    };
    for (auto const& tc : units) {
        SCOPED_TRACE(tc.src);
        EXPECT_EQ(c.getNumUnits(tc.src.c_str(), tc.len), tc.units);
    }
    U16 const src = z16({0x41, 0xE9, 0xD83D});
    EXPECT_EQ(c.getNumBytes(src.data(), ALL), 13u);
    EXPECT_EQ(c.getNumBytes(src.data(), 2), 7u);
    EXPECT_EQ(c.getNumBytes(src.data(), 0), 0u);
}

// Any UTF-16 text without a literal "U" survives encoding and decoding, and
// the counts match what the conversions produce.
TEST(Utf16Esc, RoundTripAndCountsAgree) {
    Lcg rng(77);
    VynCharSetConverterUTF16Esc c(VYNCS_UTF16ESC);
    for (int round = 0; round < 200; ++round) {
        U16 units;
        unsigned len = rng.below(30);
        for (unsigned i = 0; i < len; ++i) {
            unsigned short u;
            do u = static_cast<unsigned short>(rng.below(4) ? rng.below(0x80) : rng.next());
            while (u == 0 || u == 'U');
            units.push_back(u);
        }
        U16 src = z16(units);
        unsigned long need = c.getNumBytes(src.data(), ALL);
        std::vector<char> enc(need + 1);
        ASSERT_EQ(c.fromUTF16(enc.data(), src.data(), need, ESC, nullptr), need);
        ASSERT_EQ(c.getNumUnits(enc.data(), ALL), units.size());
        U16 dec(units.size() + 1);
        unsigned long r = c.toUTF16(dec.data(), enc.data(), units.size(), STOP, nullptr, -1);
        dec.resize(r);
        ASSERT_EQ(dec, units);
    }
}

TEST(Utf16Contract, NullArguments) {
    VynCharSetConverterUTF16 p(VYNCS_UTF16);
    VynCharSetConverterUTF16Esc e(VYNCS_UTF16ESC);
    expectNullArgumentsSafe(p);
    expectNullArgumentsSafe(e);
}

} // namespace
