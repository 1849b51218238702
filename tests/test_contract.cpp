// The contract every served converter keeps, replayed over all of them: each
// case converts whole, then again at every room from 0 to the full length and
// at every source limit, and each result must be the longest run of whole
// characters that fits, terminated, with nothing written behind the room plus
// the terminator, the flag cleared on entry, and the counts agreeing with the
// conversions.
//
// A case lists its source character by character. Each character converted
// alone gives the pieces a run is made of: the whole conversion must be their
// concatenation, and a conversion that stops early must stop between pieces.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <vynulib/converters/VynCharSetConverter.h>
#include <vynulib/internal/VynCatalogue.h>

#include "utf_test_support.h"

namespace {

using vyn::catalogue::Family;
using Bytes = std::string;
using Units = std::vector<unsigned short>;
unsigned long const kAll = static_cast<unsigned long>(-1);
// A source limit that every converter reads as none.
int const kNoLimit = 0x7FFFFFFF;

// How a family reads what the contract leaves open.
struct Traits {
    Family family;
    bool stopHonoured;  // decoding with ILLCHAR_STOP stops before a bad character
    bool pairFallback;  // decoding: a pair without room becomes U+FFFD in the last unit
    bool pairsAsOne;    // encoding: a surrogate pair is one character, not two units
    bool countsUnits;   // getNumUnits counts UTF-16 units (else characters)
    bool countsBad;     // ... and counts bad input as decoding replaces it
    int limitZeroReads; // bytes read with maxSrc 0: 0 = nothing, -1 = no limit
    int limitNegReads;  // the same for maxSrc -1
};

Traits const kTraits[] = {
    {Family::SBCS, true, false, false, true, true, 0, -1},
    {Family::DBCS, true, false, false, true, true, -1, -1},
    {Family::DBCSEx, true, false, true, true, true, -1, -1},
    {Family::EUC_CN_KR, true, false, false, true, false, -1, -1},
    {Family::EUC_JP, true, false, false, true, false, -1, -1},
    {Family::GB18030, true, false, true, true, true, -1, -1},
    {Family::UTF8, false, true, true, true, false, -1, -1},
    {Family::UTF16, false, false, false, true, true, 0, 0},
    {Family::UTF16Esc, false, false, false, true, true, -1, -1},
    {Family::UTF32, false, false, true, false, true, 0, -1},
};

static_assert(sizeof kTraits / sizeof kTraits[0] == vyn::catalogue::kFamilyCount - 1,
              "a row of traits for every converter family");

Traits const& traitsOf(Family f) {
    for (Traits const& t : kTraits)
        if (t.family == f) return t;
    ADD_FAILURE() << "no traits for a family";
    return kTraits[0];
}

// Source bytes of UTF-16 and UTF-32 text (little-endian, as the converters
// read them).
Bytes le(std::initializer_list<unsigned> values, int width) {
    Bytes b;
    for (unsigned v : values)
        for (int i = 0; i < width; ++i) b += static_cast<char>((v >> (8 * i)) & 0xFF);
    return b;
}
Bytes w16(std::initializer_list<unsigned> v) {
    return le(v, 2);
}
Bytes w32(std::initializer_list<unsigned> v) {
    return le(v, 4);
}

// want: the whole source decoded (ILLCHAR_REPLACE); flag: whether that raises it.
struct DecodeCase {
    VynCharSet cs;
    std::vector<Bytes> chars;
    Units want;
    bool flag;
};

// want: the whole source encoded (ILLCHAR_REPLACE); esc: with ILLCHAR_ESCAPE
// when it differs.
struct EncodeCase {
    VynCharSet cs;
    std::vector<Units> chars;
    Bytes want;
    bool flag;
    Bytes esc;
};

// clang-format off
DecodeCase const kDecodeCases[] = {
    {VYNCS_ISO_8859_1, {"A", "\xE9", "\xFF"}, {0x41, 0xE9, 0xFF}, false},
    {VYNCS_WCP1253, {"\x80", "\xD2", "z"}, {0x20AC, 0xFFFD, 0x7A}, true},
    {VYNCS_WCP932, {"\x82\xA0", "A", "\x82\x9F"}, {0x3042, 0x41, 0x3041}, false},
    {VYNCS_WCP932, {"\x82", " ", "B"}, {0xFFFD, 0x20, 0x42}, true},
    // 0x81 is no trail byte in 936: the first 0x81 is bad, the second leads.
    {VYNCS_WCP936, {"\x81", "\x81\x41"}, {0xFFFD, 0x4E04}, true},
    {VYNCS_BIG5, {"\xA1", "\x7F", "\xA4\x40", "\x82"}, {0xFFFD, 0x7F, 0x4E00, 0xFFFD}, true},
    {VYNCS_SJIS0213, {"a", "\x87\xA0", "z"}, {0x61, 0xD840, 0xDC0B, 0x7A}, false},
    {VYNCS_SJIS0213, {"\x87\xA0", "\x87", " ", "\x82"}, {0xD840, 0xDC0B, 0xFFFD, 0x20, 0xFFFD}, true},
    {VYNCS_EUC_KR, {"\xA2\xE6"}, {0xFFFD}, true}, // no euro sign in this KS X 1001
    // A lead without a G1 follower goes alone; the follower starts anew.
    {VYNCS_EUC_CN, {"\xB0", "A", "\xB0\xA1"}, {0xFFFD, 0x41, 0x554A}, true},
    {VYNCS_EUC_KR, {"\xB0", "\x7F"}, {0xFFFD, 0xFFFD}, true},
    {VYNCS_EUC_CN, {"\xB0", "\xA0", "\xFF"}, {0xFFFD, 0xFFFD, 0xFFFD}, true},
    {VYNCS_EUC_JP, {"\xA4\x22", "\x5C", "\x80\xDC", "\x80\xFE"}, {0x3042, 0x5C, 0xA5, 0x203E}, false},
    {VYNCS_EUC_JP, {"\x7F", "\x8E\xB1", "A", "\x8E"}, {0xFFFD, 0xFF71, 0x41, 0xFFFD}, true},
    {VYNCS_EUC_JP, {"\x8F", "\xB0\xA1", "\x8F", "\xB0"}, {0xFFFD, 0x4E9C, 0xFFFD, 0xFFFD}, true},
    {VYNCS_GB18030, {"A", "\x81\x40", "\x81\x30\x81\x30", "\x90\x30\x81\x30", "\x81\x30\x81\x30"},
     {0x41, 0x4E02, 0x80, 0xD800, 0xDC00, 0x80}, false},
    {VYNCS_GB18030, {"\xE3\x32\x9A\x36", "\x84\x31\xA5\x30", "\x80", "\xFF", "A"},
     {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0x41}, true},
    {VYNCS_GB18030, {"\x81", "\x30", "\x81\x41"}, {0xFFFD, 0x30, 0x4E04}, true},
    {VYNCS_UTF8, {"a", "\xC3\xA9", "\xE2\x82\xAC"}, {0x61, 0xE9, 0x20AC}, false},
    // A four-byte sequence decodes right and still raises the flag: its
    // followers are read again as stray continuation bytes.
    {VYNCS_UTF8, {"a", "\xF0\x9F\x98\x80", "b"}, {0x61, 0xD83D, 0xDE00, 0x62}, true},
    {VYNCS_UTF8, {"\xC3", "\x28", "\x80", "A", "\xE2\x82"}, {0xFFFD, 0x28, 0x41, 0xFFFD}, true},
    {VYNCS_UTF8, {"\xED\xA0\x80", "\xEF\xBB\xBF", "\xF4\x90\x80\x80"}, {0xD800, 0xFEFF, 0xDC00, 0xDC00}, true},
    {VYNCS_UTF16, {w16({0x41}), w16({0xD83D}), w16({0xDE00}), w16({0xFFFF})}, {0x41, 0xD83D, 0xDE00, 0xFFFF}, false},
    {VYNCS_UTF16ESC, {"A", "U+00E9", "U+D83D", "U+DE00", "u", "+"}, {0x41, 0xE9, 0xD83D, 0xDE00, 0x75, 0x2B}, false},
    {VYNCS_UTF32, {w32({0x41}), w32({0x1F600}), w32({0xFFFF}), w32({0x10FFFF})}, {0x41, 0xD83D, 0xDE00, 0xFFFF, 0xDBFF, 0xDFFF}, false},
};

EncodeCase const kEncodeCases[] = {
    {VYNCS_ISO_8859_1, {{0x41}, {0xFF}, {0x100}, {0xD83D, 0xDE00}}, "A\xFF???", true, "A\xFFU+0100U+D83DU+DE00"},
    {VYNCS_WCP1252, {{0x20AC}, {0x3A9}}, "\x80?", true, "\x80U+03A9"},
    {VYNCS_WCP936, {{0x4E96}, {0x41}}, "\x81\x81" "A", false, ""},
    {VYNCS_WCP932, {{0x3042}, {0x41}, {0x20AC}, {0x3042}}, "\x82\xA0" "A?\x82\xA0", true, "\x82\xA0" "AU+20AC\x82\xA0"},
    // Sets without characters beyond the BMP take surrogates one unit at a time.
    {VYNCS_WCP932, {{0xD840}, {0xDC0B}}, "??", true, "U+D840U+DC0B"},
    {VYNCS_SJIS0213, {{0xD840, 0xDC0B}, {0xD83D, 0xDE00}, {0x41}}, "\x87\xA0?A", true, "\x87\xA0U+D83DU+DE00A"},
    {VYNCS_SJIS0213, {{0xD800}, {0x41}, {0xDC0B}}, "?A?", true, "U+D800AU+DC0B"},
    {VYNCS_EUC_KR, {{0x20AC}, {0x41}}, "?A", true, "U+20ACA"},
    {VYNCS_EUC_CN, {{0x7F}, {0x3000}}, "?\xA1\xA1", true, "U+007F\xA1\xA1"},
    {VYNCS_EUC_JP, {{0xA5}, {0x203E}, {0x5C}, {0xFF71}, {0x7F}}, "\x80\xDC\x80\xFE\\\x8E\xB1?", true, "\x80\xDC\x80\xFE\\\x8E\xB1U+007F"},
    {VYNCS_EUC_JP, {{0xD83D}, {0xDE00}}, "??", true, "U+D83DU+DE00"},
    {VYNCS_GB18030, {{0x41}, {0x4E02}, {0xD800, 0xDC00}, {0x80}, {0xDC00}}, "A\x81\x40\x90\x30\x81\x30\x81\x30\x81\x30?", true, "A\x81\x40\x90\x30\x81\x30\x81\x30\x81\x30U+DC00"},
    {VYNCS_UTF8, {{0x41}, {0xE9}, {0x20AC}, {0xD83D, 0xDE00}, {0xDC00}}, "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xED\xB0\x80", false, ""},
    {VYNCS_UTF16, {{0x41}, {0xD83D}, {0xDE00}, {0xFFFF}}, w16({0x41, 0xD83D, 0xDE00, 0xFFFF}), false, ""},
    {VYNCS_UTF16ESC, {{0x41}, {0xE9}, {0xD83D}, {0xDE00}}, "AU+00E9U+D83DU+DE00", false, ""},
    {VYNCS_UTF32, {{0x41}, {0xD83D, 0xDE00}, {0xFFFF}}, w32({0x41, 0x1F600, 0xFFFF}), false, ""},
    {VYNCS_UTF32, {{0xD800}, {0x41}, {0xDC00}}, w32({0x3F, 0x41, 0xDC00}), true, w32({'U', '+', 'D', '8', '0', '0', 0x41, 0xDC00})},
};
// clang-format on

// Text that every set has some of: ASCII, Latin, Greek, Cyrillic, Hebrew,
// Thai, kana, Han, Hangul, half-width kana, the euro sign, and two
// characters beyond the BMP. Each set encodes what it can of it, and the
// result is decoded again.
std::vector<Units> const kProbe = {
    {0x41},   {0xE9},   {0x3A9},  {0x416},  {0x5D0},          {0xE01},          {0x3042},
    {0x4E00}, {0xAC00}, {0xFF71}, {0x20AC}, {0xD842, 0xDF9F}, {0xD83D, 0xDE00}, {0x7A},
};

struct Result {
    Units units;
    Bytes bytes;
    bool flag;
    unsigned long n;
};

class Contract : public ::testing::TestWithParam<VynCharSet> {
protected:
    void SetUp() override {
        c = VynCharSetConverter::getConverter(GetParam());
        entry = vyn::catalogue::find(GetParam());
        ASSERT_NE(entry, nullptr);
        ASSERT_EQ(c->getCharSet(), GetParam()) << "not served by its own converter";
        traits = &traitsOf(entry->family);
        z = static_cast<unsigned>(c->getNullCharSize());
    }

