// The vector kernels and their choice at load. See VynSimd.h for the contract:
// each kernel converts a prefix of a source of known length and says how far
// it got; the scalar loops around it handle everything else.
//
// SSE2 is the baseline on x86-64 and takes ASCII (and the fixed-width forms).
// AVX2 does the same on twice the width. AVX-512 (with the byte and word
// compress instructions) also converts the two- and three-byte UTF-8
// sequences both ways. Other machines, and builds with VYN_SIMD=OFF, run the
// scalar loops only.
#include <vynulib/internal/VynSimd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#if !defined(VYN_NO_SIMD) && defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define VYN_SIMD_X86 1
#include <immintrin.h>
#if !defined(__clang__)
// GCC 12 takes the undefined vectors inside its own AVX-512 headers for
// uninitialised values once they are inlined here.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#endif

namespace vyn {
namespace simd {

namespace {

// Length scans with memcpy loads, for any alignment.
std::size_t scanUnitsScalar(unsigned short const* s, std::size_t max) {
    std::size_t i = 0;
    while (i < max && s[i] != 0) ++i;
    return i;
}

constexpr Kernels kScalarKernels = {nullptr, false,   nullptr, false,           nullptr, nullptr,
                                    nullptr, nullptr, nullptr, scanUnitsScalar, nullptr, nullptr,
                                    nullptr, nullptr, nullptr, nullptr};

#ifdef VYN_SIMD_X86

// The length scans read whole aligned blocks: the block that holds the zero
// unit is read in full, never a byte of the block after it, so no load can
// cross into an unmapped page. Bytes of that block past the terminator may
// lie outside the caller's object (even in freed memory), which
// AddressSanitizer and ThreadSanitizer would report; these functions alone
// are kept out of their checks for that reason.
#if defined(__clang__) || __GNUC__ >= 8
#define VYN_WHOLE_BLOCK_READS __attribute__((no_sanitize("address", "thread")))
#else
#define VYN_WHOLE_BLOCK_READS __attribute__((no_sanitize_address))
#endif

// --- SSE2 ------------------------------------------------------------------

std::size_t utf8ToUtf16Sse2(unsigned char const* s, std::size_t len, unsigned short* d,
                            std::size_t room, std::size_t* units) {
    std::size_t const lim = len < room ? len : room;
    std::size_t i = 0;
    __m128i const zero = _mm_setzero_si128();
    for (; i + 16 <= lim; i += 16) {
        __m128i v = _mm_loadu_si128(reinterpret_cast<__m128i const*>(s + i));
        if (_mm_movemask_epi8(v) != 0) break;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), _mm_unpacklo_epi8(v, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i + 8), _mm_unpackhi_epi8(v, zero));
    }
    for (; i < lim && s[i] < 0x80; ++i) d[i] = s[i];
    *units = i;
    return i;
}

std::size_t utf16ToUtf8Sse2(unsigned short const* s, std::size_t len, unsigned char* d,
                            std::size_t room, std::size_t* bytes) {
    std::size_t const lim = len < room ? len : room;
    std::size_t i = 0;
    __m128i const high = _mm_set1_epi16(static_cast<short>(0xFF80));
    for (; i + 16 <= lim; i += 16) {
        __m128i a = _mm_loadu_si128(reinterpret_cast<__m128i const*>(s + i));
        __m128i b = _mm_loadu_si128(reinterpret_cast<__m128i const*>(s + i + 8));
        __m128i t = _mm_and_si128(_mm_or_si128(a, b), high);
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(t, _mm_setzero_si128())) != 0xFFFF) break;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), _mm_packus_epi16(a, b));
    }
    for (; i < lim && s[i] < 0x80; ++i) d[i] = static_cast<unsigned char>(s[i]);
    *bytes = i;
    return i;
}

void widenSse2(unsigned char const* s, std::size_t len, unsigned short* d) {
    std::size_t i = 0;
    __m128i const zero = _mm_setzero_si128();
    for (; i + 16 <= len; i += 16) {
        __m128i v = _mm_loadu_si128(reinterpret_cast<__m128i const*>(s + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), _mm_unpacklo_epi8(v, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i + 8), _mm_unpackhi_epi8(v, zero));
    }
    for (; i < len; ++i) d[i] = s[i];
}

std::size_t widenAsciiSse2(unsigned char const* s, std::size_t len, unsigned short* d) {
    std::size_t dummy;
    return utf8ToUtf16Sse2(s, len, d, len, &dummy);
}

std::size_t narrowSse2(unsigned short const* s, std::size_t len, unsigned char* d, unsigned max) {
    std::size_t i = 0;
    __m128i const high = _mm_set1_epi16(static_cast<short>(~(max - 1)));
    for (; i + 16 <= len; i += 16) {
        __m128i a = _mm_loadu_si128(reinterpret_cast<__m128i const*>(s + i));
        __m128i b = _mm_loadu_si128(reinterpret_cast<__m128i const*>(s + i + 8));
        __m128i t = _mm_and_si128(_mm_or_si128(a, b), high);
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(t, _mm_setzero_si128())) != 0xFFFF) break;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), _mm_packus_epi16(a, b));
    }
    for (; i < len && s[i] < max; ++i) d[i] = static_cast<unsigned char>(s[i]);
    return i;
}

