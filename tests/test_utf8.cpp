// The UTF-8 converter: lenient decoding, bounded encoding, the counting
// functions, and the places where they deliberately disagree.
#include <vynulib/converters/VynCharSetConverterUTF8.h>

#include <gtest/gtest.h>

#include <cstring>

#include "utf_test_support.h"

namespace {

unsigned long const ALL = static_cast<unsigned long>(-1);
using U16 = std::vector<unsigned short>;
using Bytes = std::vector<unsigned char>;

struct DecodeCase {
    char const* name;
    std::string src;
    unsigned long cap;
    int maxSrc;
    U16 out;
    bool flag;
};

TEST(Utf8Decode, Table) {
    DecodeCase const cases[] = {
        {"ascii", "AB", 10, -1, {0x41, 0x42}, false},
        {"two and three bytes", "\xC3\xA9\xE2\x82\xAC", 10, -1, {0xE9, 0x20AC}, false},
        // A well-formed four-byte sequence decodes right and still raises the
        // flag: its followers are re-read as stray continuation bytes.
        {"four bytes flag", "\xF0\x9F\x98\x80", 10, -1, {0xD83D, 0xDE00}, true},
        {"four bytes, one unit of room", "\xF0\x9F\x98\x80", 1, -1, {0xFFFD}, true},
        {"bad follower re-read as lead", "\xC3\x28", 10, -1, {0xFFFD, 0x28}, true},
        {"stray continuation skipped", "\x80\x41", 10, -1, {0x41}, true},
        {"truncated three bytes at end", "\xE2\x82", 10, -1, {0xFFFD}, true},
        {"overlong NUL kept", std::string("\xC0\x80\x41", 3), 10, -1, {0, 0x41}, false},
        {"encoded surrogate", "\xED\xA0\x80", 10, -1, {0xD800}, false},
        {"above U+10FFFF", "\xF4\x90\x80\x80", 10, -1, {0xDC00, 0xDC00}, true},
        {"byte-order mark is a character", "\xEF\xBB\xBF\x41", 10, -1, {0xFEFF, 0x41}, false},
        {"source limit", "AB", 10, 1, {0x41}, false},
        {"limit inside a sequence reads it whole", "\xE2\x82\xAC\x41", 10, 1, {0x20AC}, false},
        {"limit 0 is no limit", "AB", 10, 0, {0x41, 0x42}, false},
        {"empty source", "", 5, -1, {}, false},
    };
    VynCharSetConverterUTF8 c(VYNCS_UTF8);
    for (auto const& tc : cases) {
        SCOPED_TRACE(tc.name);
        Guarded<unsigned short> dst(tc.cap + 1);
        bool flag = !tc.flag;
        unsigned long r = c.toUTF16(dst.data(), tc.src.c_str(), tc.cap, STOP, &flag, tc.maxSrc);
        ASSERT_EQ(r, tc.out.size());
        EXPECT_EQ(hex(dst.head(r)), hex(tc.out));
        EXPECT_EQ(dst[r], 0);
        EXPECT_EQ(flag, tc.flag);
        EXPECT_TRUE(dst.canariesIntact());
    }
}

// Every capacity around multi-byte characters: never a split character, never a
// write beyond capacity plus terminator.
TEST(Utf8Decode, CapacitySweep) {
    std::string const src = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
    struct {
        unsigned long cap;
        U16 out;
    } const cases[] = {
        {0, {}},
        {1, {0x61}},
        {2, {0x61, 0xE9}},
        {3, {0x61, 0xE9, 0x20AC}},
        {4, {0x61, 0xE9, 0x20AC, 0xFFFD}}, // the pair doesn't fit: U+FFFD in its place
        {5, {0x61, 0xE9, 0x20AC, 0xD83D, 0xDE00}},
        {6, {0x61, 0xE9, 0x20AC, 0xD83D, 0xDE00}},
    };
    VynCharSetConverterUTF8 c(VYNCS_UTF8);
    for (auto const& tc : cases) {
        SCOPED_TRACE(tc.cap);
        Guarded<unsigned short> dst(tc.cap + 1);
        unsigned long r = c.toUTF16(dst.data(), src.c_str(), tc.cap, REP, nullptr, -1);
        ASSERT_EQ(r, tc.out.size());
        EXPECT_EQ(hex(dst.head(r)), hex(tc.out));
        EXPECT_EQ(dst[r], 0);
        EXPECT_TRUE(dst.canariesIntact());
    }
}

struct EncodeCase {
    char const* name;
    U16 src; // the terminator is added
    unsigned long cap;
    ILLCHAR_OPTYPE op;
    std::string out;
    bool flag;
};

TEST(Utf8Encode, Table) {
    EncodeCase const cases[] = {
        {"one to four bytes",
         {0x41, 0xE9, 0x20AC, 0xD83D, 0xDE00},
         20,
         STOP,
         "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80",
         false},
        {"lone low surrogate encoded", {0xDC00}, 20, STOP, "\xED\xB0\x80", false},
        {"lone high, replace", {0xD800, 0x41}, 20, REP, "?A", true},
        {"lone high, stop", {0xD800, 0x41}, 20, STOP, "", true},
        {"lone high, unknown op acts as replace",
         {0xD800, 0x41},
         20,
         static_cast<ILLCHAR_OPTYPE>(3),
         "?A",
         true},
        // The escape drops the follower unconverted.
        {"lone high, escape", {0xD800, 0x41, 0x42}, 20, ESC, "U+D800B", true},
        {"escape needs six bytes", {0x41, 0xD800, 0x41}, 6, ESC, "A", true},
        {"high before terminator, replace", {0xD800}, 20, REP, "?", true},
        {"high then high then low", {0xD800, 0xD801, 0xDC00}, 20, REP, "?\xF0\x90\x90\x80", true},
        {"replace fills the room", {0x41, 0xD800, 0x42}, 2, REP, "A?", true},
    };
    VynCharSetConverterUTF8 c(VYNCS_UTF8);
    for (auto const& tc : cases) {
        SCOPED_TRACE(tc.name);
        U16 src = z16(tc.src);
        Guarded<unsigned char> dst(tc.cap + 1);
        bool flag = false;
        unsigned long r = c.fromUTF16(dst.data(), src.data(), tc.cap, tc.op, &flag);
        ASSERT_EQ(r, tc.out.size());
        EXPECT_EQ(hex(dst.head(r)), hex(bytesOf(tc.out)));
        EXPECT_EQ(dst[r], 0);
        EXPECT_EQ(flag, tc.flag);
        EXPECT_TRUE(dst.canariesIntact());
    }
}

TEST(Utf8Encode, CapacitySweepNeverSplits) {
    U16 const src = z16({0x61, 0xE9, 0x20AC, 0xD83D, 0xDE00});
    // Largest whole-character prefix of "a é € 😀" (1, 2, 3, 4 bytes) per capacity.
    unsigned long const expected[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 10};
    std::string const full = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
    VynCharSetConverterUTF8 c(VYNCS_UTF8);
    for (unsigned long cap = 0; cap < sizeof expected / sizeof expected[0]; ++cap) {
        SCOPED_TRACE(cap);
        Guarded<unsigned char> dst(cap + 1);
        unsigned long r = c.fromUTF16(dst.data(), src.data(), cap, REP, nullptr);
        ASSERT_EQ(r, expected[cap]);
        EXPECT_EQ(0, std::memcmp(dst.data(), full.data(), r));
        EXPECT_EQ(dst[r], 0);
        EXPECT_TRUE(dst.canariesIntact());
    }
}

// The escape takes six bytes off the room but five off the accounting; the
// extra byte it seems to leave must not be written past the buffer.
TEST(Utf8Encode, EscapeAccountingStaysInsideBuffer) {
    struct {
        U16 src;
        unsigned long cap;
        std::string out;
    } const cases[] = {
        {{0xD800, 0x20, 0x41}, 6, "U+D800"},
        {{0xD800, 0x20, 0x41, 0x42}, 7, "U+D800A"},
        {{0xD800, 0x20, 0xD800, 0x20, 0x41}, 12, "U+D800U+D800"},
        {{0xD800, 0x20, 0xE9}, 7, "U+D800"},
    };
    VynCharSetConverterUTF8 c(VYNCS_UTF8);
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

// When the dropped follower is the terminator, nothing behind it is read.
TEST(Utf8Encode, EscapeStopsAtTerminatorFollower) {
    unsigned short const src[] = {0xD800, 0, 0x41, 0x42, 0};
    unsigned char dst[32];
    VynCharSetConverterUTF8 c(VYNCS_UTF8);
    EXPECT_EQ(c.fromUTF16(dst, src, 31, ESC, nullptr), 6u);
    EXPECT_STREQ(reinterpret_cast<char*>(dst), "U+D800");
}

TEST(Utf8Count, Table) {
    VynCharSetConverterUTF8 c(VYNCS_UTF8);
    struct {
        char const* name;
        std::string src;
        unsigned long len;
        unsigned long units;
    } const units[] = {
        {"stray continuation ends the count", "A\x80\x42", ALL, 1},
        {"four bytes count two", "\xF0\x9F\x98\x80", ALL, 2},
        {"bounded", "AB", 1, 1},
        {"sequence longer than the rest", "\xE2\x82\xAC", 2, 0},
        {"followers not inspected", "\xC3\x41\x42", ALL, 2},
        {"truncated at terminator", "A\xE2\x82", ALL, 1},
        {"len 0", "AB", 0, 0},
        {"empty", "", ALL, 0},
    };
    for (auto const& tc : units) {
        SCOPED_TRACE(tc.name);
        EXPECT_EQ(c.getNumUnits(tc.src.c_str(), tc.len), tc.units);
    }
    struct {
        char const* name;
        U16 src;
        unsigned long len;
        unsigned long bytes;
    } const bytes[] = {
        {"one to four", {0x41, 0xE9, 0x20AC, 0xD83D, 0xDE00}, ALL, 10},
        {"high cut by the count", {0xD83D, 0xDE00}, 1, 0},
        {"high before terminator", {0x41, 0xD83D}, ALL, 1},
        {"high then other", {0xD800, 0x41}, ALL, 2},
        {"high then high then low", {0xD800, 0xD801, 0xDC00}, ALL, 5},
        {"lone low", {0xDC00}, ALL, 3},
        {"count consumes the follower", {0xD83D, 0xDE00, 0x41}, 2, 4},
        {"len 0", {0x41}, 0, 0},
    };
    for (auto const& tc : bytes) {
        SCOPED_TRACE(tc.name);
        U16 src = z16(tc.src);
        EXPECT_EQ(c.getNumBytes(src.data(), tc.len), tc.bytes);
    }
}

// The counts size buffers for the conversions, so they must agree on text the
// two handle alike, and differ only where that is deliberate.
TEST(Utf8Count, AgreesWithConversions) {
    VynCharSetConverterUTF8 c(VYNCS_UTF8);
    std::string const texts[] = {"", "plain", "caf\xC3\xA9 \xE2\x82\xAC 5",
                                 "\xF0\x9F\x98\x80\xF0\x9F\x98\x81x", "\xEF\xBB\xBF\xED\xB0\x80"};
    for (auto const& t : texts) {
        SCOPED_TRACE(t);
        U16 dst(64);
        unsigned long r = c.toUTF16(dst.data(), t.c_str(), 63, REP, nullptr, -1);
        EXPECT_EQ(c.getNumUnits(t.c_str(), ALL), r);
        unsigned char back[256];
        unsigned long nb = c.fromUTF16(back, dst.data(), 255, REP, nullptr);
        EXPECT_EQ(c.getNumBytes(dst.data(), ALL), nb);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(back), nb), t);
    }
    // Deliberate differences: the decoder skips a stray continuation byte that
    // ends the count, and the encoder writes "?" for a high surrogate before
    // the terminator that the count leaves out.
    U16 dst(16);
    EXPECT_EQ(c.toUTF16(dst.data(), "A\x80\x42", 15, REP, nullptr, -1), 2u);
    EXPECT_EQ(c.getNumUnits("A\x80\x42", ALL), 1u);
    U16 const hi = z16({0x41, 0xD800});
    unsigned char out[8];
    EXPECT_EQ(c.fromUTF16(out, hi.data(), 7, REP, nullptr), 2u);
    EXPECT_EQ(c.getNumBytes(hi.data(), ALL), 1u);
}

