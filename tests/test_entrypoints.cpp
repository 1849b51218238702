// The one-call conversions: guards, terminators, cuts at character
// boundaries, the Latin-1 retry and the file-name escapes. Only the Unicode
// sets are used where the result must not depend on this process's locale.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <vynulib/charset/CharSetConverterManager.h>

namespace {

using Bytes = std::vector<unsigned char>;
using Units = std::vector<unsigned short>;

constexpr unsigned char kCanary = 0xCC;
constexpr size_t kGuard = 16;

unsigned char const* u8(char const* s) {
    return reinterpret_cast<unsigned char const*>(s);
}

bool haveLatin1Table() {
    return VynCharSetConverter::getConverter(VYNCS_ISO_8859_1) !=
           VynCharSetConverter::getConverter(VYNCS_UTF8);
}

std::string hex(unsigned char const* p, size_t n) {
    std::string s;
    char b[4];
    for (size_t i = 0; i < n; ++i) s += (std::snprintf(b, sizeof b, "%02X ", p[i]), b);
    return s;
}

Bytes bytesOf(Units const& u) {
    Bytes b(u.size() * 2);
    std::memcpy(b.data(), u.data(), b.size());
    return b;
}

using B = unsigned char*;
using C = char*;
using W = unsigned short*;

Units const kMixedUnits = {'a', 0xE9, 0x65E5, 0xD83D, 0xDE00, 'z', 0};
char const kMixedUtf8[] = "a\xC3\xA9\xE6\x97\xA5\xF0\x9F\x98\x80z";
// The same without the supplementary character, whose four-byte form the
// UTF-8 decoder flags (and so sends LocalToUTF8 to the Latin-1 retry).
char const kBmpUtf8[] = "a\xC3\xA9\xE6\x97\xA5z";
Units const kBmpUnits = {'a', 0xE9, 0x65E5, 'z'};
char const kBmpEscaped[] = "aU+00E9U+65E5z";

// Every destination size from 0 to more than enough: the output is a prefix
// of the full result cut at a whole character, terminated, and nothing is
// written behind the buffer.
TEST(EntryPoints, OutputIsCutAtACharacterAndStaysInItsBuffer) {
    Bytes const mixedUtf8(kMixedUtf8, kMixedUtf8 + sizeof kMixedUtf8 - 1);
    Bytes const bmpUtf8(kBmpUtf8, kBmpUtf8 + sizeof kBmpUtf8 - 1);
    Bytes const bmpEscaped(kBmpEscaped, kBmpEscaped + sizeof kBmpEscaped - 1);
    Bytes const bmpUtf32 = {'a', 0, 0, 0, 0xE9, 0, 0, 0, 0xE5, 0x65, 0, 0, 'z', 0, 0, 0};
    Bytes const mixedUtf16 = bytesOf(Units(kMixedUnits.begin(), kMixedUnits.end() - 1));
    Bytes const bmpUtf16 = bytesOf(kBmpUnits);
    using Cuts = std::vector<size_t>;
    Cuts const utf8 = {0, 1, 3, 6, 7}, utf16 = {0, 2, 4, 6, 8}, mixed8 = {0, 1, 3, 6, 10, 11},
               mixed16 = {0, 2, 4, 6, 8, 10, 12}, esc = {0, 1, 7, 13, 14},
               utf32 = {0, 4, 8, 12, 16};
    struct Row {
        char const* call;
        std::function<unsigned long(void*, unsigned long)> run; // destination, its size
        size_t elem;       // bytes per counted element (1 bytes, 2 UTF-16 units)
        size_t term;       // terminator bytes
        Bytes const& full; // output when everything fits
        Cuts const& cuts;  // byte lengths that end on a whole character
        bool longestCut;   // the output is the longest cut that fits
    };
#define ROW(call, ...)                                                                             \
    {#call, [](void* d, unsigned long n) { return static_cast<unsigned long>(call); }, __VA_ARGS__}
    Row const rows[] = {
        ROW(UTF16ToUTF8(B(d), kMixedUnits.data(), n), 1, 1, mixedUtf8, mixed8, true),
        ROW(LocalToUTF8(B(d), kBmpUtf8, n, VYNCS_UTF8), 1, 1, bmpUtf8, utf8, true),
        ROW(LocalToUTF8(B(d), kBmpEscaped, n, VYNCS_UTF16ESC), 1, 1, bmpUtf8, utf8, true),
        ROW(LocalPathToUTF8(B(d), kBmpEscaped, static_cast<int>(n)), 1, 1, bmpUtf8, utf8, true),
        ROW(UTF8ToUTF16(W(d), u8(kBmpUtf8), n), 2, 2, bmpUtf16, utf16, true),
        ROW(LocalToUTF16(W(d), kBmpUtf8, static_cast<int>(n), VYNCS_UTF8), 2, 2, bmpUtf16, utf16,
            true),
        ROW(UTF8ToLocal(C(d), u8(kBmpUtf8), n, VYNCS_UTF16), 1, 2, bmpUtf16, utf16, true),
        ROW(UTF16ToLocal(C(d), kMixedUnits.data(), n, VYNCS_UTF16), 1, 2, mixedUtf16, mixed16,
            true),
        ROW(UTF8ToLocal(C(d), u8(kBmpUtf8), n, VYNCS_UTF16ESC), 1, 1, bmpEscaped, esc, true),
        ROW(UTF8ToLocal(C(d), u8(kBmpUtf8), n, VYNCS_UTF32), 1, 4, bmpUtf32, utf32, false),
    };
#undef ROW
    for (Row const& row : rows) {
        size_t const maxSize = (row.full.size() + row.term) / row.elem + 2;
        for (size_t size = 0; size <= maxSize; ++size) {
            SCOPED_TRACE(std::string(row.call) + ", size " + std::to_string(size));
            size_t const cap = size * row.elem;
            Bytes buf(cap + kGuard, kCanary);
            size_t const out = row.run(buf.data(), size) * row.elem;
            for (size_t i = cap; i < buf.size(); ++i) ASSERT_EQ(buf[i], kCanary) << "at " << i;
            if (cap < row.term) {
                EXPECT_EQ(out, 0u);
                EXPECT_EQ(Bytes(buf.begin(), buf.begin() + static_cast<long>(cap)),
                          Bytes(cap, kCanary));
                continue;
            }
            ASSERT_LE(out + row.term, cap);
            EXPECT_TRUE(std::memcmp(buf.data(), row.full.data(), out) == 0) << hex(buf.data(), out);
            EXPECT_EQ(Bytes(buf.begin() + static_cast<long>(out),
                            buf.begin() + static_cast<long>(out + row.term)),
                      Bytes(row.term, 0));
            auto at = std::find(row.cuts.begin(), row.cuts.end(), out);
            ASSERT_NE(at, row.cuts.end()) << "cut inside a character: " << out;
            if (row.longestCut && at + 1 != row.cuts.end()) {
                EXPECT_GT(*(at + 1) + row.term, cap) << "a longer cut fits";
            }
        }
    }
}

// Null pointers and sizes too small for a terminator touch nothing; an empty
// source writes the output set's terminator and nothing else. Either way the
// result is 0.
TEST(EntryPoints, GuardsAndEmptySources) {
    static unsigned short const w[] = {'a', 0};
    struct Row {
        char const* call;
        std::function<long(unsigned char*)> run;
        size_t term; // zero bytes expected at the start of the buffer
    };
#define ROW(term, ...)                                                                             \
    {#__VA_ARGS__, []([[maybe_unused]] B d) { return static_cast<long>(__VA_ARGS__); }, term}
    Row const rows[] = {
        ROW(0, LocalToUTF8(nullptr, "a", 8, VYNCS_UTF8)),
        ROW(0, LocalToUTF8(d, nullptr, 8, VYNCS_UTF8)),
        ROW(0, LocalToUTF8(d, "a", 0, VYNCS_UTF8)),
        ROW(1, LocalToUTF8(d, "", 1, VYNCS_UTF16)),
        ROW(0, UTF8ToLocal(C(d), nullptr, 8, VYNCS_UTF8)),
        ROW(0, UTF8ToLocal(C(d), u8("a"), 0, VYNCS_UTF8)),
        ROW(0, UTF8ToLocal(C(d), u8(""), 3, VYNCS_UTF32)),
        ROW(1, UTF8ToLocal(C(d), u8(""), 1, VYNCS_UTF8)),
        ROW(2, UTF8ToLocal(C(d), u8(""), 4, VYNCS_UTF16)),
        ROW(4, UTF8ToLocal(C(d), u8(""), 4, VYNCS_UTF32)),
        ROW(1, UTF8ToLocal(C(d), u8(""), 4, VYNCS_UTF16ESC)),
        ROW(1, UTF8ToLocal(C(d), u8(""), 4, VYNCS_EUC_TW)),
        ROW(0, LocalToUTF16(W(d), nullptr, 4, VYNCS_UTF8)),
        ROW(0, LocalToUTF16(W(d), "a", 0, VYNCS_UTF8)),
        ROW(0, LocalToUTF16(W(d), "a", -4, VYNCS_UTF8)),
        ROW(2, LocalToUTF16(W(d), "", 1, VYNCS_UTF8)),
        ROW(0, UTF16ToLocal(C(d), nullptr, 8, VYNCS_UTF8)),
        ROW(0, UTF16ToLocal(C(d), w, 1, VYNCS_UTF16)),
        ROW(0, UTF8ToUTF16(W(d), nullptr, 4)),
        ROW(0, UTF8ToUTF16(W(d), u8("a"), 0)),
        ROW(2, UTF8ToUTF16(W(d), u8(""), 3)),
        ROW(0, UTF16ToUTF8(nullptr, w, 8)),
        ROW(0, UTF16ToUTF8(d, w, 0)),
        ROW(0, LocalPathToUTF8(d, nullptr, 8)),
        ROW(0, LocalPathToUTF8(d, "a", 0)),
        ROW(0, LocalPathToUTF8(d, "a", -1)),
        ROW(1, LocalPathToUTF8(d, "", 1)),
        ROW(0, UTF8ToLocalPath(C(d), nullptr, 8)),
        ROW(0, UTF8ToLocalPath(C(d), u8("a"), 0)),
        ROW(0, UTF8ToLocalPath(C(d), u8("a"), -8)),
        ROW(0, GetNumUnits(nullptr, VYNCS_UTF8)),
        ROW(0, GetNumBytes(nullptr, VYNCS_UTF16)),
    };
#undef ROW
    for (Row const& r : rows) {
        SCOPED_TRACE(r.call);
        Bytes buf(16, kCanary);
        EXPECT_EQ(r.run(buf.data()), 0);
        Bytes expected(16, kCanary);
        std::fill(expected.begin(), expected.begin() + static_cast<long>(r.term), 0);
        EXPECT_EQ(buf, expected);
    }
    // The path variant writes the default set's terminator.
    Bytes buf(8, kCanary);
    EXPECT_EQ(UTF8ToLocalPath(reinterpret_cast<char*>(buf.data()), u8(""), 8), 0);
    EXPECT_EQ(buf[static_cast<size_t>(GetNullCharSize(VYNCS_OS_DEFAULT)) - 1], 0);
}

TEST(EntryPoints, InvalidLocalTextIsRetriedAsLatin1) {
    struct Row {
        char const* src;
        VynCharSet cs;
        char const* utf8; // expected output
    };
    // A well-formed four-byte sequence is flagged by the decoder too, so it
    // comes out as its four Latin-1 characters.
    Row const rows[] = {
        {"\xE9", VYNCS_UTF8, "\xC3\xA9"},
        {"caf\xE9", VYNCS_UTF8, "caf\xC3\xA9"},
        {"\xC3(", VYNCS_UTF8, "\xC3\x83("},
        {"\xF0\x9F\x98\x80", VYNCS_UTF8, "\xC3\xB0\xC2\x9F\xC2\x98\xC2\x80"},
        {"\xE9", VYNCS_EUC_TW, "\xC3\xA9"}, // unserved set: decoded as UTF-8 first
    };
    for (Row const& r : rows) {
        SCOPED_TRACE(hex(u8(r.src), std::strlen(r.src)));
        Bytes dst(16, kCanary);
        unsigned long const n = LocalToUTF8(dst.data(), r.src, 16, r.cs);
        if (!haveLatin1Table()) {
            // The retry set decodes as UTF-8 too and fails again: nothing.
            EXPECT_EQ(n, 0u);
            continue;
        }
        ASSERT_EQ(n, std::strlen(r.utf8));
        EXPECT_EQ(std::memcmp(dst.data(), r.utf8, n + 1), 0) << hex(dst.data(), n + 1);

        unsigned short w[16];
        int const k = LocalToUTF16(w, r.src, 16, r.cs);
        EXPECT_EQ(UTF16ToUTF8(dst.data(), w, 16), n);
        EXPECT_EQ(std::memcmp(dst.data(), r.utf8, n + 1), 0);
        EXPECT_EQ(w[k], 0);
    }
    if (!haveLatin1Table()) GTEST_SKIP() << "no ISO 8859-1 table converter in this build";
}

// Only what the escaping writes is read back: upper-case hex after "U+". An
// escaped surrogate pair is the one character again; a decoded unit is not
// looked at again; a decoded zero unit ends the name.
TEST(EntryPoints, PathEscapesAreDecoded) {
    struct Row {
        char const* local;
        char const* utf8;
    } const rows[] = {
        {"U+00E9", "\xC3\xA9"},
        {"U+65E5.txt", "\xE6\x97\xA5.txt"},
        {"dir/U+00E9U+00E9", "dir/\xC3\xA9\xC3\xA9"},
        {"U+D83DU+DE00.png", "\xF0\x9F\x98\x80.png"},
        {"u+00e9", "u+00e9"},
        {"U+00e9", "U+00e9"},
        {"U+00G9", "U+00G9"},
        {"U-00E9", "U-00E9"},
        {"U+00E", "U+00E"},
        {"xU+0041U+0042y", "xABy"},
        {"UU+0041", "UA"},
        {"U+U+0041", "U+A"},
        {"U+0055+0041", "U+0041"},
        {"ab U+0000cd", "ab "},
    };
    for (Row const& r : rows) {
        SCOPED_TRACE(r.local);
        unsigned char dst[64];
        std::memset(dst, kCanary, sizeof dst);
        int const n = LocalPathToUTF8(dst, r.local, sizeof dst);
        ASSERT_EQ(static_cast<size_t>(n), std::strlen(r.utf8));
        EXPECT_EQ(std::memcmp(dst, r.utf8, static_cast<size_t>(n) + 1), 0)
            << hex(dst, static_cast<size_t>(n) + 1);
    }
    // A name that already holds escape text does not come back as it was.
    char local[64];
    unsigned char back[64];
    UTF8ToLocalPath(local, u8("U+0041"), sizeof local);
    EXPECT_EQ(LocalPathToUTF8(back, local, sizeof back), 1);
    EXPECT_EQ(back[0], 'A');
}

// Sources far beyond the small stack buffer: the scratch text moves to the
// heap, so these neither overflow the stack nor stop early.
TEST(EntryPoints, LargeSourcesConvertWhole) {
    constexpr size_t kUnits = 8u << 20;
    std::string src;
    src.reserve(kUnits * 2 + 1);
    for (size_t i = 0; i < kUnits; ++i) src += (i % 2 ? "\xC3\xA9" : "a");
    // 12 MiB of UTF-8 for 8 Mi characters, then 4 MiB of ASCII: 16 MiB.
    src += std::string(4u << 20, 'b');
    size_t const total = src.size(); // 16 MiB

    std::vector<unsigned char> dst(total + 1);
    ASSERT_EQ(LocalToUTF8(dst.data(), src.c_str(), dst.size(), VYNCS_UTF8), total);
    EXPECT_EQ(std::memcmp(dst.data(), src.data(), total + 1), 0);

    std::vector<char> local(total + 1);
    ASSERT_EQ(UTF8ToLocal(local.data(), u8(src.c_str()), local.size(), VYNCS_UTF8), total);
    EXPECT_EQ(std::memcmp(local.data(), src.data(), total + 1), 0);

    // File names: escapes all the way through, decoded in one pass.
    std::string path;
    while (path.size() + 7 <= total) path += "U+00E9x";
    size_t const blocks = path.size() / 7;
    ASSERT_EQ(LocalPathToUTF8(dst.data(), path.c_str(), static_cast<int>(dst.size())),
              static_cast<int>(blocks * 3));
    EXPECT_EQ(std::memcmp(dst.data() + (blocks - 1) * 3, "\xC3\xA9x", 4), 0);
}

// Unserved sets answer as UTF-8.
TEST(EntryPoints, SizeQueriesFollowTheServingConverter) {
    struct Row {
        int cs, min, max, null;
    };
    Row const rows[] = {{65001, 1, 3, 1}, {1200, 2, 2, 2},  {12000, 4, 4, 4}, {1202, 1, 6, 1},
                        {51950, 1, 3, 1}, {50220, 1, 3, 1}, {0, 1, 3, 1}};
    for (Row const& r : rows) {
        SCOPED_TRACE(r.cs);
        VynCharSet const cs = static_cast<VynCharSet>(r.cs);
        EXPECT_EQ(GetMinUnitSize(cs), r.min);
        EXPECT_EQ(GetMaxUnitSize(cs), r.max);
        EXPECT_EQ(GetNullCharSize(cs), r.null);
    }
    VynCharSetConverter* d = VynCharSetConverter::getConverter(VYNCS_OS_DEFAULT);
    EXPECT_EQ(GetNullCharSize(VYNCS_OS_DEFAULT), d->getNullCharSize());
    EXPECT_EQ(GetNumUnits(kBmpEscaped, VYNCS_UTF16ESC), 4u);
    EXPECT_EQ(GetNumBytes(kMixedUnits.data(), VYNCS_UTF16ESC), 1u + 6 * 4 + 1);
}

TEST(EntryPoints, WideStringHelpers) {
    unsigned short const empty[] = {0}, ab[] = {'a', 'b', 0}, ab2[] = {'a', 'b', 0},
                         abc[] = {'a', 'b', 'c', 0}, hi[] = {0xFFFF, 0xD800, 0},
                         hi2[] = {0xFFFF, 0xD800, 0};
    struct Row {
        unsigned short const *a, *b;
        bool equal;
    } const rows[] = {{nullptr, nullptr, true},
                      {nullptr, empty, false},
                      {empty, empty + 0, true},
                      {ab, ab2, true},
                      {ab, abc, false},
                      {hi, hi2, true},
                      {ab, ab, true}};
    for (Row const& r : rows) {
        EXPECT_EQ(VynCharSetWStrEqual(r.a, r.b), r.equal);
        EXPECT_EQ(VynCharSetWStrEqual(r.b, r.a), r.equal);
    }
    EXPECT_EQ(VynCharSetWStrlen(nullptr), 0);
    EXPECT_EQ(VynCharSetWStrlen(empty), 0);
    EXPECT_EQ(VynCharSetWStrlen(abc), 3);
    EXPECT_EQ(VynCharSetWStrlen(hi), 2);
}

} // namespace