std::size_t utf32ToUtf16Sse2(unsigned char const* s, std::size_t len, unsigned short* d) {
    std::size_t i = 0;
    __m128i const bias = _mm_set1_epi32(0x8000);
    __m128i const high = _mm_set1_epi32(static_cast<int>(0xFFFF0000u));
    for (; i + 8 <= len; i += 8) {
        __m128i a = _mm_loadu_si128(reinterpret_cast<__m128i const*>(s + 4 * i));
        __m128i b = _mm_loadu_si128(reinterpret_cast<__m128i const*>(s + 4 * i + 16));
        __m128i t = _mm_and_si128(_mm_or_si128(a, b), high);
        if (_mm_movemask_epi8(_mm_cmpeq_epi32(t, _mm_setzero_si128())) != 0xFFFF) break;
        // No unsigned 32-to-16 pack in SSE2: shift into the signed range,
        // pack, shift back.
        __m128i p = _mm_packs_epi32(_mm_sub_epi32(a, bias), _mm_sub_epi32(b, bias));
        p = _mm_xor_si128(p, _mm_set1_epi16(static_cast<short>(0x8000)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), p);
    }
    for (; i < len; ++i) {
        std::uint32_t v;
        std::memcpy(&v, s + 4 * i, 4);
        if (v > 0xFFFF) break;
        d[i] = static_cast<unsigned short>(v);
    }
    return i;
}

std::size_t utf16ToUtf32Sse2(unsigned short const* s, std::size_t len, unsigned char* d) {
    std::size_t i = 0;
    __m128i const zero = _mm_setzero_si128();
    __m128i const top = _mm_set1_epi16(static_cast<short>(0xFC00));
    __m128i const hi = _mm_set1_epi16(static_cast<short>(0xD800));
    for (; i + 8 <= len; i += 8) {
        __m128i v = _mm_loadu_si128(reinterpret_cast<__m128i const*>(s + i));
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(v, top), hi)) != 0) break;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 4 * i), _mm_unpacklo_epi16(v, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 4 * i + 16), _mm_unpackhi_epi16(v, zero));
    }
    for (; i < len && (s[i] & 0xFC00) != 0xD800; ++i) {
        std::uint32_t v = s[i];
        std::memcpy(d + 4 * i, &v, 4);
    }
    return i;
}

std::size_t asciiPrefixSse2(unsigned char const* s, std::size_t len) {
    std::size_t i = 0;
    for (; i + 16 <= len; i += 16) {
        int const m = _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<__m128i const*>(s + i)));
        if (m != 0) return i + static_cast<unsigned>(__builtin_ctz(static_cast<unsigned>(m)));
    }
    while (i < len && s[i] < 0x80) ++i;
    return i;
}

bool asciiOnlySse2(unsigned char const* s, std::size_t len) {
    return asciiPrefixSse2(s, len) == len;
}

// s is 2-aligned.
VYN_WHOLE_BLOCK_READS std::size_t scanUnitsSse2(unsigned short const* s, std::size_t max) {
    if (max == 0) return 0;
    std::uintptr_t const a = reinterpret_cast<std::uintptr_t>(s) & ~std::uintptr_t(15);
    unsigned const skip = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(s) - a);
    __m128i const* p = reinterpret_cast<__m128i const*>(a);
    __m128i const zero = _mm_setzero_si128();
    unsigned m = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi16(*p, zero)));
    m = (m >> skip) << skip;
    std::size_t base = 0; // units from s to the start of block p, plus skip/2
    for (;;) {
        if (m != 0) {
            std::size_t pos = base + static_cast<unsigned>(__builtin_ctz(m)) / 2 - skip / 2;
            return pos < max ? pos : max;
        }
        base += 8;
        if (base - skip / 2 >= max) return max;
        ++p;
        m = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi16(*p, zero)));
    }
}

// s is 4-aligned. See scanUnitsSse2.
VYN_WHOLE_BLOCK_READS std::size_t scanValuesSse2(std::uint32_t const* s, std::size_t max) {
    if (max == 0) return 0;
    std::uintptr_t const a = reinterpret_cast<std::uintptr_t>(s) & ~std::uintptr_t(15);
    unsigned const skip = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(s) - a);
    __m128i const* p = reinterpret_cast<__m128i const*>(a);
    __m128i const zero = _mm_setzero_si128();
    unsigned m = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi32(*p, zero)));
    m = (m >> skip) << skip;
    std::size_t base = 0;
    for (;;) {
        if (m != 0) {
            std::size_t pos = base + static_cast<unsigned>(__builtin_ctz(m)) / 4 - skip / 4;
            return pos < max ? pos : max;
        }
        base += 4;
        if (base - skip / 4 >= max) return max;
        ++p;
        m = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi32(*p, zero)));
    }
}

// --- AVX2 ------------------------------------------------------------------

#define VYN_AVX2 __attribute__((target("avx2,bmi,bmi2,popcnt")))

VYN_AVX2 std::size_t utf8ToUtf16Avx2(unsigned char const* s, std::size_t len, unsigned short* d,
                                     std::size_t room, std::size_t* units) {
    std::size_t const lim = len < room ? len : room;
    std::size_t i = 0;
    for (; i + 32 <= lim; i += 32) {
        __m256i v = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(s + i));
        if (_mm256_movemask_epi8(v) != 0) break;
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i),
                            _mm256_cvtepu8_epi16(_mm256_castsi256_si128(v)));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i + 16),
                            _mm256_cvtepu8_epi16(_mm256_extracti128_si256(v, 1)));
    }
    std::size_t k;
    i += utf8ToUtf16Sse2(s + i, lim - i, d + i, lim - i, &k);
    *units = i;
    return i;
}

VYN_AVX2 std::size_t narrowAvx2(unsigned short const* s, std::size_t len, unsigned char* d,
                                unsigned max) {
    std::size_t i = 0;
    __m256i const high = _mm256_set1_epi16(static_cast<short>(~(max - 1)));
    for (; i + 32 <= len; i += 32) {
        __m256i a = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(s + i));
        __m256i b = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(s + i + 16));
        if (!_mm256_testz_si256(_mm256_or_si256(a, b), high)) break;
        // packus works per 128-bit lane: put the quarters back in order.
        __m256i p = _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), p);
    }
    return i + narrowSse2(s + i, len - i, d + i, max);
}

VYN_AVX2 std::size_t utf16ToUtf8Avx2(unsigned short const* s, std::size_t len, unsigned char* d,
                                     std::size_t room, std::size_t* bytes) {
    std::size_t const lim = len < room ? len : room;
    std::size_t const k = narrowAvx2(s, lim, d, 0x80);
    *bytes = k;
    return k;
}

