// Feeds arbitrary bytes to one of the served character sets, picked by the
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
#include <vynulib/internal/VynCatalogue.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

unsigned long const ALL = static_cast<unsigned long>(-1);

using vyn::catalogue::Family;

// What the fuzzer may expect of each family:
// - SBCS, DBCS, EUC_CN_KR and UTF16 map one-to-one (DBCS-Ex with its pairs);
// - EUC_JP reads trail bytes loosely, so no round trip is promised;
// - GB18030 has four-byte forms and ranges;
// - UTF8 ignores the option when decoding and accepts some non-shortest forms;
// - UTF16Esc (escapes, sign-widened bytes) and UTF32 (surrogate values pass
//   through) are not one-to-one.
struct Set {
    VynCharSet cs;
    Family family;
};

// The served sets in the catalogue's construction order; byte 0 of an input
// picks one, so the order is what the corpus was made for.
std::vector<Set> const kSets = [] {
    std::vector<Set> v;
    for (VynCharSet cs : vyn::catalogue::kServed)
        v.push_back({cs, vyn::catalogue::find(cs)->family});
    return v;
}();
size_t const kNumSets = kSets.size();

unsigned long const kCaps[] = {0, 1, 2, 3, 5, 6, 7, 16};

void check(bool ok) {
    if (!ok) std::abort();
}

template <class T> std::unique_ptr<T[]> exact(size_t n) {
    return std::unique_ptr<T[]>(new T[n]);
}

bool oneToOne(Family f) {
    return f == Family::SBCS || f == Family::DBCS || f == Family::DBCSEx ||
           f == Family::EUC_CN_KR || f == Family::UTF16;
}

// Source elements (bytes, UTF-16 units, UTF-32 values) and their size.
size_t elementSize(Family f) {
    return f == Family::UTF16 ? 2 : f == Family::UTF32 ? 4 : 1;
}

// These converters stop reading at a positive source limit, so an exactly
// sized source without a terminator is safe for them. The others read a
// character that starts inside the limit whole, up to the terminator.
bool limitBoundsReads(Family f) {
    return f == Family::SBCS || f == Family::UTF16 || f == Family::UTF32;
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
    std::vector<unsigned short> const units = decode(c, term.get(), room, ILLCHAR_REPLACE, &flag,
                                                     set.family == Family::UTF16 ? 0x7FFFFFFF : -1);
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
