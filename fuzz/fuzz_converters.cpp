// Feeds arbitrary bytes to one of the 41 served character sets, picked by the
// first input byte, through the registry. The second byte picks a capacity and
// an ILLCHAR_OPTYPE; the rest is the source. Decoding runs on a terminated
// copy and, for the converters that never read past a positive source limit,
// also on an exactly sized copy without a terminator. The decoded units are
// then encoded again into exactly sized heap blocks, so the address checker
// sees any write past capacity plus terminator.
//
// Checked, because every converter promises it: results stay within the
// capacity, a terminator sits right behind the output, and for the sets whose
// maps are one-to-one, text that decoded without a complaint encodes back to
// the same bytes.
#include <vynulib/converters/VynCharSetConverter.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

unsigned long const ALL = static_cast<unsigned long>(-1);

enum Family {
    SINGLE,   // one byte per character, one-to-one map
    DOUBLE,   // lead and trail bytes by type table, one-to-one map
    EUC_ONE,  // EUC-CN and EUC-KR: one-to-one
    EUC_JP,   // reads trail bytes loosely: no round trip promised
    GB,       // four-byte forms and ranges
    UTF8,     // decoder ignores op and accepts some non-shortest forms
    UTF16,    // units copied as they are
    UTF16ESC, // escapes and sign-widened bytes: not one-to-one
    UTF32     // surrogate values pass through: not one-to-one
};

struct Set {
    VynCharSet cs;
    Family family;
};

Set const kSets[] = {
    {VYNCS_WCP1250, SINGLE},     {VYNCS_WCP1251, SINGLE},     {VYNCS_WCP1252, SINGLE},
    {VYNCS_WCP1253, SINGLE},     {VYNCS_WCP1254, SINGLE},     {VYNCS_WCP1255, SINGLE},
    {VYNCS_WCP1256, SINGLE},     {VYNCS_WCP1257, SINGLE},     {VYNCS_WCP1258, SINGLE},
    {VYNCS_WCP874, SINGLE},      {VYNCS_ISO_8859_1, SINGLE},  {VYNCS_ISO_8859_2, SINGLE},
    {VYNCS_ISO_8859_3, SINGLE},  {VYNCS_ISO_8859_4, SINGLE},  {VYNCS_ISO_8859_5, SINGLE},
    {VYNCS_ISO_8859_6, SINGLE},  {VYNCS_ISO_8859_7, SINGLE},  {VYNCS_ISO_8859_8, SINGLE},
    {VYNCS_ISO_8859_9, SINGLE},  {VYNCS_ISO_8859_10, SINGLE}, {VYNCS_ISO_8859_11, SINGLE},
    {VYNCS_ISO_8859_13, SINGLE}, {VYNCS_ISO_8859_14, SINGLE}, {VYNCS_ISO_8859_15, SINGLE},
    {VYNCS_ISO_8859_16, SINGLE}, {VYNCS_KOI8R, SINGLE},       {VYNCS_WCP932, DOUBLE},
    {VYNCS_WCP936, DOUBLE},      {VYNCS_WCP949, DOUBLE},      {VYNCS_WCP950, DOUBLE},
    {VYNCS_GB18030, GB},         {VYNCS_BIG5, DOUBLE},        {VYNCS_SHIFTJIS, DOUBLE},
    {VYNCS_SJIS0213, DOUBLE},    {VYNCS_EUC_KR, EUC_ONE},     {VYNCS_EUC_CN, EUC_ONE},
    {VYNCS_EUC_JP, EUC_JP},      {VYNCS_UTF8, UTF8},          {VYNCS_UTF16, UTF16},
    {VYNCS_UTF32, UTF32},        {VYNCS_UTF16ESC, UTF16ESC},
};
size_t const kNumSets = sizeof kSets / sizeof kSets[0];
static_assert(sizeof kSets / sizeof kSets[0] == 41, "one row per served set");

unsigned long const kCaps[] = {0, 1, 2, 3, 5, 6, 7, 16};

void check(bool ok) {
    if (!ok) std::abort();
}

template <class T> std::unique_ptr<T[]> exact(size_t n) {
    return std::unique_ptr<T[]>(new T[n]);
}

bool oneToOne(Family f) {
    return f == SINGLE || f == DOUBLE || f == EUC_ONE || f == UTF16;
}

// Source elements (bytes, UTF-16 units, UTF-32 values) and their size.
size_t elementSize(Family f) {
    return f == UTF16 ? 2 : f == UTF32 ? 4 : 1;
}

// These converters stop reading at a positive source limit, so an exactly
// sized source without a terminator is safe for them. The others read a
// character that starts inside the limit whole, up to the terminator.
bool limitBoundsReads(Family f) {
    return f == SINGLE || f == UTF16 || f == UTF32;
}