VYN_AVX2 void widenAvx2(unsigned char const* s, std::size_t len, unsigned short* d) {
    std::size_t i = 0;
    for (; i + 32 <= len; i += 32) {
        __m256i v = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(s + i));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i),
                            _mm256_cvtepu8_epi16(_mm256_castsi256_si128(v)));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i + 16),
                            _mm256_cvtepu8_epi16(_mm256_extracti128_si256(v, 1)));
    }
    widenSse2(s + i, len - i, d + i);
}

VYN_AVX2 std::size_t widenAsciiAvx2(unsigned char const* s, std::size_t len, unsigned short* d) {
    std::size_t dummy;
    return utf8ToUtf16Avx2(s, len, d, len, &dummy);
}

VYN_AVX2 std::size_t asciiPrefixAvx2(unsigned char const* s, std::size_t len) {
    std::size_t i = 0;
    for (; i + 32 <= len; i += 32) {
        unsigned const m = static_cast<unsigned>(
            _mm256_movemask_epi8(_mm256_loadu_si256(reinterpret_cast<__m256i const*>(s + i))));
        if (m != 0) return i + static_cast<unsigned>(__builtin_ctz(m));
    }
    return i + asciiPrefixSse2(s + i, len - i);
}

VYN_AVX2 bool asciiOnlyAvx2(unsigned char const* s, std::size_t len) {
    return asciiPrefixAvx2(s, len) == len;
}

// s is 2-aligned. See scanUnitsSse2.
VYN_WHOLE_BLOCK_READS VYN_AVX2 std::size_t scanUnitsAvx2(unsigned short const* s, std::size_t max) {
    if (max == 0) return 0;
    std::uintptr_t const a = reinterpret_cast<std::uintptr_t>(s) & ~std::uintptr_t(31);
    unsigned const skip = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(s) - a);
    __m256i const* p = reinterpret_cast<__m256i const*>(a);
    __m256i const zero = _mm256_setzero_si256();
    unsigned m = static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpeq_epi16(*p, zero)));
    m = (m >> skip) << skip;
    std::size_t base = 0;
    for (;;) {
        if (m != 0) {
            std::size_t pos = base + static_cast<unsigned>(__builtin_ctz(m)) / 2 - skip / 2;
            return pos < max ? pos : max;
        }
        base += 16;
        if (base - skip / 2 >= max) return max;
        ++p;
        m = static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpeq_epi16(*p, zero)));
    }
}

// --- AVX-512 ---------------------------------------------------------------

#define VYN_AVX512                                                                                 \
    __attribute__((                                                                                \
        target("avx512f,avx512bw,avx512vl,avx512vbmi,avx512vbmi2,avx2,bmi,bmi2,popcnt,lzcnt")))

VYN_AVX512 inline __mmask64 lowBits64(std::size_t n) {
    return _bzhi_u64(~0ull, static_cast<unsigned>(n));
}
VYN_AVX512 inline __mmask32 lowBits32(std::size_t n) {
    return _bzhi_u32(~0u, static_cast<unsigned>(n));
}

