// What is particular to one converter family, beyond the shared contract
// (test_contract.cpp): the lenient UTF-8 reading and its escape accounting,
// the escaped UTF-16 text, source limits that end after a replaced form,
// counts over budgets that end inside a character, and instances made from a
// name, which convert nothing.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <vynulib/converters/VynCharSetConverterMBCS.h>
#include <vynulib/converters/VynCharSetConverterSBCS.h>
#include <vynulib/internal/VynTables.h>

#include "utf_test_support.h"

namespace {

using Units = std::vector<unsigned short>;
unsigned long const kAll = static_cast<unsigned long>(-1);
ILLCHAR_OPTYPE const UNKNOWN = static_cast<ILLCHAR_OPTYPE>(3); // read as replace

std::string w16(std::initializer_list<unsigned short> v) {
    return std::string(reinterpret_cast<char const*>(v.begin()), 2 * v.size());
}

struct DecodeRow {
    VynCharSet cs;
    std::string src;
    unsigned long room;
    int maxSrc;
    ILLCHAR_OPTYPE op;
    Units want;
    bool flag;
};

// clang-format off
DecodeRow const kDecode[] = {
    // UTF-8: an overlong NUL is kept as a zero unit inside the text.
    {VYNCS_UTF8, std::string("\xC0\x80\x41", 3), 9, -1, REP, {0, 0x41}, false},
    {VYNCS_UTF8, "\xF0\x9F\x98\x80", 1, -1, STOP, {0xFFFD}, true}, // op is not consulted
    // The plain UTF-16 copy: -1, what the entry points pass, copies nothing.
    {VYNCS_UTF16, w16({0x41, 0x42}), 9, -1, REP, {}, false},
    {VYNCS_UTF16, w16({0x41, 0x42}), 9, 1, REP, {0x41}, false},
    // Escaped UTF-16: only whole upper-case escapes are read; bytes widen with their sign.
    {VYNCS_UTF16ESC, "U+00e9", 9, -1, REP, {0x55, 0x2B, 0x30, 0x30, 0x65, 0x39}, false},
    {VYNCS_UTF16ESC, "U+0041U+D800x", 9, -1, REP, {0x41, 0xD800, 0x78}, false},
    {VYNCS_UTF16ESC, "\xE9\x80", 9, -1, REP, {0xFFE9, 0xFF80}, false},
    {VYNCS_UTF16ESC, "aU+00", 9, -1, REP, {0x61, 0x55, 0x2B, 0x30, 0x30}, false},
    {VYNCS_UTF16ESC, "ABCU+00E9", 9, 3, REP, {0x41, 0x42, 0x43}, false},
    // UTF-32: values pass unchecked; beyond U+10FFFF they wrap into a pair.
    {VYNCS_UTF32, std::string("\0\xDC\0\0\0\xD8\0\0\0\0\x11\0", 12), 9, -1, REP, {0xDC00, 0xD800, 0xDC00, 0xDC00}, false},
    // The source limit is looked at after the character that follows a
    // replaced multibyte form, not right after it.
    {VYNCS_WCP932, "\x82\x20\x42", 9, 1, REP, {0xFFFD, 0x20}, true},
    {VYNCS_WCP936, "\x81\x81\x41\x42", 9, 2, REP, {0xFFFD, 0x4E04}, true},
    {VYNCS_SJIS0213, "\x87\x20\x42", 9, 1, REP, {0xFFFD, 0x20}, true},
    {VYNCS_GB18030, "\x81\x30\x41\x42", 9, 1, REP, {0xFFFD, 0x30}, true},
    {VYNCS_GB18030, "\x84\x31\xA5\x30\x41\x42", 9, 2, REP, {0xFFFD, 0x41}, true},
    {VYNCS_GB18030, "\x80\x41\x42", 9, 1, REP, {0xFFFD}, true},
    // A four-byte value past U+10FFFF is replaced like any character.
    {VYNCS_GB18030, "\xE3\x32\x9A\x36\x41", 9, 4, REP, {0xFFFD}, true},
    {VYNCS_EUC_CN, "\x80\x41", 9, 1, REP, {0xFFFD}, true},
    {VYNCS_EUC_JP, "\x8E\xB1\x41", 9, 2, REP, {0xFF71}, false},
};

struct EncodeRow {
    VynCharSet cs;
    Units src;
    unsigned long room;
    ILLCHAR_OPTYPE op;
    std::string want;
    bool flag;
};

EncodeRow const kEncode[] = {
    {VYNCS_UTF8, {0xD800, 0x41}, 20, REP, "?A", true},
    {VYNCS_UTF8, {0xD800, 0x41}, 20, STOP, "", true},
    {VYNCS_UTF8, {0xD800, 0x41}, 20, UNKNOWN, "?A", true},
    {VYNCS_UTF8, {0xD800}, 20, REP, "?", true},
    {VYNCS_UTF8, {0xD800, 0xD801, 0xDC00}, 20, REP, "?\xF0\x90\x90\x80", true},
    // The escape of a lone high surrogate drops its follower unconverted, and
    // stops when that follower is the terminator.
    {VYNCS_UTF8, {0xD800, 0x41, 0x42}, 20, ESC, "U+D800B", true},
    {VYNCS_UTF8, {0xD800, 0, 0x41}, 20, ESC, "U+D800", true},
    // The escape takes six bytes off the room but five off the accounting;
    // the byte it seems to leave is never written past the buffer.
    {VYNCS_UTF8, {0xD800, 0x20, 0x41}, 6, ESC, "U+D800", true},
    {VYNCS_UTF8, {0xD800, 0x20, 0x41, 0x42}, 7, ESC, "U+D800A", true},
    {VYNCS_UTF8, {0xD800, 0x20, 0xD800, 0x20, 0x41}, 12, ESC, "U+D800U+D800", true},
    {VYNCS_UTF8, {0xD800, 0x20, 0xE9}, 7, ESC, "U+D800", true},
    {VYNCS_UTF16ESC, {0x55, 0x2B, 0x30, 0x30, 0x34, 0x31}, 20, ESC, "U+0041", false},
    {VYNCS_UTF16ESC, {0x7F, 0x80}, 20, ESC, "\x7FU+0080", false},
    {VYNCS_WCP1252, {0x41, 0x4E00, 0x42}, 9, UNKNOWN, "A?B", true},
    // GB18030: a high surrogate without its low half ends the text, silently.
    {VYNCS_GB18030, {0x42, 0xD800, 0x41}, 8, REP, "B", false},
    {VYNCS_GB18030, {0xD800, 0x41}, 32, ESC, "", false},
    {VYNCS_GB18030, {0xD800, 0xD800, 0xDC00}, 8, REP, "", false},
    {VYNCS_EUC_JP, {0xFF71}, 1, ESC, "", false},
};

struct UnitCountRow {
    VynCharSet cs;
    std::string src;
    unsigned long len;
    unsigned long want;
};

UnitCountRow const kUnitCounts[] = {
    {VYNCS_UTF8, "\xF0\x9F\x98\x80", kAll, 2}, // a pair, though decoding raises the flag
    {VYNCS_UTF8, "A\x80\x42", kAll, 1}, // a stray continuation byte ends the count
    {VYNCS_UTF8, "\xE2\x82\xAC", 2, 0},
    {VYNCS_UTF8, "\xC3\x41\x42", kAll, 2}, // followers are not inspected
    {VYNCS_UTF8, "A\xE2\x82", kAll, 1},
    {VYNCS_UTF16, w16({0x41, 0x42, 0x43}), 5, 2}, // the length counts bytes
    {VYNCS_UTF16, w16({0x41, 0x42, 0x43}), 1, 0},
    {VYNCS_UTF16ESC, "U+12", kAll, 4},
    {VYNCS_UTF16ESC, "U+00E9", 5, 5}, // an escape counts only whole
    {VYNCS_UTF16ESC, "\xE9U+20ACU", kAll, 3},
    {VYNCS_UTF32, std::string("\0\xF6\x01\0\x41\0\0\0", 8), 7, 1}, // values, not units
    {VYNCS_WCP1252, std::string("A\xFF\0B", 4), 3, 2},
    {VYNCS_EUC_CN, "A\xB0\xA1", 2, 2}, // a cut lead counts alone
    {VYNCS_EUC_CN, "A\xB0", kAll, 2},
    {VYNCS_EUC_JP, "A\xA4\xA2", 2, 1}, // a cut two-byte form is not counted
    {VYNCS_EUC_JP, "A\x8E\xB1", 2, 1},
    {VYNCS_EUC_JP, "\x8F\xB0\xA1", 2, 0},
    {VYNCS_EUC_JP, "\x8F\xB0\xA1", 3, 2},
    {VYNCS_EUC_JP, "A\xA4", kAll, 1}, // though decoding gives A U+FFFD
    {VYNCS_EUC_JP, "A\x8F\x41", kAll, 1},
    {VYNCS_GB18030, "\x81\x30\x81\x30\x41", 3, 3}, // a four-byte form counts only whole
    {VYNCS_GB18030, "\x81\x30\x81\x30\x41", 4, 1},
};

struct ByteCountRow {
    VynCharSet cs;
    Units src;
    unsigned long len;
    unsigned long want;
};

ByteCountRow const kByteCounts[] = {
    // A high surrogate cut by the length or before the terminator adds nothing.
    {VYNCS_UTF8, {0xD83D, 0xDE00}, 1, 0},
    {VYNCS_UTF8, {0x41, 0xD83D}, kAll, 1},
    {VYNCS_UTF8, {0xD800, 0x41}, kAll, 2},
    {VYNCS_UTF8, {0xD83D, 0xDE00, 0x41}, 2, 4},
    {VYNCS_SJIS0213, {0x41, 0xD800}, kAll, 1},
    {VYNCS_SJIS0213, {0x41, 0xD840, 0xDC0B}, 2, 1},
    {VYNCS_SJIS0213, {0xD83D, 0xDE00}, kAll, 1},
    {VYNCS_GB18030, {0x41, 0xD800, 0xDC00, 0x4E02, 0xDC00}, 2, 1},
    {VYNCS_UTF32, {0x41, 0xD800}, kAll, 4},
    {VYNCS_UTF32, {0x41, 0xD800, 0xDC00}, 2, 4},
    {VYNCS_UTF16ESC, {0x41, 0xE9, 0xD83D}, 2, 7},
    {VYNCS_EUC_JP, {0x3000, 0xFF71, 0x41}, 2, 4},
    {VYNCS_WCP932, {0x3042, 0x20AC, 0x41}, 1, 2},
    {VYNCS_WCP932, {0x3042, 0x20AC, 0x41}, kAll, 4}, // an unmapped unit counts its '?'
    {VYNCS_WCP932, {0xD840, 0xDC0B}, kAll, 2},
    {VYNCS_SJIS0213, {0xD800, 0x41}, kAll, 2},
    {VYNCS_SJIS0213, {0x3042, 0, 0x41}, kAll, 2},
    {VYNCS_GB18030, {0x41, 0xD800, 0xDC00, 0x4E02, 0xDC00}, 4, 7},
    {VYNCS_GB18030, {0x41, 0xD800, 0xDC00, 0x4E02, 0xDC00}, 5, 8},
};
// clang-format on

VynCharSetConverter& conv(VynCharSet cs) {
    return *VynCharSetConverter::getConverter(cs);
}

TEST(Particulars, Decoding) {
    for (DecodeRow const& k : kDecode) {
        SCOPED_TRACE(testing::Message() << k.cs << " [" << hex(bytesOf(k.src)) << "] room "
                                        << k.room << " limit " << k.maxSrc);
        std::string src = k.src + std::string(8, '\0');
        Guarded<unsigned short> dst(k.room + 1);
        bool flag = !k.flag;
        unsigned long n = conv(k.cs).toUTF16(dst.data(), src.data(), k.room, k.op, &flag, k.maxSrc);
        ASSERT_LE(n, k.room);
        EXPECT_EQ(hex(dst.head(n)), hex(k.want));
        EXPECT_EQ(dst[n], 0);
        EXPECT_EQ(flag, k.flag);
        EXPECT_TRUE(dst.canariesIntact());
    }
}

TEST(Particulars, Encoding) {
    for (EncodeRow const& k : kEncode) {
        SCOPED_TRACE(testing::Message()
                     << k.cs << " [" << hex(k.src) << "] room " << k.room << " op " << k.op);
        Units src = z16(k.src);
        Guarded<unsigned char> dst(k.room + 1);
        bool flag = !k.flag;
        unsigned long n = conv(k.cs).fromUTF16(dst.data(), src.data(), k.room, k.op, &flag);
        ASSERT_LE(n, k.room);
        EXPECT_EQ(hex(dst.head(n)), hex(bytesOf(k.want)));
        EXPECT_EQ(dst[n], 0);
        EXPECT_EQ(flag, k.flag);
        EXPECT_TRUE(dst.canariesIntact());
    }
}

TEST(Particulars, Counting) {
    for (UnitCountRow const& k : kUnitCounts) {
        std::string src = k.src + std::string(8, '\0');
        EXPECT_EQ(conv(k.cs).getNumUnits(src.data(), k.len), k.want)
            << k.cs << " [" << hex(bytesOf(k.src)) << "] len " << k.len;
    }
    for (ByteCountRow const& k : kByteCounts) {
        Units src = z16(k.src);
        EXPECT_EQ(conv(k.cs).getNumBytes(src.data(), k.len), k.want)
            << k.cs << " [" << hex(k.src) << "] len " << k.len;
    }
}

// Reading stops at the source limit alone: three bytes on the heap, no
// terminator behind them.
TEST(Particulars, SingleByteLimitBoundsReading) {
    std::unique_ptr<unsigned char[]> src(new unsigned char[3]{'x', 0xE9, 'y'});
    unsigned short out[8];
    EXPECT_EQ(conv(VYNCS_WCP1252).toUTF16(out, src.get(), 7, REP, nullptr, 3), 3u);
    EXPECT_EQ(out[1], 0xE9);
}

// The look-ahead after "U" ends at the terminator: a source that stops inside
// an escape, in a block of exactly its size, is read safely.
TEST(Particulars, EscapeLookAheadStopsAtTerminator) {
    for (char const* t : {"U", "U+", "U+0", "U+00", "U+00E"}) {
        size_t n = std::strlen(t);
        std::vector<char> exact(t, t + n + 1);
        unsigned short dst[8];
        EXPECT_EQ(conv(VYNCS_UTF16ESC).toUTF16(dst, exact.data(), 7, STOP, nullptr, -1), n) << t;
        EXPECT_EQ(conv(VYNCS_UTF16ESC).getNumUnits(exact.data(), kAll), n) << t;
    }
}

// The byte side of the UTF-16 converter may sit at any address.
TEST(Particulars, Utf16ByteSideMisaligned) {
    unsigned short const units[] = {0x41, 0x20AC, 0};
    unsigned char raw[16] = {};
    std::memcpy(raw + 1, units, sizeof units);
    unsigned short dst[4];
    EXPECT_EQ(conv(VYNCS_UTF16).toUTF16(dst, raw + 1, 3, STOP, nullptr, 10), 2u);
    EXPECT_EQ(dst[1], 0x20AC);
    unsigned char out[16];
    EXPECT_EQ(conv(VYNCS_UTF16).fromUTF16(out + 1, units, 8, STOP, nullptr), 4u);
    EXPECT_EQ(0, std::memcmp(out + 1, units, 4));
}

// Instances made from a name have no table: they convert and count nothing,
// cleanly, and raise no flag.
TEST(Particulars, InstancesWithoutTablesConvertNothing) {
    std::unique_ptr<VynCharSetConverter> const named[] = {
        std::make_unique<VynCharSetConverterSBCS>("cp1252.map", VYNCS_WCP1252),
        std::make_unique<VynCharSetConverterDBCS>("cp932.map", oCP932Type, VYNCS_WCP932),
        std::make_unique<VynCharSetConverterDBCSEx>("sjis2004.map", oCP932Type, VYNCS_SJIS0213),
        std::make_unique<VynCharSetConverterEUC_CN_KR>("GB2312", VYNCS_EUC_CN),
        std::make_unique<VynCharSetConverterEUC_JP>("JIS0208", "JIS0201", "JIS0212", VYNCS_EUC_JP),
        std::make_unique<VynCharSetConverterGB18030>("GB18030", VYNCS_GB18030),
    };
    unsigned short const wide[] = {0x41, 0x3042, 0};
    for (auto const& c : named) {
        SCOPED_TRACE(c->getCharSet());
        expectNullArgumentsSafe(*c);
        Guarded<unsigned short> u(9);
        Guarded<unsigned char> b(9);
        EXPECT_EQ(c->toUTF16(u.data(), "A\x82\xA0", 8, REP, nullptr, -1), 0u);
        EXPECT_EQ(u[0], 0);
        EXPECT_EQ(c->fromUTF16(b.data(), wide, 8, REP, nullptr), 0u);
        EXPECT_EQ(b[0], 0);
        EXPECT_TRUE(u.canariesIntact() && b.canariesIntact());
        if (c->getMaxUnitSize() > 1) { // single bytes are counted without a table
            EXPECT_EQ(c->getNumUnits("A\x82\xA0", kAll), 0u);
            EXPECT_EQ(c->getNumBytes(wide, kAll), 0u);
        }
    }
}

// On well-formed text the UTF-8 converter matches an independent codec.
TEST(Particulars, Utf8MatchesIconv) {
    Lcg rng(20240611);
    for (int round = 0; round < 200; ++round) {
        Units units;
        for (unsigned i = 0, len = 1 + rng.below(40); i < len; ++i) {
            unsigned bases[] = {1, 0x80, 0x800, 0x10000}, spans[] = {0x7F, 0x780, 0xF800, 0x100000};
            unsigned k = rng.below(4), cp;
            do cp = bases[k] + rng.below(spans[k]);
            while (cp >= 0xD800 && cp <= 0xDFFF);
            for (unsigned short u : utf16Of(cp)) units.push_back(u);
        }
        std::string le(reinterpret_cast<char const*>(units.data()), units.size() * 2);
        std::string const utf8 = iconvTo("UTF-8", "UTF-16LE", le);
        Units src = z16(units);
        std::string enc(utf8.size() + 1, '\x77');
        ASSERT_EQ(conv(VYNCS_UTF8).fromUTF16(&enc[0], src.data(), utf8.size(), STOP, nullptr),
                  utf8.size());
        ASSERT_EQ(enc.substr(0, utf8.size()), utf8);
        Units dec(units.size() + 1, 0x7777);
        unsigned long n =
            conv(VYNCS_UTF8).toUTF16(dec.data(), utf8.c_str(), units.size(), STOP, nullptr, -1);
        dec.resize(n);
        ASSERT_EQ(dec, units);
    }
}

} // namespace