    // The source terminated for this set, with room to spare behind it.
    Bytes terminated(Bytes s) const { return s + Bytes(z + 8, '\0'); }

    Result decode(Bytes const& src, unsigned long room, ILLCHAR_OPTYPE op, int maxSrc = kNoLimit) {
        Bytes s = terminated(src);
        Guarded<unsigned short> dst(room + 1);
        bool flag = true; // must be cleared on entry
        unsigned long n = c->toUTF16(dst.data(), s.data(), room, op, &flag, maxSrc);
        EXPECT_LE(n, room);
        n = std::min(n, room);
        EXPECT_EQ(dst[n], 0) << "no terminator";
        EXPECT_TRUE(dst.canariesIntact()) << "written past room " << room;
        return {dst.head(n), {}, flag, n};
    }

    Result encode(Units src, unsigned long room, ILLCHAR_OPTYPE op) {
        src.push_back(0);
        Guarded<unsigned char> dst(room + z);
        bool flag = true;
        unsigned long n = c->fromUTF16(dst.data(), src.data(), room, op, &flag);
        EXPECT_LE(n, room);
        n = std::min(n, room);
        for (unsigned i = 0; i < z; ++i) {
            EXPECT_EQ(dst[n + i], 0) << "no terminator";
        }
        EXPECT_TRUE(dst.canariesIntact()) << "written past room " << room;
        auto out = dst.head(n);
        return {{}, Bytes(out.begin(), out.end()), flag, n};
    }