// Up to 64 bytes a step when they are all ASCII; otherwise up to 32 lead
// positions a step, each sequence (one to three bytes) checked in masks: the
// continuation bytes must be exactly those the leads ask for. The first byte
// that breaks this (a stray or missing continuation byte, a four-byte lead)
// ends the step just before the sequence it belongs to; the scalar loop
// takes it from there.
VYN_AVX512 std::size_t utf8ToUtf16Avx512(unsigned char const* s, std::size_t len, unsigned short* d,
                                         std::size_t room, std::size_t* units) {
    std::size_t i = 0;
    std::size_t o = 0;
    __m512i const c0 = _mm512_set1_epi8(static_cast<char>(0xC0));
    __m512i const e0 = _mm512_set1_epi8(static_cast<char>(0xE0));
    __m512i const f0 = _mm512_set1_epi8(static_cast<char>(0xF0));
    __m512i const m1f = _mm512_set1_epi16(0x1F);
    __m512i const m3f = _mm512_set1_epi16(0x3F);
    while (i < len && o < room) {
        std::size_t const avail = len - i < 64 ? len - i : 64;
        std::size_t const r = room - o;
        __mmask64 const am = lowBits64(avail);
        __m512i const v = _mm512_maskz_loadu_epi8(am, s + i);
        std::uint64_t const hi = _mm512_movepi8_mask(v);
        if (hi == 0) {
            std::size_t const k = avail < r ? avail : r;
            __mmask64 const km = lowBits64(k);
            _mm512_mask_storeu_epi16(d + o, static_cast<__mmask32>(km),
                                     _mm512_cvtepu8_epi16(_mm512_castsi512_si256(v)));
            if (k > 32)
                _mm512_mask_storeu_epi16(d + o + 32, static_cast<__mmask32>(km >> 32),
                                         _mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(v, 1)));
            i += k;
            o += k;
            continue;
        }
        // Up to 62 lead positions: the followers of the last ones still fall
        // inside the 64 bits of the masks.
        std::size_t m = avail < 62 ? avail : 62;
        if (r < m) m = r;
        std::uint64_t const ge_c0 = _mm512_cmpge_epu8_mask(v, c0);
        std::uint64_t const ge_e0 = _mm512_cmpge_epu8_mask(v, e0);
        std::uint64_t const ge_f0 = _mm512_cmpge_epu8_mask(v, f0);
        std::uint64_t const cont = hi & ~ge_c0;
        std::uint64_t const l2 = ge_c0 & ~ge_e0;
        std::uint64_t const l3 = ge_e0 & ~ge_f0;
        std::uint64_t mm = lowBits64(m);
        std::uint64_t need = (((l2 | l3) & mm) << 1) | ((l3 & mm) << 2);
        std::uint64_t const bad = ((need ^ cont) | ge_f0) & mm;
        if (bad != 0) {
            unsigned const k = static_cast<unsigned>(__builtin_ctzll(bad));
            if ((need >> k) & 1) {
                // A lead before k misses a follower: stop before that lead,
                // the last one before k.
                std::uint64_t const leads = ~cont & lowBits64(k);
                m = 63u - static_cast<unsigned>(__builtin_clzll(leads));
            } else {
                m = k;
            }
        } else if (((need >> m) & ~(cont >> m)) != 0) {
            // The last sequence runs past what we see: leave it out.
            std::uint64_t const leads = ~cont & mm;
            m = 63u - static_cast<unsigned>(__builtin_clzll(leads));
        }
        if (m == 0) break;
        mm = lowBits64(m);
        need = (((l2 | l3) & mm) << 1) | ((l3 & mm) << 2);
        std::size_t const over = static_cast<std::size_t>(__builtin_popcountll(need >> m));
        std::uint64_t const leads = ~cont & mm;
        // Two halves of 32 positions, the second only when needed.
        for (unsigned h = 0; h < 2 && 32 * h < m; ++h) {
            unsigned const at = 32 * h;
            __mmask32 const hl = static_cast<__mmask32>(leads >> at);
            std::size_t const n = static_cast<std::size_t>(__builtin_popcount(hl));
            __m512i const b0 = _mm512_cvtepu8_epi16(h == 0 ? _mm512_castsi512_si256(v)
                                                           : _mm512_extracti64x4_epi64(v, 1));
            __m512i const b1 = _mm512_cvtepu8_epi16(
                _mm256_maskz_loadu_epi8(static_cast<__mmask32>(am >> (at + 1)), s + i + at + 1));
            __m512i const b2 = _mm512_cvtepu8_epi16(
                _mm256_maskz_loadu_epi8(static_cast<__mmask32>(am >> (at + 2)), s + i + at + 2));
            __m512i const t1 = _mm512_and_si512(b1, m3f);
            __m512i const t2 = _mm512_and_si512(b2, m3f);
            __m512i const v2 = _mm512_or_si512(_mm512_slli_epi16(_mm512_and_si512(b0, m1f), 6), t1);
            __m512i const v3 = _mm512_or_si512(
                _mm512_or_si512(_mm512_slli_epi16(b0, 12), _mm512_slli_epi16(t1, 6)), t2);
            __m512i u = _mm512_mask_mov_epi16(b0, static_cast<__mmask32>((l2 & mm) >> at), v2);
            u = _mm512_mask_mov_epi16(u, static_cast<__mmask32>((l3 & mm) >> at), v3);
            u = _mm512_maskz_compress_epi16(hl, u);
            _mm512_mask_storeu_epi16(d + o, lowBits32(n), u);
            o += n;
        }
        i += m + over;
    }
    *units = o;
    return i;
}

// Up to 32 units a step when they are all ASCII; otherwise up to 16 units,
// each spread to one to three bytes in a 32-bit lane and the lanes
// compressed. Surrogates end the step (pairs and lone ones are the scalar
// loop's), and so does a step whose bytes would not all fit.
VYN_AVX512 std::size_t utf16ToUtf8Avx512(unsigned short const* s, std::size_t len, unsigned char* d,
                                         std::size_t room, std::size_t* bytes) {
    std::size_t i = 0;
    std::size_t o = 0;
    __m512i const x80 = _mm512_set1_epi16(0x80);
    __m512i const x800 = _mm512_set1_epi16(0x800);
    __m512i const xc0 = _mm512_set1_epi16(0xC0);
    __m512i const x3f = _mm512_set1_epi16(0x3F);
    __m512i const sm = _mm512_set1_epi16(static_cast<short>(0xF800));
    __m512i const sv = _mm512_set1_epi16(static_cast<short>(0xD800));
    __m512i const l80 = _mm512_set1_epi32(0x80);
    __m512i const l800 = _mm512_set1_epi32(0x800);
    __m512i const l3f = _mm512_set1_epi32(0x3F);
    while (i < len && o < room) {
        std::size_t const avail = len - i < 32 ? len - i : 32;
        std::size_t const r = room - o;
        __mmask32 const am = lowBits32(avail);
        __m512i const v = _mm512_maskz_loadu_epi16(am, s + i);
        __mmask32 const wide = _mm512_mask_cmpge_epu16_mask(am, v, x80);
        if (wide == 0) {
            std::size_t const k = avail < r ? avail : r;
            _mm256_mask_storeu_epi8(d + o, lowBits32(k), _mm512_cvtepi16_epi8(v));
            i += k;
            o += k;
            continue;
        }
        __mmask32 const big = _mm512_mask_cmpge_epu16_mask(am, v, x800);
        if (big == 0) {
            // One or two bytes each: a 16-bit lane holds them, one compress
            // packs all 32.
            __m512i const lead = _mm512_or_si512(_mm512_srli_epi16(v, 6), xc0);
            __m512i const tail = _mm512_or_si512(_mm512_and_si512(v, x3f), x80);
            __m512i const w =
                _mm512_mask_mov_epi16(v, wide, _mm512_or_si512(lead, _mm512_slli_epi16(tail, 8)));
            std::uint64_t const bm =
                _pdep_u64(am, 0x5555555555555555ull) | _pdep_u64(wide, 0xAAAAAAAAAAAAAAAAull);
            std::size_t const n = static_cast<std::size_t>(__builtin_popcountll(bm));
            if (n <= r) {
                _mm512_mask_storeu_epi8(d + o, lowBits64(n), _mm512_maskz_compress_epi8(bm, w));
                i += avail;
                o += n;
                continue;
            }
        }
        std::size_t m = avail;
        __mmask32 const sur = _mm512_mask_cmpeq_epi16_mask(am, _mm512_and_si512(v, sm), sv);
        if (sur != 0) m = static_cast<unsigned>(__builtin_ctz(sur));
        if (m == 0) break;
        // Two halves of 16 units, the second only when needed.
        bool full = false;
        for (unsigned h = 0; h < 2 && 16 * h < m; ++h) {
            std::size_t const mh = m - 16 * h < 16 ? m - 16 * h : 16;
            __m512i const u = _mm512_cvtepu16_epi32(h == 0 ? _mm512_castsi512_si256(v)
                                                           : _mm512_extracti64x4_epi64(v, 1));
            __mmask16 const two = _mm512_cmpge_epu32_mask(u, l80);
            __mmask16 const three = _mm512_cmpge_epu32_mask(u, l800);
            __m512i const low6 = _mm512_or_si512(_mm512_and_si512(u, l3f), l80);
            __m512i const mid6 =
                _mm512_or_si512(_mm512_and_si512(_mm512_srli_epi32(u, 6), l3f), l80);
            __m512i const w2 =
                _mm512_or_si512(_mm512_or_si512(_mm512_srli_epi32(u, 6), _mm512_set1_epi32(0xC0)),
                                _mm512_slli_epi32(low6, 8));
            __m512i const w3 = _mm512_or_si512(
                _mm512_or_si512(_mm512_srli_epi32(u, 12), _mm512_set1_epi32(0xE0)),
                _mm512_or_si512(_mm512_slli_epi32(mid6, 8), _mm512_slli_epi32(low6, 16)));
            __m512i w = _mm512_mask_mov_epi32(u, two, w2);
            w = _mm512_mask_mov_epi32(w, three, w3);
            __m512i keep = _mm512_set1_epi32(0xFF);
            keep = _mm512_mask_mov_epi32(keep, two, _mm512_set1_epi32(0xFFFF));
            keep = _mm512_mask_mov_epi32(keep, three, _mm512_set1_epi32(0xFFFFFF));
            keep = _mm512_maskz_mov_epi32(static_cast<__mmask16>(lowBits32(mh)), keep);
            __mmask64 const bm = _mm512_test_epi8_mask(keep, keep);
            std::size_t const n = static_cast<std::size_t>(__builtin_popcountll(bm));
            if (n > room - o) {
                full = true;
                break;
            }
            _mm512_mask_storeu_epi8(d + o, lowBits64(n), _mm512_maskz_compress_epi8(bm, w));
            i += mh;
            o += n;
        }
        if (full) break;
    }
    *bytes = o;
    return i;
}

