// Vector kernels for the hot conversion loops, chosen once at load from what
// the CPU offers (SSE2, AVX2, AVX-512) and kept behind function pointers.
// Internal.
//
// Every kernel is an accelerator only: it converts a prefix of what it is
// given, never anything the scalar loop would treat differently, and returns
// how far it got. The scalar loop that calls it stays the authority for
// everything else (bad sequences, room, limits, flags, the terminator), so a
// kernel that converts nothing is always correct: that is the scalar path.
//
// Sources handed to a kernel have a known length: every element in it is
// readable and nonzero. Lengths come from strnlen for bytes and from
// scanUnits/scanValues below for 16- and 32-bit text.
#ifndef VYNULIB_INTERNAL_VYNSIMD_H
#define VYNULIB_INTERNAL_VYNSIMD_H

#include <cstddef>

namespace vyn {
namespace simd {

enum Level { kScalar = 0, kSse2 = 1, kAvx2 = 2, kAvx512 = 3 };

struct Kernels {
    // UTF-8 to UTF-16: whole sequences of one to three bytes (leads below
    // 0xF0, every follower a continuation byte) from s[0..len), at most room
    // units. Returns bytes consumed, *units the units written.
    std::size_t (*utf8ToUtf16)(unsigned char const* s, std::size_t len, unsigned short* d,
                               std::size_t room, std::size_t* units);
    // True when utf8ToUtf16 converts multi-byte sequences too; otherwise it
    // takes ASCII only and callers try it on ASCII bytes only.
    bool utf8Multibyte;
    // UTF-16 to UTF-8: units that are not surrogates from s[0..len), as long
    // as their bytes fit in room. Returns units consumed, *bytes the bytes
    // written.
    std::size_t (*utf16ToUtf8)(unsigned short const* s, std::size_t len, unsigned char* d,
                               std::size_t room, std::size_t* bytes);
    bool utf16Multibyte;
    // Bytes to units, one to one: all len bytes (the identity map).
    void (*widen)(unsigned char const* s, std::size_t len, unsigned short* d);
    // Bytes below 0x80 to units; stops at the first byte above. Returns the count.
    std::size_t (*widenAscii)(unsigned char const* s, std::size_t len, unsigned short* d);
    // Units below max (0x80 or 0x100) to bytes; stops at the first unit at or
    // above. Returns the count.
    std::size_t (*narrow)(unsigned short const* s, std::size_t len, unsigned char* d, unsigned max);
    // 32-bit values up to 0xFFFF to units (s may be misaligned); stops at the
    // first value above. Returns the count.
    std::size_t (*utf32ToUtf16)(unsigned char const* s, std::size_t len, unsigned short* d);
    // Units that are not high surrogates to 32-bit values (d may be
    // misaligned); stops at the first high surrogate. Returns the count.
    std::size_t (*utf16ToUtf32)(unsigned short const* s, std::size_t len, unsigned char* d);
    // Units before the first zero unit, at most max.
    std::size_t (*scanUnits)(unsigned short const* s, std::size_t max);
    // Bytes below 0x80 at the start of s[0..len).
    std::size_t (*asciiPrefix)(unsigned char const* s, std::size_t len);
    // True when s[0..len) is made of whole sequences of one to three bytes,
    // none overlong and none a surrogate: text that decodes without a flag
    // and encodes back to the same bytes. False may also mean "not checked"
    // (the ASCII-only kernels say false for any byte above 0x7F).
    bool (*utf8Strict)(unsigned char const* s, std::size_t len);
    // Bytes to units through a table of 256 units; stops at the first byte
    // whose unit is 0 (unmapped). Returns the count. Null where a table
    // lookup does not pay (no vector permute wide enough).
    std::size_t (*mapBytes)(unsigned char const* s, std::size_t len, unsigned short* d,
                            unsigned short const* table);
    // Units below 0x100 to bytes through a table of 256 bytes; stops at the
    // first unit above or whose byte is 0 (unmapped). Returns the count.
    std::size_t (*mapUnitsLow)(unsigned short const* s, std::size_t len, unsigned char* d,
                               unsigned char const* table);
    // How many of the first min(len, 64) units lie below 0x100, out of how
    // many (*seen). Set with mapUnitsLow.
    std::size_t (*countLow)(unsigned short const* s, std::size_t len, std::size_t* seen);
    // Units to codes of one or two bytes through a two-level table (256
    // pointers to pages of 256 codes, every page readable; a code above 0xFF
    // goes out high byte first). Works in blocks of 16 units while 32 bytes
    // of room remain, and stops before the first unit whose code is 0
    // (unmapped) and before the first high surrogate. Returns units consumed, *bytes the bytes
    // written.
    std::size_t (*mapUnitsPaged)(unsigned short const* s, std::size_t len, unsigned char* d,
                                 std::size_t room, unsigned short const* const* pages,
                                 std::size_t* bytes);
};

// The kernels in use. Set at load (VYNULIB_SIMD=scalar|sse2|avx2|avx512 caps
// the choice) and not changed after, except by setLevel.
extern Kernels g_oKernels;

// The level in use and the best one this machine (and build) can run.
Level level();
Level bestLevel();
// Switches the kernels; for tests and fuzzers only, with no conversion
// running at the same time. A level above bestLevel() is capped. Returns the
// level now in use.
Level setLevel(Level l);
char const* levelName(Level l);

// Units of a 16-bit text before its zero unit, at most max; s may be
// misaligned (any byte address).
std::size_t scanUnitsAt(void const* s, std::size_t max);
// 32-bit values before the zero value, at most max; s may be misaligned.
std::size_t scanValuesAt(void const* s, std::size_t max);

// a + b, saturated: bounds derived from a capacity of all bits set.
inline std::size_t satAdd(std::size_t a, std::size_t b) {
    return a + b < a ? ~static_cast<std::size_t>(0) : a + b;
}
inline std::size_t satMul(std::size_t a, std::size_t k) {
    return a > ~static_cast<std::size_t>(0) / k ? ~static_cast<std::size_t>(0) : a * k;
}

} // namespace simd
} // namespace vyn

#endif
