// The UTF-32 converter's own UTF-8 paths (five- and six-byte forms included),
// and its agreement with an independent codec.
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

TEST(Utf32FromUtf8, NullArguments) {
    VynCharSetConverterUTF32 c(VYNCS_UTF32);
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
