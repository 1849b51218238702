// UTF-32 in the machine's byte order. Besides the UTF-16 paths it has its own
// UTF-8 paths, which know the five- and six-byte forms.
#include <vynulib/converters/VynCharSetConverterUTF32.h>

#include <vynulib/unicode/VynUChar.h>

#include <cstring>

#include <vynulib/internal/VynConvertCommon.h>
#include <vynulib/internal/VynUtf8.h>
#include <vynulib/internal/VynSimd.h>

using namespace vyn::detail;

namespace {

// The 32-bit side may be any byte buffer: values go through memcpy, so a
// misaligned buffer is no problem.
inline unsigned int loadValue(unsigned char const* p) {
    return loadRaw<unsigned int>(p);
}
inline void storeValue(unsigned char* p, unsigned int v) {
    storeRaw(p, v);
}

} // namespace

VynCharSetConverterUTF32::~VynCharSetConverterUTF32() = default;

unsigned long VynCharSetConverterUTF32::toUTF16(unsigned short* dst, void const* src,
                                                unsigned long dstUnits, ILLCHAR_OPTYPE /*op*/,
                                                bool* illegal, int maxSrc) {
    if (!dst || !src) return 0;
    if (illegal) *illegal = false;
    unsigned char const* p = static_cast<unsigned char const*>(src);
    unsigned long n = dstUnits;
    unsigned long count = 0;
    // A positive limit counts values read, 0 reads nothing, a negative one
    // never runs out.
    long limit = maxSrc;
    if (auto const vec = vyn::simd::g_oKernels.utf32ToUtf16) {
        // Every value read writes a unit or more: n values at most, and no
        // more than a positive limit allows.
        std::size_t bound = n;
        if (limit >= 0 && static_cast<unsigned long>(limit) < bound)
            bound = static_cast<unsigned long>(limit);
        std::size_t const len = vyn::simd::scanValuesAt(p, bound);
        std::size_t i = 0;
        for (;;) {
            std::size_t const k = vec(p + 4 * i, len - i < n ? len - i : n, dst + count);
            i += k;
            count += k;
            n -= k;
            if (i >= len) break;
            // A value above 0xFFFF: a pair, when two units fit.
            if (n < 2) break;
            putPair(dst + count, loadValue(p + 4 * i));
            ++i;
            count += 2;
            n -= 2;
        }
        dst[count] = 0;
        return count;
    }
    while (n != 0 && limit != 0) {
        unsigned int v = loadValue(p);
        if (v == 0) break;
        p += 4;
        if (limit > 0) --limit;
        if (v <= VynUChar::UTF16_MAX) {
            // Surrogate values pass through unchanged.
            dst[count++] = static_cast<unsigned short>(v);
            n -= 1;
        } else {
            if (n < 2) break;
            // Values above 0x10FFFF are not rejected; they wrap into a
            // meaningless pair.
            putPair(dst + count, v);
            count += 2;
            n -= 2;
        }
    }
    dst[count] = 0;
    return count;
}

unsigned long VynCharSetConverterUTF32::fromUTF16(void* dst, unsigned short const* src,
                                                  unsigned long dstCap, ILLCHAR_OPTYPE op,
                                                  bool* illegal) {
    if (!dst || !src) return 0;
    if (illegal) *illegal = false;
    unsigned char* const begin = static_cast<unsigned char*>(dst);
    unsigned char* out = begin;
    unsigned long c = dstCap / 4; // room in values
    auto put = [&out](unsigned int v) {
        storeValue(out, v);
        out += 4;
    };
    if (c == 0) {
        storeValue(out, 0);
        return 0;
    }
    unsigned short const* p = src;
    // The vector kernel needs a known length: units [p, known) hold no zero.
    // A value takes two units at most.
    auto const vec = vyn::simd::g_oKernels.utf16ToUtf32;
    unsigned short const* known = p;
    if (vec) known = p + vyn::simd::scanUnitsAt(p, vyn::simd::satAdd(vyn::simd::satMul(c, 2), 2));
    unsigned int u = *p++;
    while (u != 0) {
        if (!isHigh(u)) {
            put(u); // lone low surrogates included
            if (--c == 0) break;
            if (vec && p < known) {
                std::size_t lim = static_cast<std::size_t>(known - p);
                if (c < lim) lim = c;
                std::size_t const k = vec(p, lim, out);
                p += k;
                out += 4 * k;
                c -= k;
                if (c == 0) break;
            }
            u = *p++;
            continue;
        }
        unsigned int w = *p;
        if (isLow(w)) {
            ++p;
            put(pairValue(u, w));
            if (--c == 0) break;
            u = *p++;
            continue;
        }
        if (illegal) *illegal = true;
        if (op == ILLCHAR_STOP) break;
        if (op == ILLCHAR_ESCAPE) {
            if (c <= 5) break;
            unsigned char esc[6];
            writeEscape(esc, static_cast<unsigned short>(u));
            for (unsigned char b : esc) put(b);
            c -= 6;
        } else {
            put('?');
            c -= 1;
        }
        // The follower is the next unit (a high surrogate looks at its own).
        if (c == 0 || w == 0) break;
        u = *p++;
    }
    storeValue(out, 0);
    return static_cast<unsigned long>(out - begin);
}

