// EUC-CN (GB 2312) and EUC-KR (KS X 1001): ASCII 0x01-0x7E plus one 94 x 94
// set in the upper half. The maps hold the 94 x 94 codes with the high bits
// clear (0x2121-0x7E7E); the bytes on the wire carry them set.
#include <vynulib/converters/VynCharSetConverterMBCS.h>

#include <vynulib/internal/LookupTable.h>
#include <cstring>

#include <vynulib/internal/VynConvertCommon.h>
#include <vynulib/internal/VynSimd.h>

using namespace vyn::detail;

namespace {

inline bool isG1(unsigned char b) {
    return b >= 0xA1 && b <= 0xFE;
}

// The decoding loop, with the source limit compiled in or out. On entry
// dstUnits > 0 and s[0] != 0.
template <bool kLimited>
unsigned long decodeEuc(LookupTable<unsigned short> const* fwd, unsigned short* dst,
                        unsigned char const* s, unsigned long dstUnits, ILLCHAR_OPTYPE op,
                        bool* illegal, unsigned long limit) {
    unsigned long k = 0;
    unsigned long i = 0;
    // Long ASCII runs are widened a vector at a time. That needs a known
    // length: bytes [0, known) hold no zero; a unit takes two bytes at most.
    auto const widen = vyn::simd::g_oKernels.widen;
    unsigned long known = 0;
    if (widen) {
        known = strnlen(reinterpret_cast<char const*>(s),
                        vyn::simd::satAdd(vyn::simd::satMul(dstUnits, 2), 2));
        if (kLimited && known > limit) known = limit;
    }
    for (;;) {
        unsigned char b = s[i];
        unsigned short u = 0;
        if (widen && b <= 0x7E && i + 16 < known && s[i + 1] <= 0x7E) {
            std::size_t n = known - i;
            if (dstUnits - k < n) n = dstUnits - k;
            n = vyn::simd::g_oKernels.asciiPrefix(s + i, n);
            // DEL is no ASCII character here.
            if (void const* del = std::memchr(s + i, 0x7F, n))
                n = static_cast<std::size_t>(static_cast<unsigned char const*>(del) - (s + i));
            widen(s + i, n, dst + k);
            k += n;
            i += n;
            if (kLimited && i >= limit) break;
            if (k >= dstUnits || s[i] == 0) break;
            b = s[i];
        }
        if (b <= 0x7E) {
            // An ASCII run, bounded by the room and the limit (one unit and
            // one byte each); b is never 0: the loop ends at the terminator.
            unsigned long m = dstUnits - k;
            if (kLimited && limit - i < m) m = limit - i;
            unsigned long j = 0;
            do {
                dst[k + j++] = b;
            } while (j < m && static_cast<unsigned char>((b = s[i + j]) - 1) < 0x7E);
            k += j;
            i += j;
            if (kLimited && i >= limit) break;
            if (k >= dstUnits || s[i] == 0) break;
            continue;
        }
        if (isG1(b) && isG1(s[i + 1])) {
            u = fwd->lookup(((b & 0x7Fu) << 8) | (s[i + 1] & 0x7Fu));
            i += 2;
        } else {
            // DEL, C1, 0xFF, or a lead byte whose follower is no G1 byte (the
            // terminator included): only this byte goes.
            i += 1;
        }
        if (u == 0 && !replaceUnmapped(u, op, illegal)) break;
        dst[k++] = u;
        if (kLimited && i >= limit) break;
        if (k >= dstUnits || s[i] == 0) break;
    }
    dst[k] = 0;
    return k;
}

} // namespace

VynCharSetConverterEUC_CN_KR::VynCharSetConverterEUC_CN_KR(unsigned short const* table,
                                                           VynCharSet cs)
    : VynCharSetConverterMBCS(table, cs) {}

VynCharSetConverterEUC_CN_KR::VynCharSetConverterEUC_CN_KR(char const* name, VynCharSet cs)
    : VynCharSetConverterMBCS(name, cs) {}

VynCharSetConverterEUC_CN_KR::~VynCharSetConverterEUC_CN_KR() = default;

unsigned long VynCharSetConverterEUC_CN_KR::getNumUnits(void const* src, unsigned long len) {
    // An instance made from a name has no map and converts nothing.
    if (!src || len == 0 || !m_pTable) return 0;
    auto const* s = static_cast<unsigned char const*>(src);
    len = byteLength(s, len);
    unsigned long count = 0;
    unsigned long i = 0;
    while (i < len && s[i]) {
        // The second byte is read only inside the budget.
        i += (isG1(s[i]) && len - i >= 2 && isG1(s[i + 1])) ? 2 : 1;
        ++count;
    }
    return count;
}

unsigned long VynCharSetConverterEUC_CN_KR::toUTF16(unsigned short* dst, void const* src,
                                                    unsigned long dstUnits, ILLCHAR_OPTYPE op,
                                                    bool* illegal, int maxSrc) {
    if (!dst || !src) return 0;
    load();
    if (illegal) *illegal = false;
    LookupTable<unsigned short> const* fwd = forwardTable();
    auto const* s = static_cast<unsigned char const*>(src);
    if (!fwd) return unconvertedResult(dst, illegal, s[0] != 0);
    if (dstUnits == 0 || s[0] == 0) return emptyResult(dst);
    if (maxSrc > 0)
        return decodeEuc<true>(fwd, dst, s, dstUnits, op, illegal,
                               static_cast<unsigned long>(maxSrc));
    return decodeEuc<false>(fwd, dst, s, dstUnits, op, illegal, 0);
}

unsigned long VynCharSetConverterEUC_CN_KR::getNumBytes(unsigned short const* src,
                                                        unsigned long len) {
    if (!src || len == 0) return 0;
    load();
    LookupTable<unsigned short> const* rev = reverseTable();
    if (!rev) return 0;
    unsigned long n = 0;
    // A finite length still stops at the terminator: nothing past it is read.
    for (unsigned long i = 0; i < len && src[i]; ++i)
        n += (src[i] > 0x7E && rev->lookup(src[i]) != 0) ? 2 : 1;
    return n;
}

unsigned long VynCharSetConverterEUC_CN_KR::fromUTF16(void* dst, unsigned short const* src,
                                                      unsigned long dstCap, ILLCHAR_OPTYPE op,
                                                      bool* illegal) {
    if (!dst || !src) return 0;
    load();
    if (illegal) *illegal = false;
    auto* d = static_cast<unsigned char*>(dst);
    LookupTable<unsigned short> const* rev = reverseTable();
    if (!rev) return unconvertedResult(d, illegal, src[0] != 0);
    unsigned long k = 0;
    for (unsigned long i = 0; k < dstCap && src[i]; ++i) {
        unsigned short u = src[i];
        if (u <= 0x7E) {
            d[k++] = static_cast<unsigned char>(u);
            continue;
        }
        unsigned short code = rev->lookup(u);
        if (code) {
            if (dstCap - k < 2) break;
            d[k++] = static_cast<unsigned char>((code >> 8) + 0x80);
            d[k++] = static_cast<unsigned char>((code & 0xFF) + 0x80);
            continue;
        }
        // Unmapped: DEL, every surrogate, everything outside the set.
        if (!putUnmappable(d, k, dstCap, op, illegal, src + i)) break;
    }
    d[k] = 0;
    return k;
}
