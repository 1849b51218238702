// The vector paths against the scalar one: the same input, capacity and source
// limit must give the same units or bytes, return value and flag on every
// level this machine runs. Pieces of text are placed so that a sequence
// straddles every 16/32/64-byte boundary, the terminator falls at every
// offset of a block, and the capacity ends inside a block. The length scans
// are run against a guard page.
#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <vynulib/charset/VynCharSet.h>
#include <vynulib/converters/VynCharSetConverter.h>
#include <vynulib/internal/VynSimd.h>

namespace {

using vyn::simd::Level;

struct LevelGuard {
    Level m_eSaved = vyn::simd::level();
    ~LevelGuard() { vyn::simd::setLevel(m_eSaved); }
};

std::vector<Level> vectorLevels() {
    std::vector<Level> v;
    for (int l = vyn::simd::kSse2; l <= vyn::simd::bestLevel(); ++l)
        v.push_back(static_cast<Level>(l));
    return v;
}

struct Result {
    std::vector<unsigned char> m_aOut; // the whole destination, guard included
    unsigned long m_uRet;
    bool m_bFlag;
    bool operator==(Result const& o) const {
        return m_aOut == o.m_aOut && m_uRet == o.m_uRet && m_bFlag == o.m_bFlag;
    }
};

// One toUTF16 call; the destination is filled with a marker first so that
// stray writes past the result show up too.
Result decode(VynCharSet cs, std::string const& src, unsigned long cap, int limit) {
    std::vector<unsigned short> dst(cap + 1, 0xBEEF);
    Result r;
    r.m_bFlag = false;
    r.m_uRet = VynCharSetConverter::getConverter(cs)->toUTF16(dst.data(), src.c_str(), cap,
                                                              ILLCHAR_REPLACE, &r.m_bFlag, limit);
    r.m_aOut.assign(reinterpret_cast<unsigned char*>(dst.data()),
                    reinterpret_cast<unsigned char*>(dst.data() + dst.size()));
    return r;
}

Result encode(VynCharSet cs, std::u16string const& src, unsigned long cap, ILLCHAR_OPTYPE op) {
    std::vector<unsigned char> dst(cap + 4, 0xEE);
    Result r;
    r.m_bFlag = false;
    r.m_uRet = VynCharSetConverter::getConverter(cs)->fromUTF16(
        dst.data(), reinterpret_cast<unsigned short const*>(src.c_str()), cap, op, &r.m_bFlag);
    r.m_aOut = dst;
    return r;
}

// Byte pieces that exercise every path of the UTF-8 reader.
char const* const kUtf8Pieces[] = {
    "a",
    "Hello, world. ",
    "\xC3\xA9",
    "\xD0\x96",
    "\xE6\x97\xA5",
    "\xE0\xB8\x81",
    "\xF0\x9F\x98\x80", // four bytes: flag quirk
    "\x80",             // stray continuation
    "\xC3",             // truncated
    "\xE6\x97",         // truncated
    "\xC0\x80",         // overlong zero: a zero unit
    "\xED\xA0\x80",     // encoded surrogate
    "\xFF",
    "\xF8\x88\x80\x80\x80",
    "\x7F",
};

char16_t const* const kUtf16Pieces[] = {
    u"a",      u"Hello ", u"\u00E9", u"\u0416", u"\u65E5", u"\u0E01", u"\U0001F600",
    u"\xD800", // lone high surrogate
    u"\xDC00", // lone low surrogate
    u"\u07FF", u"\u0800", u"\uFFFF", u"\u00FF", u"\u0100",
};

// Text made of n random pieces, biased towards long clean runs so that the
// vector blocks are taken, with the odd bad piece in between.
template <class Str, class Pieces>
Str randomText(std::mt19937& rng, Pieces const& pieces, std::size_t count, std::size_t n) {
    Str s;
    std::uniform_int_distribution<std::size_t> pick(0, count - 1);
    std::size_t const run = 1 + rng() % 7; // a clean piece repeated
    for (std::size_t i = 0; i < n; ++i) {
        std::size_t k = pick(rng);
        if (rng() % 8 != 0) k = run % count < 7 ? run % count : 2;
        s += pieces[k];
    }
    return s;
}

// Capacities and limits around the block sizes.
unsigned long const kCaps[] = {0, 1, 2, 3, 15, 16, 17, 31, 32, 33, 63, 64, 65, 100, 1000};
int const kLimits[] = {-1, 0, 1, 5, 16, 33, 64, 67, 200};
ILLCHAR_OPTYPE const kOps[] = {ILLCHAR_STOP, ILLCHAR_REPLACE, ILLCHAR_ESCAPE};

// run() on the scalar level, then on every vector level: the results must be
// equal. where() names the case when they are not.
template <class Run, class Where> void expectEveryLevelAgrees(Run const& run, Where const& where) {
    vyn::simd::setLevel(vyn::simd::kScalar);
    auto const want = run();
    for (Level l : vectorLevels()) {
        vyn::simd::setLevel(l);
        ASSERT_TRUE(run() == want) << vyn::simd::levelName(l) << where();
    }
}

// Decoding src as cs, at every capacity and source limit above.
void expectDecodingAgrees(VynCharSet cs, std::string const& src) {
    for (unsigned long cap : kCaps)
        for (int limit : kLimits)
            ASSERT_NO_FATAL_FAILURE(expectEveryLevelAgrees(
                [&] { return decode(cs, src, cap, limit); },
                [&] {
                    return " set " + std::to_string(cs) + " cap " + std::to_string(cap) +
                           " limit " + std::to_string(limit);
                }));
}

// Encoding src to cs, at every capacity above with every option.
void expectEncodingAgrees(VynCharSet cs, std::u16string const& src) {
    for (unsigned long cap : kCaps)
        for (ILLCHAR_OPTYPE op : kOps)
            ASSERT_NO_FATAL_FAILURE(expectEveryLevelAgrees([&] { return encode(cs, src, cap, op); },
                                                           [&] {
                                                               return " set " + std::to_string(cs) +
                                                                      " cap " +
                                                                      std::to_string(cap) + " op " +
                                                                      std::to_string(op);
                                                           }));
}

TEST(Simd, Utf8DecodeMatchesScalarAtEveryBoundary) {
    LevelGuard g;
    std::mt19937 rng(11);
    std::size_t const nPieces = sizeof kUtf8Pieces / sizeof *kUtf8Pieces;
    for (int round = 0; round < 300; ++round) {
        std::string text = randomText<std::string>(rng, kUtf8Pieces, nPieces, 1 + rng() % 60);
        // Shift the text across a 64-byte block with an ASCII prefix.
        std::string const src = std::string(rng() % 64, 'x') + text;
        ASSERT_NO_FATAL_FAILURE(expectDecodingAgrees(VYNCS_UTF8, src));
    }
}

TEST(Simd, EncodersMatchScalarAtEveryBoundary) {
    LevelGuard g;
    std::mt19937 rng(12);
    std::size_t const nPieces = sizeof kUtf16Pieces / sizeof *kUtf16Pieces;
    VynCharSet const sets[] = {VYNCS_UTF8,    VYNCS_ISO_8859_1, VYNCS_UTF16,   VYNCS_UTF32,
                               VYNCS_WCP1252, VYNCS_WCP874,     VYNCS_WCP1251, VYNCS_GB18030};
    for (int round = 0; round < 200; ++round) {
        std::u16string text =
            randomText<std::u16string>(rng, kUtf16Pieces, nPieces, 1 + rng() % 50);
        std::u16string const src = std::u16string(rng() % 32, u'x') + text;
        for (VynCharSet cs : sets) ASSERT_NO_FATAL_FAILURE(expectEncodingAgrees(cs, src));
    }
}

TEST(Simd, FixedWidthDecodersMatchScalar) {
    LevelGuard g;
    std::mt19937 rng(13);
    for (int round = 0; round < 300; ++round) {
        // Bytes for ISO 8859-1 and 1252; the same bytes read as UTF-16 and
        // UTF-32 values (with values above 0xFFFF among them).
        std::string src(rng() % 200, '\0');
        for (char& c : src) c = static_cast<char>(1 + rng() % (rng() % 4 == 0 ? 255 : 127));
        std::string wide = src.substr(0, src.size() / 4 * 4); // whole values
        for (std::size_t i = 0; i + 4 <= wide.size(); i += 4 * (1 + rng() % 5))
            wide[i + 2] = static_cast<char>(rng() % 3); // some values above 0xFFFF
        wide += std::string(4, '\0');
        for (VynCharSet cs : {VYNCS_ISO_8859_1, VYNCS_WCP1252, VYNCS_UTF16, VYNCS_UTF32}) {
            std::string const& in = cs == VYNCS_UTF16 || cs == VYNCS_UTF32 ? wide : src;
            ASSERT_NO_FATAL_FAILURE(expectDecodingAgrees(cs, in));
        }
    }
}

// The table-driven decoders take ASCII runs (and, for single bytes, every
// byte) a vector at a time: ASCII runs broken by lead bytes, lead bytes
// without trail bytes, DEL and unmapped bytes at every offset.
TEST(Simd, TableDecodersMatchScalar) {
    LevelGuard g;
    std::mt19937 rng(15);
    VynCharSet const sets[] = {VYNCS_WCP932,  VYNCS_WCP936, VYNCS_WCP949,     VYNCS_WCP950,
                               VYNCS_EUC_KR,  VYNCS_EUC_CN, VYNCS_EUC_JP,     VYNCS_GB18030,
                               VYNCS_WCP1251, VYNCS_WCP874, VYNCS_ISO_8859_8, VYNCS_SJIS0213};
    for (int round = 0; round < 200; ++round) {
        std::string src(rng() % 150, 'a');
        for (char& c : src) {
            unsigned r = rng() % 16;
            c = static_cast<char>(r < 11 ? 0x20 + rng() % 0x60 : 0x80 + rng() % 0x80);
        }
        for (VynCharSet cs : sets) ASSERT_NO_FATAL_FAILURE(expectDecodingAgrees(cs, src));
    }
}

// The double-byte encoders (and GB18030 on a leading run of one- and
// two-byte codes) look codes up sixteen units at a time: one- and two-byte
// codes mixed, unmapped units, four-byte codes and surrogates at every offset
// of a block, capacities ending inside one.
TEST(Simd, DoubleByteEncodersMatchScalar) {
    LevelGuard g;
    std::mt19937 rng(16);
    char16_t const pieces[] = {u'a',      u' ',      u'\u65E5', u'\u672C', u'\u4E2D', u'\u30AB',
                               u'\uAC00', u'\uFF71', u'\u0416', u'\u3000', u'\u4E02', u'\u00E9',
                               u'\u0E01', u'\xD83D', u'\xDE00', u'\uFFFF', u'\u007F'};
    std::size_t const clean = 10; // the pieces before this one map in most of the sets
    VynCharSet const sets[] = {VYNCS_WCP932, VYNCS_WCP936,   VYNCS_WCP949, VYNCS_WCP950,
                               VYNCS_BIG5,   VYNCS_SHIFTJIS, VYNCS_GB18030};
    for (int round = 0; round < 150; ++round) {
        std::u16string src(rng() % 120, u'a');
        unsigned const bad = rng() % 4; // none, or one in 64, 16 or 4
        for (char16_t& c : src) {
            bool const odd = bad != 0 && rng() % (256u >> (2 * bad)) == 0;
            c = odd ? pieces[clean + rng() % (sizeof pieces / sizeof *pieces - clean)]
                    : pieces[rng() % clean];
        }
        for (VynCharSet cs : sets) ASSERT_NO_FATAL_FAILURE(expectEncodingAgrees(cs, src));
    }
}

// The entry points take shortcuts when a text reads back unchanged; every
// result must still be the one of the trip through UTF-16.
TEST(Simd, EntryPointsMatchScalar) {
    LevelGuard g;
    std::mt19937 rng(14);
    std::size_t const nPieces = sizeof kUtf8Pieces / sizeof *kUtf8Pieces;
    // Byte sets only: a UTF-16 or UTF-32 "local" text would be read past
    // the end of these byte strings.
    VynCharSet const sets[] = {VYNCS_UTF8,       VYNCS_WCP1252, VYNCS_WCP932,
                               VYNCS_WCP936,     VYNCS_GB18030, VYNCS_UTF16ESC,
                               VYNCS_ISO_8859_1, VYNCS_WCP874,  VYNCS_EUC_JP};
    unsigned long const sizes[] = {1, 2, 3, 4, 5, 17, 64, 65, 300};
    for (int round = 0; round < 150; ++round) {
        // A third well-formed (pieces 0-5), a third pure ASCII, a third anything.
        std::string src =
            randomText<std::string>(rng, kUtf8Pieces, round % 3 == 1 ? 6 : nPieces, rng() % 40);
        if (round % 3 == 0) // pure ASCII, with the odd "U+0041"
            for (char& c : src) c = static_cast<char>(c & 0x7F ? c & 0x7F : 'U');
        auto const* u8 = reinterpret_cast<unsigned char const*>(src.c_str());
        for (VynCharSet cs : sets) {
            for (unsigned long size : sizes) {
                auto run = [&] {
                    std::vector<unsigned char> out(size + 8, 0xEE);
                    unsigned long r[4];
                    r[0] = LocalToUTF8(out.data(), src.c_str(), size, cs);
                    std::vector<unsigned char> b(size + 8, 0xEE);
                    r[1] = UTF8ToLocal(reinterpret_cast<char*>(b.data()), u8, size, cs);
                    out.insert(out.end(), b.begin(), b.end());
                    std::vector<unsigned short> w(size + 8, 0xBEEF);
                    r[2] = static_cast<unsigned long>(
                        LocalToUTF16(w.data(), src.c_str(), static_cast<int>(size), cs));
                    r[3] = UTF8ToUTF16(w.data() + 4, u8, size);
                    out.insert(out.end(), reinterpret_cast<unsigned char*>(w.data()),
                               reinterpret_cast<unsigned char*>(w.data() + w.size()));
                    out.insert(out.end(), reinterpret_cast<unsigned char*>(r),
                               reinterpret_cast<unsigned char*>(r + 4));
                    return out;
                };
                ASSERT_NO_FATAL_FAILURE(expectEveryLevelAgrees(run, [&] {
                    return " set " + std::to_string(cs) + " size " + std::to_string(size) +
                           " round " + std::to_string(round);
                }));
            }
        }
    }
}

// Text that ends right before an unmapped page: the scans read whole aligned
// blocks and must never touch the next page, with the terminator at every
// offset of the last 128 bytes and the text starting at every offset.
TEST(Simd, ScansStopAtTheTerminatorsBlock) {
    LevelGuard g;
    long const page = sysconf(_SC_PAGESIZE);
    void* mem = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(mem, MAP_FAILED);
    auto* base = static_cast<unsigned char*>(mem);
    ASSERT_EQ(mprotect(base + page, page, PROT_NONE), 0);
    unsigned short out16[256];
    unsigned char out8[1024];
    for (Level l : vectorLevels()) {
        vyn::simd::setLevel(l);
        // The zero unit (or value) at every even offset of the last 128
        // bytes, garbage behind it up to the guard page.
        for (int back = 2; back <= 128; back += 2) {
            std::memset(base + page - 256, 'A', 256);
            unsigned char* term = base + page - back;
            std::memset(term, 0, back % 4 == 0 ? 4 : 2);
            for (int len = 0; len < 60; ++len) {
                unsigned char* s = term - 2 * len;
                EXPECT_EQ(vyn::simd::scanUnitsAt(s, 1000), static_cast<std::size_t>(len));
                EXPECT_EQ(vyn::simd::scanUnitsAt(s + 1 - 1, static_cast<std::size_t>(len / 2)),
                          static_cast<std::size_t>(len / 2));
                auto const* u = reinterpret_cast<unsigned short const*>(s);
                // U+4141 takes three bytes.
                EXPECT_EQ(VynCharSetConverter::getConverter(VYNCS_UTF8)
                              ->fromUTF16(out8, u, sizeof out8 - 1, ILLCHAR_REPLACE, nullptr),
                          static_cast<unsigned long>(3 * len));
                EXPECT_EQ(VynCharSetConverter::getConverter(VYNCS_UTF16)
                              ->toUTF16(out16, s, 255, ILLCHAR_REPLACE, nullptr, 1000),
                          static_cast<unsigned long>(len));
                if (back % 4 == 0) {
                    unsigned char* s32 = term - 4 * (len / 2);
                    EXPECT_EQ(vyn::simd::scanValuesAt(s32, 1000),
                              static_cast<std::size_t>(len / 2));
                }
            }
        }
        // Byte texts: the terminator at every offset of the last block.
        for (int len = 0; len < 200; ++len) {
            unsigned char* s = base + page - 1 - len;
            std::memset(s, 'b', static_cast<std::size_t>(len));
            s[len] = 0;
            for (VynCharSet cs : {VYNCS_UTF8, VYNCS_ISO_8859_1, VYNCS_WCP1252}) {
                EXPECT_EQ(VynCharSetConverter::getConverter(cs)->toUTF16(
                              out16, s, 255, ILLCHAR_REPLACE, nullptr, -1),
                          static_cast<unsigned long>(len < 255 ? len : 255));
            }
        }
    }
    munmap(mem, 2 * page);
}

} // namespace
