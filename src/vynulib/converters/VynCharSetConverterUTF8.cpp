// UTF-8 <-> UTF-16. The decoder is lenient on purpose: it never rejects the
// input as a whole and does no overlong, surrogate or range checks. Bad bytes
// become U+FFFD (or vanish, for stray continuation bytes) and raise the flag.
#include <vynulib/converters/VynCharSetConverterUTF8.h>

#include <cstring>

#include <vynulib/internal/VynConvertCommon.h>
#include <vynulib/internal/VynUtf8.h>
#include <vynulib/internal/VynSimd.h>
#include <vynulib/internal/VynUtf8Known.h>

using namespace vyn::detail;

namespace {

// The decoding loop, with the source limit compiled in or out. On entry n > 0
// and *p != 0 (and, with a limit, p < lim); *illegal is already cleared.
template <bool kLimited>
unsigned long decodeUtf8(unsigned short* dst, unsigned char const* p, unsigned long n,
                         bool* illegal, unsigned char const* lim,
                         unsigned char const* known = nullptr) {
    auto bad = [illegal] {
        if (illegal) *illegal = true;
    };
    unsigned short* out = dst;
    // The vector kernel needs a known length: bytes [p, known) hold no zero.
    // n units take at most 3n bytes unless stray continuation bytes come in
    // between; past the bound the scalar steps go on alone.
    vyn::simd::Kernels const& kern = vyn::simd::g_oKernels;
    auto const vec = kern.utf8ToUtf16;
    bool const multi = kern.utf8Multibyte;
    if (!vec || known == nullptr) known = p;
    if (vec && known == p) {
        std::size_t bound = vyn::simd::satAdd(vyn::simd::satMul(n, 3), 66);
        if (kLimited && static_cast<std::size_t>(lim - p) < bound)
            bound = static_cast<std::size_t>(lim - p);
        known = p + strnlen(reinterpret_cast<char const*>(p), bound);
    }
    for (;;) {
        if (vec && p < known && (multi || *p < 0x80)) {
            std::size_t units;
            std::size_t const used = vec(p, static_cast<std::size_t>(known - p), out, n, &units);
            if (used != 0) {
                p += used;
                out += units;
                n -= units;
                if (kLimited && p >= lim) break;
                if (n == 0 || *p == 0) break;
            }
        }
        unsigned char b = *p;
        if (b < 0x80) {
            // An ASCII run, bounded by the room and the limit: each unit takes
            // one byte, so neither needs testing inside the run.
            unsigned long k = n;
            if (kLimited && static_cast<unsigned long>(lim - p) < k)
                k = static_cast<unsigned long>(lim - p);
            unsigned long i = 0;
            do {
                out[i++] = b;
            } while (i < k && static_cast<unsigned char>((b = p[i]) - 1) < 0x7F);
            p += i;
            out += i;
            n -= i;
            if (kLimited && p >= lim) break;
            if (n == 0 || *p == 0) break;
            continue;
        }
        ++p;
        if (b < 0xC0) {
            // Stray continuation byte: dropped, capacity untouched.
            bad();
        } else if (b < 0xE0) { // 0xC0 and 0xC1 included
            if (isUtf8Cont(p[0])) {
                *out++ = static_cast<unsigned short>(((b << 6) & 0x7C0) | (p[0] & 0x3F));
                p += 1;
            } else {
                // The offending byte is read again as a lead byte.
                *out++ = 0xFFFD;
                bad();
            }
            --n;
        } else if (b < 0xF0) {
            if (isUtf8Cont(p[0]) && isUtf8Cont(p[1])) {
                *out++ = static_cast<unsigned short>(((b & 0x0F) << 12) | ((p[0] & 0x3F) << 6) |
                                                     (p[1] & 0x3F));
                p += 2;
            } else {
                *out++ = 0xFFFD;
                bad();
            }
            --n;
        } else { // 0xF8-0xFF count as four-byte leads too
            if (n <= 1) {
                // No room for a pair: U+FFFD takes the last slot.
                *out++ = 0xFFFD;
                bad();
                --n;
            } else if (isUtf8Cont(p[0]) && isUtf8Cont(p[1]) && isUtf8Cont(p[2])) {
                unsigned long v = (static_cast<unsigned long>(b & 0x0F) << 18) |
                                  (static_cast<unsigned long>(p[0] & 0x3F) << 12) |
                                  (static_cast<unsigned long>(p[1] & 0x3F) << 6) | (p[2] & 0x3F);
                putPair(out, static_cast<unsigned int>(v));
                out += 2;
                n -= 2;
                // The followers are left in place on purpose: they are read
                // next as stray continuation bytes, which write nothing but
                // raise the flag. Callers have long seen a four-byte character
                // decode correctly and still report an error.
            } else {
                *out++ = 0xFFFD;
                bad();
                --n;
            }
        }
        // The source limit is tested between sequences only: one that starts
        // inside it is read whole (it ends at the terminator at the latest).
        if (kLimited && p >= lim) break;
        if (n == 0 || *p == 0) break;
    }
    *out = 0;
    return static_cast<unsigned long>(out - dst);
}

} // namespace