VYN_AVX512 void widenAvx512(unsigned char const* s, std::size_t len, unsigned short* d) {
    std::size_t i = 0;
    for (; i < len; i += 32) {
        std::size_t const k = len - i < 32 ? len - i : 32;
        __mmask32 const km = lowBits32(k);
        __m256i const v = _mm256_maskz_loadu_epi8(km, s + i);
        _mm512_mask_storeu_epi16(d + i, km, _mm512_cvtepu8_epi16(v));
    }
}

VYN_AVX512 std::size_t widenAsciiAvx512(unsigned char const* s, std::size_t len,
                                        unsigned short* d) {
    std::size_t i = 0;
    while (i < len) {
        std::size_t const k = len - i < 32 ? len - i : 32;
        __mmask32 km = lowBits32(k);
        __m256i const v = _mm256_maskz_loadu_epi8(km, s + i);
        __mmask32 const hi = static_cast<__mmask32>(_mm256_movemask_epi8(v));
        std::size_t n = k;
        if (hi != 0) {
            n = static_cast<unsigned>(__builtin_ctz(hi));
            km = lowBits32(n);
        }
        _mm512_mask_storeu_epi16(d + i, km, _mm512_cvtepu8_epi16(v));
        i += n;
        if (n < k) break;
    }
    return i;
}

VYN_AVX512 std::size_t narrowAvx512(unsigned short const* s, std::size_t len, unsigned char* d,
                                    unsigned max) {
    std::size_t i = 0;
    __m512i const lim = _mm512_set1_epi16(static_cast<short>(max));
    while (i < len) {
        std::size_t const k = len - i < 32 ? len - i : 32;
        __mmask32 km = lowBits32(k);
        __m512i const v = _mm512_maskz_loadu_epi16(km, s + i);
        __mmask32 const over = _mm512_mask_cmpge_epu16_mask(km, v, lim);
        std::size_t n = k;
        if (over != 0) {
            n = static_cast<unsigned>(__builtin_ctz(over));
            km = lowBits32(n);
        }
        _mm256_mask_storeu_epi8(d + i, km, _mm512_cvtepi16_epi8(v));
        i += n;
        if (n < k) break;
    }
    return i;
}

VYN_AVX512 std::size_t utf32ToUtf16Avx512(unsigned char const* s, std::size_t len,
                                          unsigned short* d) {
    std::size_t i = 0;
    __m512i const lim = _mm512_set1_epi32(0x10000);
    while (i < len) {
        std::size_t const k = len - i < 16 ? len - i : 16;
        __mmask16 km = static_cast<__mmask16>(lowBits32(k));
        __m512i const v = _mm512_maskz_loadu_epi32(km, s + 4 * i);
        __mmask16 const over = _mm512_mask_cmpge_epu32_mask(km, v, lim);
        std::size_t n = k;
        if (over != 0) {
            n = static_cast<unsigned>(__builtin_ctz(over));
            km = static_cast<__mmask16>(lowBits32(n));
        }
        _mm256_mask_storeu_epi16(d + i, km, _mm512_cvtepi32_epi16(v));
        i += n;
        if (n < k) break;
    }
    return i;
}