    // The characters as the encoder sees them: a pair is two where pairs are
    // not understood.
    std::vector<Units> encoderChars(std::vector<Units> const& given) const {
        std::vector<Units> chars;
        for (Units const& ch : given) {
            if (traits->pairsAsOne) {
                chars.push_back(ch);
            } else {
                for (unsigned short u : ch) chars.push_back({u});
            }
        }
        return chars;
    }

    void replayDecode(std::vector<Bytes> const& chars, Units const* want, bool wantFlag);
    void replayEncode(std::vector<Units> const& chars, Bytes const* want, bool wantFlag,
                      Bytes const* esc);

    VynCharSetConverter* c = nullptr;
    vyn::catalogue::Entry const* entry = nullptr;
    Traits const* traits = nullptr;
    unsigned z = 1;
};

void Contract::replayDecode(std::vector<Bytes> const& chars, Units const* want, bool wantFlag) {
    Bytes src;
    for (Bytes const& ch : chars) src += ch;
    for (ILLCHAR_OPTYPE op : {ILLCHAR_REPLACE, ILLCHAR_STOP}) {
        SCOPED_TRACE(testing::Message() << "decode [" << hex(bytesOf(src)) << "] op " << op);
        // The pieces: each character alone.
        std::vector<Units> pieces;
        std::vector<bool> bad;
        Units whole;
        for (Bytes const& ch : chars) {
            Result r = decode(ch, 64, op);
            pieces.push_back(r.units);
            bad.push_back(r.flag);
        }
        size_t usable = pieces.size(); // pieces a run may hold
        for (size_t i = 0; i < pieces.size(); ++i)
            if (op == ILLCHAR_STOP && bad[i] && traits->stopHonoured) {
                usable = i;
                break;
            }
        for (size_t i = 0; i < usable; ++i)
            whole.insert(whole.end(), pieces[i].begin(), pieces[i].end());

        Result full = decode(src, whole.size() + 8, op);
        ASSERT_EQ(hex(full.units), hex(whole)) << "not the characters' concatenation";
        if (want && op == ILLCHAR_REPLACE) {
            EXPECT_EQ(hex(full.units), hex(*want));
        }
        EXPECT_EQ(full.flag, wantFlag);
        if ((!wantFlag || traits->countsBad) && op == ILLCHAR_REPLACE) {
            size_t count = traits->countsUnits ? whole.size() : usable;
            EXPECT_EQ(c->getNumUnits(terminated(src).data(), kAll), count) << "count";
        }

        // Every room: the longest run of whole pieces that fits.
        for (unsigned long room = 0; room <= whole.size() + 1; ++room) {
            SCOPED_TRACE(testing::Message() << "room " << room);
            Units expect;
            bool fallback = false;
            for (size_t i = 0; i < usable; ++i) {
                if (expect.size() + pieces[i].size() > room) {
                    fallback =
                        traits->pairFallback && pieces[i].size() == 2 && expect.size() + 1 == room;
                    if (fallback) expect.push_back(0xFFFD);
                    break;
                }
                expect.insert(expect.end(), pieces[i].begin(), pieces[i].end());
            }
            Result r = decode(src, room, op);
            ASSERT_EQ(hex(r.units), hex(expect));
            if (!wantFlag) {
                EXPECT_EQ(r.flag, fallback) << "flag";
            }
        }

        // Every source limit: a run of whole pieces, never shorter than the
        // pieces that start inside the limit, growing with it.
        unsigned long const step = z;
        unsigned long const elements = src.size() / step;
        size_t last = 0;
        for (unsigned long k = 1; k <= elements; ++k) {
            SCOPED_TRACE(testing::Message() << "limit " << k);
            Result r = decode(src, whole.size() + 8, op, static_cast<int>(k));
            size_t taken = 0;
            Units run;
            while (taken < usable && run.size() < r.units.size()) {
                run.insert(run.end(), pieces[taken].begin(), pieces[taken].end());
                ++taken;
            }
            ASSERT_EQ(hex(r.units), hex(run)) << "not a run of whole characters";
            size_t started = 0; // characters that start inside the limit
            for (size_t off = 0; started < usable && off < k * step; ++started)
                off += chars[started].size();
            // It stops after the character that reaches the limit; after a
            // replaced lead byte or form it may go on to the next one.
            size_t most = started;
            while (most > 0 && most < usable && bad[most - 1]) ++most;
            EXPECT_LE(taken, most) << "read past the limit";
            while (taken < usable && pieces[taken].empty()) ++taken; // nothing to see
            EXPECT_GE(taken, started) << "stopped before the limit";
            EXPECT_GE(taken, last) << "a larger limit gave less";
            last = taken;
            if (k == elements) {
                EXPECT_EQ(hex(r.units), hex(whole));
            }
        }
        for (int limit : {0, -1}) {
            int reads = limit == 0 ? traits->limitZeroReads : traits->limitNegReads;
            Result r = decode(src, whole.size() + 8, op, limit);
            EXPECT_EQ(hex(r.units), hex(reads == 0 ? Units{} : whole)) << "limit " << limit;
        }
    }
}

void Contract::replayEncode(std::vector<Units> const& given, Bytes const* want, bool wantFlag,
                            Bytes const* esc) {
    std::vector<Units> const chars = encoderChars(given);
    Units src;
    for (Units const& ch : chars) src.insert(src.end(), ch.begin(), ch.end());
    for (ILLCHAR_OPTYPE op : {ILLCHAR_REPLACE, ILLCHAR_ESCAPE, ILLCHAR_STOP}) {
        SCOPED_TRACE(testing::Message() << "encode [" << hex(src) << "] op " << op);
        std::vector<Bytes> pieces;
        size_t usable = chars.size();
        for (size_t i = 0; i < chars.size(); ++i) {
            Result r = encode(chars[i], 128, op);
            pieces.push_back(r.bytes);
            if (op == ILLCHAR_STOP && r.flag && usable == chars.size()) usable = i;
        }
        Bytes whole;
        for (size_t i = 0; i < usable; ++i) whole += pieces[i];

        Result full = encode(src, whole.size() + 16, op);
        ASSERT_EQ(hex(Units(full.bytes.begin(), full.bytes.end())),
                  hex(Units(whole.begin(), whole.end())))
            << "not the characters' concatenation";
        if (want && op == ILLCHAR_REPLACE) {
            EXPECT_EQ(full.bytes, *want);
        }
        if (esc && !esc->empty() && op == ILLCHAR_ESCAPE) {
            EXPECT_EQ(full.bytes, *esc);
        }
        EXPECT_EQ(full.flag, wantFlag);
        if (!wantFlag) {
            Units t = src;
            t.push_back(0);
            EXPECT_EQ(c->getNumBytes(t.data(), kAll), whole.size()) << "count";
            // A budget that ends between characters counts what they encode to.
            size_t units = 0, bytes = 0;
            for (size_t i = 0; i < chars.size(); ++i) {
                units += chars[i].size();
                bytes += pieces[i].size();
                EXPECT_EQ(c->getNumBytes(t.data(), units), bytes) << "count of " << units;
            }
        }
        for (unsigned long room = 0; room <= whole.size() + 1; ++room) {
            SCOPED_TRACE(testing::Message() << "room " << room);
            Bytes expect;
            for (size_t i = 0; i < usable && expect.size() + pieces[i].size() <= room; ++i)
                expect += pieces[i];
            Result r = encode(src, room, op);
            ASSERT_EQ(hex(Units(r.bytes.begin(), r.bytes.end())),
                      hex(Units(expect.begin(), expect.end())));
            if (!wantFlag) {
                EXPECT_FALSE(r.flag) << "flag";
            }
        }
    }
}

TEST_P(Contract, DecodeCases) {
    for (DecodeCase const& k : kDecodeCases)
        if (k.cs == GetParam()) replayDecode(k.chars, &k.want, k.flag);
}

TEST_P(Contract, EncodeCases) {
    for (EncodeCase const& k : kEncodeCases)
        if (k.cs == GetParam()) replayEncode(k.chars, &k.want, k.flag, &k.esc);
}

// The probe text encoded, then what it encoded to decoded again, character
// by character.
TEST_P(Contract, ProbeText) {
    bool anyBad = false;
    std::vector<Bytes> encoded;
    for (Units const& ch : encoderChars(kProbe)) {
        Result r = encode(ch, 32, ILLCHAR_REPLACE);
        anyBad |= r.flag;
        encoded.push_back(r.bytes);
    }
    replayEncode(kProbe, nullptr, anyBad, nullptr);
    // Each piece alone must decode cleanly: '?' for what did not encode.
    bool decodeBad = false;
    for (Bytes const& b : encoded) decodeBad |= decode(b, 32, ILLCHAR_REPLACE).flag;
    replayDecode(encoded, nullptr, decodeBad);
}

// Null source or destination: 0, nothing written, the flag left alone; empty
// source or no room: a lone terminator.
TEST_P(Contract, NullAndEmptyArguments) {
    expectNullArgumentsSafe(*c);
    EXPECT_EQ(c->getNumUnits("AB\0\0\0\0", 0), 0u);
    unsigned short const wide[] = {0x41, 0};
    EXPECT_EQ(c->getNumBytes(wide, 0), 0u);
    EXPECT_TRUE(decode("", 8, ILLCHAR_REPLACE).units.empty());
    EXPECT_TRUE(encode({}, 8, ILLCHAR_REPLACE).bytes.empty());
    EXPECT_TRUE(encode({0x41}, 0, ILLCHAR_REPLACE).bytes.empty());
}

std::vector<VynCharSet> servedSets() {
    return {std::begin(vyn::catalogue::kServed), std::end(vyn::catalogue::kServed)};
}

INSTANTIATE_TEST_SUITE_P(Served, Contract, ::testing::ValuesIn(servedSets()),
                         [](testing::TestParamInfo<VynCharSet> const& p) {
                             return std::string(vyn::catalogue::find(p.param)->name + 6);
                         });

// Every case names a served set, so none is silently skipped.
TEST(ContractCases, NameServedSets) {
    auto served = [](VynCharSet cs) {
        auto const* e = vyn::catalogue::find(cs);
        return e && e->family != Family::None;
    };
    for (DecodeCase const& k : kDecodeCases) {
        EXPECT_TRUE(served(k.cs)) << k.cs;
    }
    for (EncodeCase const& k : kEncodeCases) {
        EXPECT_TRUE(served(k.cs)) << k.cs;
    }
}

} // namespace