unsigned long vyn::detail::utf8ToUtf16Known(unsigned short* dst, unsigned char const* src,
                                            unsigned long len, unsigned long cap, bool* illegal) {
    if (illegal) *illegal = false;
    if (cap == 0 || len == 0) return emptyResult(dst);
    return decodeUtf8<false>(dst, src, cap, illegal, nullptr, src + len);
}

VynCharSetConverterUTF8::~VynCharSetConverterUTF8() = default;

unsigned long VynCharSetConverterUTF8::toUTF16(unsigned short* dst, void const* src,
                                               unsigned long dstUnits, ILLCHAR_OPTYPE /*op*/,
                                               bool* illegal, int maxSrc) {
    if (!dst || !src) return 0;
    if (illegal) *illegal = false;
    unsigned char const* const start = static_cast<unsigned char const*>(src);
    if (dstUnits == 0 || *start == 0) return emptyResult(dst);
    // Only a positive limit bounds the bytes read.
    if (maxSrc > 0) return decodeUtf8<true>(dst, start, dstUnits, illegal, start + maxSrc);
    return decodeUtf8<false>(dst, start, dstUnits, illegal, nullptr);
}

unsigned long VynCharSetConverterUTF8::fromUTF16(void* dst, unsigned short const* src,
                                                 unsigned long dstCap, ILLCHAR_OPTYPE op,
                                                 bool* illegal) {
    if (!dst || !src) return 0;
    if (illegal) *illegal = false;
    unsigned char* const begin = static_cast<unsigned char*>(dst);
    unsigned char* out = begin;
    if (dstCap == 0) return emptyResult(out);
    unsigned char* const end = begin + dstCap;
    // n is the room as the accounting sees it; an escape takes six bytes but
    // reduces n by five only, so n may run ahead of the real room (never
    // behind it). Writes test the real room, so output never goes past
    // dstCap (plus the terminator); n only decides when to stop reading.
    unsigned long n = dstCap;
    auto fits = [&](unsigned long len) { return len <= static_cast<unsigned long>(end - out); };
    unsigned short const* p = src;
    // The vector kernel needs a known length: units [p, known) hold no zero.
    // Every unit read gives a byte of output but for the follower an escape
    // drops, so dstCap + 2 units are all that can be read.
    vyn::simd::Kernels const& kern = vyn::simd::g_oKernels;
    auto const vec = kern.utf16ToUtf8;
    bool const multi = kern.utf16Multibyte;
    unsigned short const* known = p;
    if (vec) known = p + vyn::simd::scanUnitsAt(p, vyn::simd::satAdd(dstCap, 2));
    for (;;) {
        // With four bytes of room or more only a lone high surrogate needs the
        // tests below: any other unit, or a pair, takes four bytes at most.
        // n is never below the room, so it cannot reach 0 inside this loop
        // before its last step.
        while (end - out >= 4) {
            if (vec && p < known && (multi || *p - 1u < 0x7Fu)) {
                std::size_t bytes;
                std::size_t const used = vec(p, static_cast<std::size_t>(known - p), out,
                                             static_cast<std::size_t>(end - out), &bytes);
                p += used;
                out += bytes;
                n -= bytes;
                if (end - out < 4) break;
            }
            unsigned int v = *p;
            if (v - 1 < 0x7F) {
                unsigned long const k = static_cast<unsigned long>(end - out);
                unsigned long i = 0;
                do {
                    out[i++] = static_cast<unsigned char>(v);
                } while (i < k && (v = p[i]) - 1 < 0x7F);
                out += i;
                n -= i;
                p += i;
            } else if (v == 0) {
                *out = 0;
                return static_cast<unsigned long>(out - begin);
            } else if (v < 0x800) {
                putUtf8<2>(out, v);
                out += 2;
                n -= 2;
                p += 1;
            } else if (!isHigh(v)) {
                putUtf8<3>(out, v);
                out += 3;
                n -= 3;
                p += 1;
            } else if (isLow(p[1])) {
                unsigned int c = pairValue(v, p[1]);
                putUtf8<4>(out, c);
                out += 4;
                n -= 4;
                p += 2;
            } else {
                break; // a lone high surrogate
            }
        }
        if (n == 0) break;
        unsigned int u = *p++;
        if (u == 0) break;
        if (u < 0x80) {
            // An ASCII run, bounded by the real room (which n never undercuts).
            unsigned short const* q = p - 1;
            unsigned long k = static_cast<unsigned long>(end - out);
            if (k == 0) break;
            unsigned long i = 0;
            do {
                out[i++] = static_cast<unsigned char>(u);
            } while (i < k && (u = q[i]) - 1 < 0x7F);
            out += i;
            n -= i;
            p = q + i; // the unit that ended the run is read again
            if (n == 0) break;
            continue;
        }
        if (u < 0x800) {
            if (!fits(2)) break;
            putUtf8<2>(out, u);
            out += 2;
            n -= 2;
        } else if (!isHigh(u)) {
            // Lone low surrogates are encoded like any other unit.
            if (!fits(3)) break;
            putUtf8<3>(out, u);
            out += 3;
            n -= 3;
        } else {
            unsigned int w = *p++; // consumed whatever it is
            if (isLow(w)) {
                if (!fits(4)) break;
                unsigned int c = pairValue(u, w);
                putUtf8<4>(out, c);
                out += 4;
                n -= 4;
            } else {
                if (illegal) *illegal = true;
                if (op == ILLCHAR_STOP) break;
                if (op == ILLCHAR_ESCAPE) {
                    if (!fits(6)) break;
                    writeEscape(out, static_cast<unsigned short>(u));
                    out += 6;
                    n -= 5; // one short on purpose: later output may run a byte further
                    // The follower is dropped unconverted. When it was the
                    // terminator we stop here rather than read past it.
                    if (w == 0) break;
                } else {
                    if (!fits(1)) break;
                    *out++ = '?';
                    n -= 1;
                    if (n == 0 || w == 0) break;
                    // The follower is handled as a fresh unit.
                    --p;
                    continue;
                }
            }
        }
        if (n == 0) break;
    }
    *out = 0;
    return static_cast<unsigned long>(out - begin);
}