unsigned long VynCharSetConverterUTF32::getNumUnits(void const* src, unsigned long len) {
    if (!src || len == 0) return 0;
    unsigned char const* p = static_cast<unsigned char const*>(src);
    // Values, not the UTF-16 units they become: one above 0xFFFF counts once.
    unsigned long max = (len == kAll) ? kAll : len / 4;
    unsigned long count = 0;
    while (count < max && loadValue(p + 4 * count) != 0) ++count;
    return count;
}

unsigned long VynCharSetConverterUTF32::getNumBytes(unsigned short const* src, unsigned long len) {
    if (!src || len == 0) return 0;
    bool const bounded = len != kAll;
    unsigned long bytes = 0;
    while (!bounded || len > 0) {
        unsigned int u = *src;
        if (u == 0) break;
        ++src;
        if (bounded) --len;
        if (isHigh(u)) {
            // Nothing after it within the count: it adds nothing.
            if (bounded && len == 0) break;
            if (*src == 0) break;
            if (isLow(*src)) {
                ++src;
                if (bounded) --len;
            }
        }
        bytes += 4;
    }
    return bytes;
}

unsigned int VynCharSetConverterUTF32::UTF32fromUTF8(unsigned char** pp) {
    unsigned char* p = *pp;
    unsigned int lead = p[0];
    if (lead < 0x80) {
        *pp = p + 1;
        return lead;
    }
    int len;
    unsigned int min, v;
    if (lead < 0xC0 || lead >= 0xFE) {
        *pp = p + 1;
        return 0xFFFD;
    } else if (lead < 0xE0) {
        len = 2, min = 0x80, v = lead & 0x1F;
    } else if (lead < 0xF0) {
        len = 3, min = 0x800, v = lead & 0x0F;
    } else if (lead < 0xF8) {
        len = 4, min = 0x10000, v = lead & 0x07;
    } else if (lead < 0xFC) {
        len = 5, min = 0x200000, v = lead & 0x03;
    } else {
        len = 6, min = 0x4000000, v = lead & 0x01;
    }
    // Followers are tested one at a time; the terminator fails the test, so
    // a truncated sequence never leads past it.
    for (int i = 1; i < len; ++i) {
        if (!isUtf8Cont(p[i])) {
            *pp = p + 1;
            return 0xFFFD;
        }
        v = (v << 6) | (p[i] & 0x3F);
    }
    *pp = p + len;
    if (v < min || (v >= 0xD800 && v <= 0xDFFF) || v == 0xFFFE || v == 0xFFFF) return 0xFFFD;
    return v; // values above 0x10FFFF are kept
}

unsigned long VynCharSetConverterUTF32::fromUTF8(void* dst, unsigned char const* src,
                                                 unsigned long len, ILLCHAR_OPTYPE /*op*/,
                                                 bool* illegal) {
    // Malformed input becomes U+FFFD here, but the flag is never raised.
    if (illegal) *illegal = false;
    if (!dst || !src) return 0;
    unsigned char* out = static_cast<unsigned char*>(dst);
    unsigned char* p = const_cast<unsigned char*>(src); // only read
    unsigned long count = 0;
    while (count < len) {
        unsigned int v = UTF32fromUTF8(&p);
        storeValue(out + 4 * count, v);
        if (v == 0) return count; // the source's terminator stays as ours
        ++count;
    }
    storeValue(out + 4 * count, 0);
    return count;
}

unsigned long VynCharSetConverterUTF32::toUTF8(unsigned char* dst, void const* src,
                                               unsigned long len, ILLCHAR_OPTYPE /*op*/,
                                               bool* illegal) {
    if (illegal) *illegal = false;
    if (!src || !dst) return 0;
    if (len == 0) {
        dst[0] = 0;
        return 0;
    }
    unsigned char const* p = static_cast<unsigned char const*>(src);
    unsigned long count = 0;
    for (;;) {
        unsigned int v = loadValue(p);
        p += 4;
        unsigned char seq[6];
        int l;
        if ((v >= 0xD800 && v <= 0xDFFF) || v >= 0x80000000u) {
            if (illegal) *illegal = true;
            seq[0] = 0xEF, seq[1] = 0xBF, seq[2] = 0xBD;
            l = 3;
        } else if (v < 0x80) {
            // A zero value is written as the terminator and ends it; count < len
            // here, so the byte is inside the buffer.
            if (v == 0) {
                dst[count] = 0;
                return count;
            }
            seq[0] = static_cast<unsigned char>(v);
            l = 1;
        } else {
            // 0xFFFE and 0xFFFF are written like any other three-byte value.
            l = v < 0x800 ? 2 : v <= 0xFFFF ? 3 : v <= 0x1FFFFF ? 4 : v <= 0x3FFFFFF ? 5 : 6;
            putUtf8(seq, v, static_cast<unsigned>(l));
        }
        // The capacity is checked after a character is written, and one that
        // pushes past len is returned without a terminator; callers size for
        // that. But a character that would end beyond the terminator slot
        // (len + 1 bytes) is not written at all: we stop before it,
        // terminated. So only a one-byte overrun keeps the unterminated form.
        // The test is written so that a len of all bits set cannot wrap
        // (count < len here).
        if (static_cast<unsigned long>(l) - 1 > len - count) {
            dst[count] = 0;
            return count;
        }
        std::memcpy(dst + count, seq, static_cast<size_t>(l));
        count += static_cast<unsigned long>(l);
        if (count < len) continue;
        if (count == len) dst[count] = 0;
        return count;
    }
}