VYN_AVX512 std::size_t utf16ToUtf32Avx512(unsigned short const* s, std::size_t len,
                                          unsigned char* d) {
    std::size_t i = 0;
    __m256i const top = _mm256_set1_epi16(static_cast<short>(0xFC00));
    __m256i const hs = _mm256_set1_epi16(static_cast<short>(0xD800));
    while (i < len) {
        std::size_t const k = len - i < 16 ? len - i : 16;
        __mmask16 km = static_cast<__mmask16>(lowBits32(k));
        __m256i const v = _mm256_maskz_loadu_epi16(km, s + i);
        __mmask16 const high = _mm256_mask_cmpeq_epi16_mask(km, _mm256_and_si256(v, top), hs);
        std::size_t n = k;
        if (high != 0) {
            n = static_cast<unsigned>(__builtin_ctz(high));
            km = static_cast<__mmask16>(lowBits32(n));
        }
        _mm512_mask_storeu_epi32(d + 4 * i, km, _mm512_cvtepu16_epi32(v));
        i += n;
        if (n < k) break;
    }
    return i;
}

VYN_AVX512 std::size_t asciiPrefixAvx512(unsigned char const* s, std::size_t len) {
    std::size_t i = 0;
    while (i < len) {
        std::size_t const k = len - i < 64 ? len - i : 64;
        std::uint64_t const hi = _mm512_movepi8_mask(_mm512_maskz_loadu_epi8(lowBits64(k), s + i));
        if (hi != 0) return i + static_cast<unsigned>(__builtin_ctzll(hi));
        i += k;
    }
    return i;
}

// 64 bytes a step; the followers a sequence near the end of a step asks for
// are carried into the next step as bits 0 and 1.
VYN_AVX512 bool utf8StrictAvx512(unsigned char const* s, std::size_t len) {
    __m512i const c2 = _mm512_set1_epi8(static_cast<char>(0xC2));
    __m512i const c0 = _mm512_set1_epi8(static_cast<char>(0xC0));
    __m512i const e0 = _mm512_set1_epi8(static_cast<char>(0xE0));
    __m512i const ed = _mm512_set1_epi8(static_cast<char>(0xED));
    __m512i const f0 = _mm512_set1_epi8(static_cast<char>(0xF0));
    __m512i const a0 = _mm512_set1_epi8(static_cast<char>(0xA0));
    std::uint64_t carry = 0;
    for (std::size_t i = 0; i < len; i += 64) {
        std::size_t const k = len - i < 64 ? len - i : 64;
        __mmask64 const km = lowBits64(k);
        __m512i const v = _mm512_maskz_loadu_epi8(km, s + i);
        std::uint64_t const hi = _mm512_movepi8_mask(v);
        if (hi == 0 && carry == 0) continue;
        // The byte after each position (0 past the end).
        std::size_t const after = len - i - 1 < 64 ? len - i - 1 : 64;
        __m512i const next = _mm512_maskz_loadu_epi8(lowBits64(after), s + i + 1);
        std::uint64_t const ge_c0 = _mm512_cmpge_epu8_mask(v, c0);
        std::uint64_t const ge_e0 = _mm512_cmpge_epu8_mask(v, e0);
        std::uint64_t const cont = hi & ~ge_c0;
        std::uint64_t const l2 = ge_c0 & ~ge_e0;
        std::uint64_t const l3 = ge_e0;
        std::uint64_t const need = (l2 << 1) | (l3 << 1) | (l3 << 2) | carry;
        std::uint64_t bad =
            (need ^ cont) | _mm512_cmpge_epu8_mask(v, f0) | (ge_c0 & _mm512_cmplt_epu8_mask(v, c2));
        std::uint64_t const nextLow = _mm512_cmplt_epu8_mask(next, a0);
        bad |= _mm512_cmpeq_epi8_mask(v, e0) & nextLow;  // overlong three-byte form
        bad |= _mm512_cmpeq_epi8_mask(v, ed) & ~nextLow; // a surrogate
        if ((bad & km) != 0) return false;
        if (k < 64) return ((need >> k) & 3) == 0;
        carry = (l2 >> 63) | (l3 >> 63) | (l3 >> 62) | ((l3 >> 63) << 1);
    }
    return carry == 0;
}

// The 256 units sit in eight registers; each byte picks its unit from the
// pair of registers its low six bits index, and its top two bits pick the pair.
VYN_AVX512 std::size_t mapBytesAvx512(unsigned char const* s, std::size_t len, unsigned short* d,
                                      unsigned short const* table) {
    __m512i t[8];
    for (int k = 0; k < 8; ++k) t[k] = _mm512_loadu_si512(table + 32 * k);
    __m512i const b6 = _mm512_set1_epi16(0x40);
    __m512i const b7 = _mm512_set1_epi16(0x80);
    std::size_t i = 0;
    while (i < len) {
        std::size_t const k = len - i < 32 ? len - i : 32;
        __mmask32 km = lowBits32(k);
        __m512i const idx = _mm512_cvtepu8_epi16(_mm256_maskz_loadu_epi8(km, s + i));
        __m512i const r0 = _mm512_permutex2var_epi16(t[0], idx, t[1]);
        __m512i const r1 = _mm512_permutex2var_epi16(t[2], idx, t[3]);
        __m512i const r2 = _mm512_permutex2var_epi16(t[4], idx, t[5]);
        __m512i const r3 = _mm512_permutex2var_epi16(t[6], idx, t[7]);
        __mmask32 const m6 = _mm512_test_epi16_mask(idx, b6);
        __mmask32 const m7 = _mm512_test_epi16_mask(idx, b7);
        __m512i const lo = _mm512_mask_mov_epi16(r0, m6, r1);
        __m512i const hi = _mm512_mask_mov_epi16(r2, m6, r3);
        __m512i const u = _mm512_mask_mov_epi16(lo, m7, hi);
        __mmask32 const none = _mm512_mask_cmpeq_epi16_mask(km, u, _mm512_setzero_si512());
        std::size_t n = k;
        if (none != 0) {
            n = static_cast<unsigned>(__builtin_ctz(none));
            km = lowBits32(n);
        }
        _mm512_mask_storeu_epi16(d + i, km, u);
        i += n;
        if (n < k) break;
    }
    return i;
}