bool zeroElement(unsigned char const* p, size_t es) {
    for (size_t i = 0; i < es; ++i)
        if (p[i]) return false;
    return true;
}

// Elements before the first zero element.
size_t terminatedLength(unsigned char const* p, size_t n, size_t es) {
    size_t i = 0;
    while (i < n && !zeroElement(p + i * es, es)) ++i;
    return i;
}

// Decodes into an exactly sized block and checks the common promises.
std::vector<unsigned short> decode(VynCharSetConverter& c, void const* src, unsigned long cap,
                                   ILLCHAR_OPTYPE op, bool* flag, int maxSrc) {
    auto dst = exact<unsigned short>(cap + 1);
    unsigned long r = c.toUTF16(dst.get(), src, cap, op, flag, maxSrc);
    check(r <= cap && dst[r] == 0);
    return std::vector<unsigned short>(dst.get(), dst.get() + r);
}

// Encodes into an exactly sized block (capacity plus the set's terminator);
// returns the bytes written.
std::vector<unsigned char> encode(VynCharSetConverter& c, unsigned short const* src,
                                  unsigned long cap, ILLCHAR_OPTYPE op, bool* flag) {
    size_t const t = static_cast<size_t>(c.getNullCharSize());
    auto dst = exact<unsigned char>(cap + t);
    unsigned long r = c.fromUTF16(dst.get(), src, cap, op, flag);
    check(r <= cap);
    check(zeroElement(dst.get() + r, t));
    return std::vector<unsigned char>(dst.get(), dst.get() + r);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    if (size < 2) return 0;
    Set const set = kSets[data[0] % kNumSets];
    unsigned long const cap = kCaps[data[1] & 7];
    ILLCHAR_OPTYPE const op = static_cast<ILLCHAR_OPTYPE>((data[1] >> 3) % 3);
    data += 2;
    size -= 2;

    VynCharSetConverter* conv = VynCharSetConverter::getConverter(set.cs);
    check(conv && conv->getCharSet() == set.cs);
    VynCharSetConverter& c = *conv;
    size_t const es = elementSize(set.family);
    check(static_cast<size_t>(c.getNullCharSize()) == es);

    // Whole elements only, then a terminator of the set's size.
    size_t const n = size / es;
    size_t const bytes = n * es;
    auto term = exact<unsigned char>(bytes + es);
    std::memcpy(term.get(), data, bytes);
    std::memset(term.get() + bytes, 0, es);
    size_t const len = terminatedLength(term.get(), n, es);

    // Small capacities, where characters get cut, and one that holds all.
    unsigned long const room = static_cast<unsigned long>(len) * 2 + 2;
    bool flag = false;
    decode(c, term.get(), cap, op, &flag, -1);
    decode(c, term.get(), cap, op, nullptr, 0);
    decode(c, term.get(), room, op, &flag, static_cast<int>(bytes / 2 + 1));
    std::vector<unsigned short> const units =
        decode(c, term.get(), room, ILLCHAR_REPLACE, &flag, set.family == UTF16 ? 0x7FFFFFFF : -1);
    bool const clean = !flag;

    if (limitBoundsReads(set.family) && n > 0) {
        // No terminator at all: the limit alone must keep the reads inside.
        auto bare = exact<unsigned char>(bytes);
        std::memcpy(bare.get(), data, bytes);
        std::vector<unsigned short> const bounded =
            decode(c, bare.get(), room, ILLCHAR_REPLACE, nullptr, static_cast<int>(n));
        check(bounded == units);
        check(c.getNumUnits(bare.get(), bytes) == c.getNumUnits(term.get(), ALL));
    }

    // The counts, both length forms; a count never reads past its length.
    unsigned long const counted = c.getNumUnits(term.get(), ALL);
    c.getNumUnits(term.get(), len * es);
    c.getNumUnits(term.get(), bytes / 2);

    // Back from UTF-16: the decoded units, terminated.
    auto u16 = exact<unsigned short>(units.size() + 1);
    if (!units.empty()) std::memcpy(u16.get(), units.data(), units.size() * 2);
    u16[units.size()] = 0;
    unsigned long const need = c.getNumBytes(u16.get(), ALL);
    c.getNumBytes(u16.get(), units.size());
    c.getNumBytes(u16.get(), units.size() / 2);

    encode(c, u16.get(), cap, op, &flag);
    encode(c, u16.get(), cap * es, op, nullptr);
    std::vector<unsigned char> const back =
        encode(c, u16.get(), static_cast<unsigned long>(len * es) + 8, ILLCHAR_REPLACE, &flag);

    if (oneToOne(set.family) && clean) {
        // Every decoded character is mapped, and the maps are one-to-one.
        check(!flag);
        check(back.size() == len * es);
        check(back.empty() || std::memcmp(back.data(), term.get(), back.size()) == 0);
        check(need == len * es);
        check(counted == units.size());
    }
    return 0;
}