TEST(Utf8Contract, NullArguments) {
    VynCharSetConverterUTF8 c(VYNCS_UTF8);
    expectNullArgumentsSafe(c);
}

// On well-formed text the converter must match an independent codec.
TEST(Utf8Oracle, RandomValidTextMatchesIconv) {
    Lcg rng(20240611);
    VynCharSetConverterUTF8 c(VYNCS_UTF8);
    for (int round = 0; round < 200; ++round) {
        U16 units;
        unsigned len = 1 + rng.below(40);
        for (unsigned i = 0; i < len; ++i) {
            unsigned int cp;
            switch (rng.below(4)) {
            case 0:
                cp = 1 + rng.below(0x7F);
                break;
            case 1:
                cp = 0x80 + rng.below(0x780);
                break;
            case 2:
                do cp = 0x800 + rng.below(0xF800);
                while (cp >= 0xD800 && cp <= 0xDFFF);
                break;
            default:
                cp = 0x10000 + rng.below(0x100000);
                break;
            }
            if (cp > 0xFFFF) {
                units.push_back(static_cast<unsigned short>(0xD800 + ((cp - 0x10000) >> 10)));
                units.push_back(static_cast<unsigned short>(0xDC00 + (cp & 0x3FF)));
            } else {
                units.push_back(static_cast<unsigned short>(cp));
            }
        }
        std::string le(reinterpret_cast<char const*>(units.data()), units.size() * 2);
        std::string const utf8 = iconvTo("UTF-8", "UTF-16LE", le);

        U16 src = z16(units);
        std::string enc(utf8.size() + 1, '\x77');
        unsigned long nb = c.fromUTF16(&enc[0], src.data(), utf8.size(), STOP, nullptr);
        ASSERT_EQ(nb, utf8.size());
        ASSERT_EQ(enc.substr(0, nb), utf8);

        U16 dec(units.size() + 1, 0x7777);
        unsigned long nu = c.toUTF16(dec.data(), utf8.c_str(), units.size(), STOP, nullptr, -1);
        ASSERT_EQ(nu, units.size());
        dec.resize(nu);
        ASSERT_EQ(dec, units);
    }
}

} // namespace