// The 256 bytes sit in four registers; two two-register byte permutes and
// the top bit of each index pick the byte.
VYN_AVX512 std::size_t mapUnitsLowAvx512(unsigned short const* s, std::size_t len, unsigned char* d,
                                         unsigned char const* table) {
    __m512i const t0 = _mm512_loadu_si512(table);
    __m512i const t1 = _mm512_loadu_si512(table + 64);
    __m512i const t2 = _mm512_loadu_si512(table + 128);
    __m512i const t3 = _mm512_loadu_si512(table + 192);
    __m512i const x100 = _mm512_set1_epi16(0x100);
    std::size_t i = 0;
    while (i < len) {
        std::size_t const k = len - i < 32 ? len - i : 32;
        __mmask32 const km = lowBits32(k);
        __m512i const v = _mm512_maskz_loadu_epi16(km, s + i);
        __mmask32 const high = _mm512_mask_cmpge_epu16_mask(km, v, x100);
        __m512i const idx = _mm512_zextsi256_si512(_mm512_cvtepi16_epi8(v));
        __m512i const lo = _mm512_permutex2var_epi8(t0, idx, t1);
        __m512i const hi = _mm512_permutex2var_epi8(t2, idx, t3);
        __m512i const b = _mm512_mask_mov_epi8(lo, _mm512_movepi8_mask(idx), hi);
        __mmask32 const none =
            static_cast<__mmask32>(_mm512_mask_cmpeq_epi8_mask(km, b, _mm512_setzero_si512()));
        __mmask32 const stop = high | none;
        std::size_t const n = stop != 0 ? static_cast<unsigned>(__builtin_ctz(stop)) : k;
        _mm256_mask_storeu_epi8(d + i, lowBits32(n), _mm512_castsi512_si256(b));
        i += n;
        if (n < k) break;
    }
    return i;
}

VYN_AVX512 std::size_t countLowAvx512(unsigned short const* s, std::size_t len, std::size_t* seen) {
    std::size_t const n = len < 64 ? len : 64;
    __m512i const x100 = _mm512_set1_epi16(0x100);
    __mmask32 const m0 = lowBits32(n < 32 ? n : 32);
    __mmask32 const m1 = lowBits32(n > 32 ? n - 32 : 0);
    __mmask32 const a = _mm512_mask_cmplt_epu16_mask(m0, _mm512_maskz_loadu_epi16(m0, s), x100);
    __mmask32 const b =
        _mm512_mask_cmplt_epu16_mask(m1, _mm512_maskz_loadu_epi16(m1, s + 32), x100);
    *seen = n;
    return static_cast<std::size_t>(__builtin_popcount(a) + __builtin_popcount(b));
}

// Sixteen units a block: the page pointers come in with two 64-bit gathers,
// the codes with two 32-bit gathers of the aligned pair of codes that holds
// each one (a page is 4-aligned and its last pair ends with it, so no read
// leaves the page), then a shift picks the code. Each code goes out as its
// two bytes, high first, and a compress drops the high bytes that are 0.
VYN_AVX512 std::size_t mapUnitsPagedAvx512(unsigned short const* s, std::size_t len,
                                           unsigned char* d, std::size_t room,
                                           unsigned short const* const* pages, std::size_t* bytes) {
    __m512i const xff = _mm512_set1_epi32(0xFF);
    __m512i const ffff = _mm512_set1_epi32(0xFFFF);
    __m512i const one = _mm512_set1_epi32(1);
    std::size_t i = 0, o = 0;
    while (len - i >= 16 && room - o >= 32) {
        __m512i const u =
            _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<__m256i const*>(s + i)));
        __m512i const hi = _mm512_srli_epi32(u, 8);
        __m512i const lo = _mm512_and_si512(u, xff);
        // Byte offset of the pair within its page: (lo & ~1) * 2.
        __m512i const off = _mm512_slli_epi32(_mm512_andnot_si512(one, lo), 1);
        __m512i const p0 = _mm512_i32gather_epi64(_mm512_castsi512_si256(hi), pages, 8);
        __m512i const p1 = _mm512_i32gather_epi64(_mm512_extracti64x4_epi64(hi, 1), pages, 8);
        __m512i const a0 = _mm512_add_epi64(p0, _mm512_cvtepu32_epi64(_mm512_castsi512_si256(off)));
        __m512i const a1 =
            _mm512_add_epi64(p1, _mm512_cvtepu32_epi64(_mm512_extracti64x4_epi64(off, 1)));
        __m256i const w0 = _mm512_i64gather_epi32(a0, nullptr, 1);
        __m256i const w1 = _mm512_i64gather_epi32(a1, nullptr, 1);
        __m512i const w = _mm512_inserti64x4(_mm512_castsi256_si512(w0), w1, 1);
        __m512i const shift = _mm512_slli_epi32(_mm512_and_si512(lo, one), 4);
        __m512i const code = _mm512_and_si512(_mm512_srlv_epi32(w, shift), ffff);
        // A high surrogate stops the block too: some callers read it as half of
        // a pair.
        __mmask16 const none =
            _mm512_cmpeq_epi32_mask(code, _mm512_setzero_si512()) |
            _mm512_cmpeq_epi32_mask(_mm512_and_si512(u, _mm512_set1_epi32(0xFC00)),
                                    _mm512_set1_epi32(0xD800));
        std::size_t const n = none != 0 ? static_cast<unsigned>(__builtin_ctz(none)) : 16;
        // High byte first: swap the bytes of each 16-bit code.
        __m256i const c = _mm512_cvtepi32_epi16(code);
        __m256i const be = _mm256_or_si256(_mm256_slli_epi16(c, 8), _mm256_srli_epi16(c, 8));
        __mmask32 const keep = (_mm256_test_epi8_mask(be, be) | 0xAAAAAAAAu) & lowBits32(2 * n);
        unsigned const k = static_cast<unsigned>(__builtin_popcount(keep));
        _mm256_mask_storeu_epi8(d + o, lowBits32(k), _mm256_maskz_compress_epi8(keep, be));
        o += k;
        i += n;
        if (n < 16) break;
    }
    *bytes = o;
    return i;
}

