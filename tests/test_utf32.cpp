// The UTF-32 converter: its UTF-16 paths, its own UTF-8 paths (five- and
// six-byte forms included) and its counts.
#include <vynulib/converters/VynCharSetConverterUTF32.h>

#include <gtest/gtest.h>

#include <cstring>

#include "utf_test_support.h"

namespace {

unsigned long const ALL = static_cast<unsigned long>(-1);
using U16 = std::vector<unsigned short>;
using U32 = std::vector<unsigned int>;

U32 z32(U32 v) {
    v.push_back(0);
    return v;
}

TEST(Utf32ToUtf16, Table) {
    struct {
        char const* name;
        U32 src;
        unsigned long cap;
        int limit;
        U16 out;
    } const cases[] = {
        {"pair", {0x1F600}, 10, -1, {0xD83D, 0xDE00}},
        {"pair, one unit of room", {0x1F600}, 1, -1, {}},
        {"pair, two units of room after one", {0x41, 0x1F600}, 2, -1, {0x41}},
        {"limit 0 reads nothing", {0x41}, 10, 0, {}},
        {"limit counts values", {0x41, 0x1F600, 0x42}, 10, 2, {0x41, 0xD83D, 0xDE00}},
        {"surrogate values pass", {0xDC00, 0xD800}, 10, -1, {0xDC00, 0xD800}},
        {"above U+10FFFF wraps", {0x110000}, 10, -1, {0xDC00, 0xDC00}},
        {"U+FFFF is one unit", {0xFFFF, 0x10000}, 10, -1, {0xFFFF, 0xD800, 0xDC00}},
        {"capacity 0", {0x41}, 0, -1, {}},
        {"empty", {}, 10, -1, {}},
    };
    VynCharSetConverterUTF32 c(VYNCS_UTF32);
    for (auto const& tc : cases) {
        SCOPED_TRACE(tc.name);
        U32 src = z32(tc.src);
        Guarded<unsigned short> dst(tc.cap + 1);
        bool flag = true;
        unsigned long r = c.toUTF16(dst.data(), src.data(), tc.cap, STOP, &flag, tc.limit);
        ASSERT_EQ(r, tc.out.size());
        EXPECT_EQ(hex(dst.head(r)), hex(tc.out));
        EXPECT_EQ(dst[r], 0);
        EXPECT_FALSE(flag);
        EXPECT_TRUE(dst.canariesIntact());
    }
}

TEST(Utf32FromUtf16, Table) {
    struct {
        char const* name;
        U16 src;
        unsigned long cap; // bytes
        ILLCHAR_OPTYPE op;
        U32 out;
        bool flag;
    } const cases[] = {
        {"pair and lone low", {0xD83D, 0xDE00, 0xDC00}, 100, STOP, {0x1F600, 0xDC00}, false},
        {"lone high, replace", {0xD800, 0x41}, 100, REP, {0x3F, 0x41}, true},
        {"lone high, stop", {0x41, 0xD800, 0x41}, 100, STOP, {0x41}, true},
        {"lone high, escape", {0xD800, 0x41}, 100, ESC, {'U', '+', 'D', '8', '0', '0', 0x41}, true},
        {"escape needs six values", {0xD800, 0x41}, 23, ESC, {}, true},
        {"high before terminator", {0xD800}, 100, REP, {0x3F}, true},
        {"high, high, low", {0xD800, 0xD801, 0xDC00}, 100, REP, {0x3F, 0x10400}, true},
        {"three bytes of room", {0x41}, 3, STOP, {}, false},
        {"seven bytes hold one value", {0x41, 0x42}, 7, STOP, {0x41}, false},
        {"replace fills the room", {0x41, 0xD800, 0x42}, 8, REP, {0x41, 0x3F}, true},
    };
    VynCharSetConverterUTF32 c(VYNCS_UTF32);
    for (auto const& tc : cases) {
        SCOPED_TRACE(tc.name);
        U16 src = z16(tc.src);
        Guarded<unsigned int> dst(tc.cap / 4 + 1);
        bool flag = !tc.flag;
        unsigned long r = c.fromUTF16(dst.data(), src.data(), tc.cap, tc.op, &flag);
        ASSERT_EQ(r, 4 * tc.out.size());
        EXPECT_EQ(hex(dst.head(r / 4)), hex(tc.out));
        EXPECT_EQ(dst[r / 4], 0u);
        EXPECT_EQ(flag, tc.flag);
        EXPECT_TRUE(dst.canariesIntact());
    }
}

TEST(Utf32ToUtf8, Encodings) {
    struct {
        unsigned int v;
        std::string out;
        bool flag;
    } const cases[] = {
        {0xFFFF, "\xEF\xBF\xBF", false},
        {0x1FFFFF, "\xF7\xBF\xBF\xBF", false},
        {0x200000, "\xF8\x88\x80\x80\x80", false},
        {0x7FFFFFFF, "\xFD\xBF\xBF\xBF\xBF\xBF", false},
        {0xD800, "\xEF\xBF\xBD", true},
        {0x80000000, "\xEF\xBF\xBD", true},
    };
    VynCharSetConverterUTF32 c(VYNCS_UTF32);
    for (auto const& tc : cases) {
        SCOPED_TRACE(tc.out);
        U32 src = z32({tc.v});
        Guarded<unsigned char> dst(21);
        bool flag = !tc.flag;
        unsigned long r = c.toUTF8(dst.data(), src.data(), 20, STOP, &flag);
        ASSERT_EQ(r, tc.out.size());
        EXPECT_EQ(hex(dst.head(r)), hex(bytesOf(tc.out)));
        EXPECT_EQ(dst[r], 0);
        EXPECT_EQ(flag, tc.flag);
    }
}

// The capacity is checked after writing: a character may end one byte past
// it (no terminator then), but none is written further out than that.
TEST(Utf32ToUtf8, CapacityIsCheckedAfterWriting) {
    struct {
        char const* name;
        U32 src;
        unsigned long cap;
        std::string out;
        bool terminated;
    } const cases[] = {
        {"exact fit", {0x41, 0x42}, 2, "AB", true},
        {"two bytes into one: overrun by one", {0xE9}, 1, "\xC3\xA9", false},
        {"three bytes into one: stopped before", {0x20AC}, 1, "", true},
        {"after A, euro would end two past", {0x41, 0x20AC}, 2, "A", true},
        {"after A, euro ends one past", {0x41, 0x20AC}, 3, "A\xE2\x82\xAC", false},
        {"six bytes into five: overrun by one", {0x7FFFFFFF}, 5, "\xFD\xBF\xBF\xBF\xBF\xBF", false},
        {"six bytes into four: stopped", {0x41, 0x7FFFFFFF}, 4, "A", true},
        {"capacity 0", {0x41}, 0, "", true},
        {"stops at the zero value", {0x41}, 5, "A", true},
    };
    VynCharSetConverterUTF32 c(VYNCS_UTF32);
    for (auto const& tc : cases) {
        SCOPED_TRACE(tc.name);
        U32 src = z32(tc.src);
        Guarded<unsigned char> dst(tc.cap + 1);
        unsigned long r = c.toUTF8(dst.data(), src.data(), tc.cap, STOP, nullptr);
        ASSERT_EQ(r, tc.out.size());
        EXPECT_EQ(hex(dst.head(r)), hex(bytesOf(tc.out)));
        if (tc.terminated) {
            EXPECT_EQ(dst[r], 0);
        }
        EXPECT_TRUE(dst.canariesIntact());
    }
}

TEST(Utf32ToUtf8, HugeCapacity) {
    U32 const src = z32({0x41, 0x20AC});
    unsigned char dst[8];
    VynCharSetConverterUTF32 c(VYNCS_UTF32);
    EXPECT_EQ(c.toUTF8(dst, src.data(), ALL, STOP, nullptr), 4u);
    EXPECT_STREQ(reinterpret_cast<char*>(dst), "A\xE2\x82\xAC");
}

TEST(Utf32FromUtf8, DecodeOne) {
    struct {
        std::string src;
        unsigned int value;
        long advance;
    } const cases[] = {
        {"\xC0\x80", 0xFFFD, 2}, // overlong
        {"\xE2\x28\xA1", 0xFFFD, 1},
        {"\xEF\xBF\xBF", 0xFFFD, 3},
        {"\xEF\xBF\xBE", 0xFFFD, 3},
        {"\xED\xA0\x80", 0xFFFD, 3},
        {"\x80", 0xFFFD, 1},
        {"\xFE", 0xFFFD, 1},
        {"\xE2\x82", 0xFFFD, 1}, // truncated by the terminator
        {"\xF4\x90\x80\x80", 0x110000, 4},
        {"\xF8\x88\x80\x80\x80", 0x200000, 5},
        {"\xFD\xBF\xBF\xBF\xBF\xBF", 0x7FFFFFFF, 6},
        {"\xFC\x80\x80\x80\x80\xBF", 0xFFFD, 6},
        {std::string(1, '\0'), 0, 1},
    };
    VynCharSetConverterUTF32 c(VYNCS_UTF32);
    for (auto const& tc : cases) {
        SCOPED_TRACE(hex(bytesOf(tc.src)));
        std::vector<unsigned char> buf(tc.src.begin(), tc.src.end());
        buf.push_back(0);
        unsigned char* p = buf.data();
        EXPECT_EQ(c.UTF32fromUTF8(&p), tc.value);
        EXPECT_EQ(p - buf.data(), tc.advance);
    }
}

TEST(Utf32FromUtf8, Conversion) {
    struct {
        char const* name;
        std::string src;
        unsigned long n;
        U32 out;
    } const cases[] = {
        {"whole", "A\xC3\xA9\xF0\x9F\x98\x80", 10, {0x41, 0xE9, 0x1F600}},
        {"cut by n", "ABC", 2, {0x41, 0x42}},
        {"n 0", "ABC", 0, {}},
        {"malformed becomes U+FFFD", "\x80\x41", 10, {0xFFFD, 0x41}},
    };
    VynCharSetConverterUTF32 c(VYNCS_UTF32);
    for (auto const& tc : cases) {
        SCOPED_TRACE(tc.name);
        Guarded<unsigned int> dst(tc.n + 1);
        bool flag = true;
        unsigned long r = c.fromUTF8(
            dst.data(), reinterpret_cast<unsigned char const*>(tc.src.c_str()), tc.n, REP, &flag);
        ASSERT_EQ(r, tc.out.size());
        EXPECT_EQ(hex(dst.head(r)), hex(tc.out));
        EXPECT_EQ(dst[r], 0u);
        EXPECT_FALSE(flag); // never raised here
        EXPECT_TRUE(dst.canariesIntact());
    }
}

TEST(Utf32Count, Table) {
    VynCharSetConverterUTF32 c(VYNCS_UTF32);
    U32 const vals = z32({0x1F600, 0x41});
    struct {
        unsigned long len, result;
    } const units[] = {{ALL, 2}, {7, 1}, {3, 0}, {0, 0}, {100, 2}};
    for (auto const& tc : units) EXPECT_EQ(c.getNumUnits(vals.data(), tc.len), tc.result) << tc.len;

    struct {
        char const* name;
        U16 src;
        unsigned long len, bytes;
    } const bytes[] = {
        {"pair", {0xD83D, 0xDE00}, ALL, 4},
        {"high then other", {0xD800, 0x41}, ALL, 8},
        {"high cut by the count", {0x41, 0xD800, 0xDC00}, 2, 4},
        {"high before terminator", {0x41, 0xD800}, ALL, 4},
        {"lone low", {0xDC00}, ALL, 4},
        {"len 0", {0x41}, 0, 0},
    };
    for (auto const& tc : bytes) {
        SCOPED_TRACE(tc.name);
        U16 src = z16(tc.src);
        EXPECT_EQ(c.getNumBytes(src.data(), tc.len), tc.bytes);
    }
}

// getNumUnits counts values, not the units they become; getNumBytes matches
// fromUTF16 except for a high surrogate before the terminator.
TEST(Utf32Count, AgreementWithConversions) {
    VynCharSetConverterUTF32 c(VYNCS_UTF32);
    U32 const vals = z32({0x41, 0x1F600, 0xE9});
    unsigned short u16[8];
    EXPECT_EQ(c.toUTF16(u16, vals.data(), 7, STOP, nullptr, -1), 4u);
    EXPECT_EQ(c.getNumUnits(vals.data(), ALL), 3u);
    unsigned int back[8];
    EXPECT_EQ(c.fromUTF16(back, u16, 28, REP, nullptr), c.getNumBytes(u16, ALL));

    U16 const hi = z16({0x41, 0xD800});
    EXPECT_EQ(c.fromUTF16(back, hi.data(), 28, REP, nullptr), 8u);
    EXPECT_EQ(c.getNumBytes(hi.data(), ALL), 4u);
}

TEST(Utf32Contract, NullArguments) {
    VynCharSetConverterUTF32 c(VYNCS_UTF32);
    expectNullArgumentsSafe(c);
    unsigned int v[2] = {0x41, 0};
    unsigned char b[2] = {0x77, 0x77};
    bool flag = true;
    EXPECT_EQ(c.fromUTF8(nullptr, b, 1, STOP, &flag), 0u);
    EXPECT_EQ(c.fromUTF8(v, nullptr, 1, STOP, &flag), 0u);
    EXPECT_EQ(v[0], 0x41u);
    EXPECT_EQ(c.toUTF8(b, nullptr, 1, STOP, &flag), 0u);
    EXPECT_FALSE(flag); // cleared before the null check
    EXPECT_EQ(c.toUTF8(nullptr, v, 1, STOP, nullptr), 0u);
    EXPECT_EQ(b[0], 0x77);
}

// Valid scalar values must encode and decode as an independent codec does.
TEST(Utf32Oracle, RandomScalarsMatchIconv) {
    Lcg rng(4242);
    VynCharSetConverterUTF32 c(VYNCS_UTF32);
    for (int round = 0; round < 200; ++round) {
        U32 vals;
        unsigned len = 1 + rng.below(30);
        for (unsigned i = 0; i < len; ++i) {
            unsigned int v;
            do v = rng.below(3) ? 1 + rng.below(0x3000) : 1 + rng.below(0x10FFFF);
            while ((v >= 0xD800 && v <= 0xDFFF) || v == 0xFFFE || v == 0xFFFF);
            vals.push_back(v);
        }
        std::string const ref =
            iconvTo("UTF-8", "UTF-32LE",
                    std::string(reinterpret_cast<char const*>(vals.data()), vals.size() * 4));
        U32 src = z32(vals);
        std::string enc(ref.size() + 8, '\0');
        unsigned long nb = c.toUTF8(reinterpret_cast<unsigned char*>(&enc[0]), src.data(),
                                    ref.size() + 4, STOP, nullptr);
        ASSERT_EQ(enc.substr(0, nb), ref);

        U32 dec(vals.size() + 1);
        unsigned long nv =
            c.fromUTF8(dec.data(), reinterpret_cast<unsigned char const*>(ref.c_str()),
                       vals.size() + 5, STOP, nullptr);
        dec.resize(nv);
        ASSERT_EQ(dec, vals);
    }
}

} // namespace
