// UTF-16 in the machine's byte order (a bounded copy) and the escaped form,
// a 7-bit text in which every unit of 0x80 or more is written "U+%04X".
// Neither converter reports errors: the flag is cleared and left so.
#include <vynulib/converters/VynCharSetConverterUTF16.h>

#include <cstring>

#include <vynulib/internal/VynConvertCommon.h>
#include <vynulib/internal/VynSimd.h>

using namespace vyn::detail;

namespace {

// The byte side may be any byte buffer: units go through memcpy.
inline unsigned short loadUnit(unsigned char const* p) {
    return loadRaw<unsigned short>(p);
}
inline void storeUnit(unsigned char* p, unsigned short u) {
    storeRaw(p, u);
}

} // namespace

// --- UTF-16 ------------------------------------------------------------------

VynCharSetConverterUTF16::~VynCharSetConverterUTF16() = default;

unsigned long VynCharSetConverterUTF16::toUTF16(unsigned short* dst, void const* src,
                                                unsigned long dstUnits, ILLCHAR_OPTYPE /*op*/,
                                                bool* illegal, int maxSrc) {
    if (!dst || !src) return 0;
    if (illegal) *illegal = false;
    // The source limit counts units to copy and must be positive: the -1 that
    // the entry points pass copies nothing. Callers have long relied on that.
    if (dstUnits == 0 || maxSrc <= 0) return emptyResult(dst);
    unsigned char const* p = static_cast<unsigned char const*>(src);
    unsigned long limit = static_cast<unsigned long>(maxSrc);
    if (vyn::simd::g_oKernels.widen) {
        // Measured with whole aligned blocks, then copied in one go.
        std::size_t const len = vyn::simd::scanUnitsAt(p, dstUnits < limit ? dstUnits : limit);
        std::memcpy(dst, p, 2 * len);
        dst[len] = 0;
        return len;
    }
    unsigned long count = 0;
    while (count < dstUnits && count < limit) {
        unsigned short u = loadUnit(p + 2 * count);
        if (u == 0) break;
        dst[count++] = u;
    }
    dst[count] = 0;
    return count;
}

unsigned long VynCharSetConverterUTF16::fromUTF16(void* dst, unsigned short const* src,
                                                  unsigned long dstCap, ILLCHAR_OPTYPE /*op*/,
                                                  bool* illegal) {
    if (!dst || !src) return 0;
    if (illegal) *illegal = false;
    unsigned char* out = static_cast<unsigned char*>(dst);
    // dstCap counts bytes; an odd last byte cannot hold a unit.
    unsigned long units = dstCap / 2;
    if (vyn::simd::g_oKernels.widen) {
        std::size_t const len = vyn::simd::scanUnitsAt(src, units);
        std::memcpy(out, src, 2 * len);
        storeUnit(out + 2 * len, 0);
        return 2 * len;
    }
    unsigned long count = 0;
    while (count < units && src[count] != 0) {
        storeUnit(out + 2 * count, src[count]);
        ++count;
    }
    storeUnit(out + 2 * count, 0);
    return 2 * count;
}

unsigned long VynCharSetConverterUTF16::getNumUnits(void const* src, unsigned long len) {
    if (!src || len == 0) return 0;
    unsigned char const* p = static_cast<unsigned char const*>(src);
    unsigned long max = (len == kAll) ? kAll : len / 2;
    unsigned long count = 0;
    while (count < max && loadUnit(p + 2 * count) != 0) ++count;
    return count;
}

unsigned long VynCharSetConverterUTF16::getNumBytes(unsigned short const* src, unsigned long len) {
    if (!src || len == 0) return 0;
    unsigned long count = 0;
    while ((len == kAll || count < len) && src[count] != 0) ++count;
    return 2 * count;
}

// --- escaped UTF-16 ----------------------------------------------------------

VynCharSetConverterUTF16Esc::~VynCharSetConverterUTF16Esc() = default;

unsigned long VynCharSetConverterUTF16Esc::toUTF16(unsigned short* dst, void const* src,
                                                   unsigned long dstUnits, ILLCHAR_OPTYPE /*op*/,
                                                   bool* illegal, int maxSrc) {
    if (!dst || !src) return 0;
    if (illegal) *illegal = false;
    unsigned char const* const start = static_cast<unsigned char const*>(src);
    unsigned char const* p = start;
    if (dstUnits == 0 || *p == 0) return emptyResult(dst);
    unsigned long count = 0;
    for (;;) {
        unsigned short u;
        // The escape may look five bytes past the "U" whatever the limit
        // says; it stops at the terminator, which is no hex digit.
        if (readEscape(p, &u)) {
            p += 6;
        } else {
            // Bytes above 0x7F widen with their sign (0xE9 -> 0xFFE9): the
            // escaped form is meant to carry ASCII only.
            u = static_cast<unsigned short>(static_cast<signed char>(*p));
            p += 1;
        }
        dst[count++] = u;
        if (reachedLimit(static_cast<unsigned long>(p - start), maxSrc)) break;
        if (count == dstUnits || *p == 0) break;
    }
    dst[count] = 0;
    return count;
}

unsigned long VynCharSetConverterUTF16Esc::fromUTF16(void* dst, unsigned short const* src,
                                                     unsigned long dstCap, ILLCHAR_OPTYPE /*op*/,
                                                     bool* illegal) {
    if (!dst || !src) return 0;
    if (illegal) *illegal = false;
    unsigned char* const begin = static_cast<unsigned char*>(dst);
    unsigned char* out = begin;
    unsigned long n = dstCap;
    for (unsigned short const* p = src; *p != 0; ++p) {
        unsigned int u = *p;
        if (u < 0x80) {
            if (n == 0) break;
            *out++ = static_cast<unsigned char>(u);
            n -= 1;
        } else {
            // Escapes are whole or absent; surrogates go one unit at a time.
            if (n <= 5) break;
            writeEscape(out, static_cast<unsigned short>(u));
            out += 6;
            n -= 6;
        }
    }
    *out = 0;
    return static_cast<unsigned long>(out - begin);
}

unsigned long VynCharSetConverterUTF16Esc::getNumUnits(void const* src, unsigned long len) {
    if (!src || len == 0) return 0;
    unsigned char const* p = static_cast<unsigned char const*>(src);
    len = byteLength(p, len);
    unsigned long units = 0;
    unsigned short u;
    while (len > 0 && *p != 0) {
        // An escape is only seen when all six bytes lie within the count.
        unsigned long step = (len >= 6 && readEscape(p, &u)) ? 6 : 1;
        ++units;
        p += step;
        len -= step;
    }
    return units;
}

unsigned long VynCharSetConverterUTF16Esc::getNumBytes(unsigned short const* src,
                                                       unsigned long len) {
    if (!src || len == 0) return 0;
    unsigned long bytes = 0;
    for (unsigned long i = 0; (len == kAll || i < len) && src[i] != 0; ++i)
        bytes += (src[i] < 0x80) ? 1 : 6;
    return bytes;
}