// s is 2-aligned. See scanUnitsSse2.
VYN_WHOLE_BLOCK_READS VYN_AVX512 std::size_t scanUnitsAvx512(unsigned short const* s,
                                                             std::size_t max) {
    if (max == 0) return 0;
    std::uintptr_t const a = reinterpret_cast<std::uintptr_t>(s) & ~std::uintptr_t(63);
    unsigned const skip = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(s) - a) / 2;
    __m512i const* p = reinterpret_cast<__m512i const*>(a);
    std::uint32_t m = _mm512_cmpeq_epi16_mask(_mm512_load_si512(p), _mm512_setzero_si512());
    m = (m >> skip) << skip;
    std::size_t base = 0;
    for (;;) {
        if (m != 0) {
            std::size_t pos = base + static_cast<unsigned>(__builtin_ctz(m)) - skip;
            return pos < max ? pos : max;
        }
        base += 32;
        if (base - skip >= max) return max;
        ++p;
        m = _mm512_cmpeq_epi16_mask(_mm512_load_si512(p), _mm512_setzero_si512());
    }
}

constexpr Kernels kSse2Kernels = {
    utf8ToUtf16Sse2,  false,          utf16ToUtf8Sse2, false,
    widenSse2,        widenAsciiSse2, narrowSse2,      utf32ToUtf16Sse2,
    utf16ToUtf32Sse2, scanUnitsSse2,  asciiPrefixSse2, asciiOnlySse2,
    nullptr,          nullptr,        nullptr,         nullptr};
constexpr Kernels kAvx2Kernels = {
    utf8ToUtf16Avx2,  false,          utf16ToUtf8Avx2, false,
    widenAvx2,        widenAsciiAvx2, narrowAvx2,      utf32ToUtf16Sse2,
    utf16ToUtf32Sse2, scanUnitsAvx2,  asciiPrefixAvx2, asciiOnlyAvx2,
    nullptr,          nullptr,        nullptr,         nullptr};
constexpr Kernels kAvx512Kernels = {utf8ToUtf16Avx512,  true,
                                    utf16ToUtf8Avx512,  true,
                                    widenAvx512,        widenAsciiAvx512,
                                    narrowAvx512,       utf32ToUtf16Avx512,
                                    utf16ToUtf32Avx512, scanUnitsAvx512,
                                    asciiPrefixAvx512,  utf8StrictAvx512,
                                    mapBytesAvx512,     mapUnitsLowAvx512,
                                    countLowAvx512,     mapUnitsPagedAvx512};

Level cpuLevel() {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") &&
        __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("bmi2") &&
        __builtin_cpu_supports("popcnt"))
        return kAvx512;
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2") &&
        __builtin_cpu_supports("popcnt"))
        return kAvx2;
    return kSse2;
}

Kernels const& kernelsFor(Level l) {
    switch (l) {
    case kAvx512:
        return kAvx512Kernels;
    case kAvx2:
        return kAvx2Kernels;
    case kSse2:
        return kSse2Kernels;
    default:
        return kScalarKernels;
    }
}

#else // no vector code in this build

Level cpuLevel() {
    return kScalar;
}
Kernels const& kernelsFor(Level) {
    return kScalarKernels;
}

#endif

Level g_eBest = kScalar;
Level g_eLevel = kScalar;

// The environment caps the choice; an unknown value is ignored.
Level askedLevel() {
    char const* e = std::getenv("VYNULIB_SIMD");
    if (e == nullptr) return kAvx512;
    for (int l = kScalar; l <= kAvx512; ++l)
        if (std::strcmp(e, levelName(static_cast<Level>(l))) == 0) return static_cast<Level>(l);
    return kAvx512;
}

// Runs at load, before main. Until it has run (static objects built before
// it that convert text) the scalar kernels are in place, which is correct.
struct Chooser {
    Chooser() {
        g_eBest = cpuLevel();
        setLevel(askedLevel());
    }
} const g_oChooser;

} // namespace

Kernels g_oKernels = kScalarKernels;

Level level() {
    return g_eLevel;
}

Level bestLevel() {
    return g_eBest;
}

Level setLevel(Level l) {
    if (l > g_eBest) l = g_eBest;
    if (l < kScalar) l = kScalar;
    g_eLevel = l;
    g_oKernels = kernelsFor(l);
    return l;
}

char const* levelName(Level l) {
    switch (l) {
    case kSse2:
        return "sse2";
    case kAvx2:
        return "avx2";
    case kAvx512:
        return "avx512";
    default:
        return "scalar";
    }
}

std::size_t scanUnitsAt(void const* s, std::size_t max) {
    if ((reinterpret_cast<std::uintptr_t>(s) & 1) == 0)
        return g_oKernels.scanUnits(static_cast<unsigned short const*>(s), max);
    auto const* p = static_cast<unsigned char const*>(s);
    std::size_t i = 0;
    for (; i < max; ++i) {
        unsigned short u;
        std::memcpy(&u, p + 2 * i, 2);
        if (u == 0) break;
    }
    return i;
}

std::size_t scanValuesAt(void const* s, std::size_t max) {
#ifdef VYN_SIMD_X86
    if (g_eLevel != kScalar && (reinterpret_cast<std::uintptr_t>(s) & 3) == 0)
        return scanValuesSse2(static_cast<std::uint32_t const*>(s), max);
#endif
    auto const* p = static_cast<unsigned char const*>(s);
    std::size_t i = 0;
    for (; i < max; ++i) {
        std::uint32_t v;
        std::memcpy(&v, p + 4 * i, 4);
        if (v == 0) break;
    }
    return i;
}

} // namespace simd
} // namespace vyn