unsigned long VynCharSetConverterUTF8::getNumUnits(void const* src, unsigned long len) {
    if (!src || len == 0) return 0;
    unsigned char const* p = static_cast<unsigned char const*>(src);
    len = byteLength(p, len);
    unsigned long units = 0;
    // Only lead bytes are looked at: a stray continuation byte ends the count
    // (the decoder would skip it), and followers are never inspected.
    while (len > 0 && *p != 0) {
        unsigned int l = utf8Length(*p);
        if (l == 0 || l > len) break;
        units += (l == 4) ? 2 : 1;
        p += l;
        len -= l;
    }
    return units;
}

unsigned long VynCharSetConverterUTF8::getNumBytes(unsigned short const* src, unsigned long len) {
    if (!src || len == 0) return 0;
    bool const bounded = len != kAll;
    unsigned long bytes = 0;
    while (!bounded || len > 0) {
        unsigned int u = *src;
        if (u == 0) break;
        ++src;
        if (bounded) --len;
        if (u < 0x80) {
            bytes += 1;
        } else if (u < 0x800) {
            bytes += 2;
        } else if (!isHigh(u)) {
            bytes += 3;
        } else {
            // A high surrogate with nothing after it (end of count or the zero
            // unit) adds nothing and ends the count.
            if (bounded && len == 0) break;
            unsigned int w = *src;
            if (w == 0) break;
            if (isLow(w)) {
                ++src;
                if (bounded) --len;
                bytes += 4;
            } else {
                bytes += 1; // its "?"; the follower is counted by itself
            }
        }
    }
    return bytes;
}
