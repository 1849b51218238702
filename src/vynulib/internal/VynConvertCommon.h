// Small pieces every converter shares: surrogate arithmetic, the "U+%04X"
// escape, the source-limit readings, and what an unconvertible character
// turns into. All inline, so the hot loops stay as they were. Internal.
#ifndef VYNULIB_INTERNAL_VYNCONVERTCOMMON_H
#define VYNULIB_INTERNAL_VYNCONVERTCOMMON_H

#include <cstring>

#include <vynulib/converters/VynCharSetConverter.h>

namespace vyn {
namespace detail {

// A length or capacity of all bits set: "up to the terminator".
unsigned long const kAll = static_cast<unsigned long>(-1);

inline bool isHigh(unsigned int u) {
    return u >= 0xD800 && u <= 0xDBFF;
}
inline bool isLow(unsigned int u) {
    return u >= 0xDC00 && u <= 0xDFFF;
}

// The scalar value of the pair (hi, lo); both must be the right halves.
inline unsigned int pairValue(unsigned int hi, unsigned int lo) {
    return ((hi - 0xD7C0u) << 10) + (lo - 0xDC00u);
}

// Writes v (above 0xFFFF) as a pair at d. Values above 0x10FFFF are not
// checked here: they wrap into a meaningless pair.
inline void putPair(unsigned short* d, unsigned int v) {
    d[0] = static_cast<unsigned short>((v >> 10) + 0xD7C0);
    d[1] = static_cast<unsigned short>((v & 0x3FF) + 0xDC00);
}

// "U+%04X" of one UTF-16 unit: six ASCII bytes, no terminator.
inline void writeEscape(unsigned char* p, unsigned short u) {
    static char const kHex[] = "0123456789ABCDEF";
    p[0] = 'U';
    p[1] = '+';
    p[2] = static_cast<unsigned char>(kHex[(u >> 12) & 0xF]);
    p[3] = static_cast<unsigned char>(kHex[(u >> 8) & 0xF]);
    p[4] = static_cast<unsigned char>(kHex[(u >> 4) & 0xF]);
    p[5] = static_cast<unsigned char>(kHex[u & 0xF]);
}

// The value of an upper-case hexadecimal digit, -1 for anything else (the
// terminator included, so a look-ahead stops there).
template <class T> inline int hexValue(T c) {
    if (c >= '0' && c <= '9') return static_cast<int>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<int>(c - 'A' + 10);
    return -1;
}

// A whole escape "U+XXXX" at p (bytes or UTF-16 units): its unit goes to
// *unit. Elements are tested in order and the test ends at the first miss,
// never past a terminator; *unit is written only on success and may alias p.
template <class T> inline bool readEscape(T const* p, unsigned short* unit) {
    if (p[0] != 'U' || p[1] != '+') return false;
    unsigned int v = 0;
    for (int i = 2; i < 6; ++i) {
        int d = hexValue(p[i]);
        if (d < 0) return false;
        v = (v << 4) | static_cast<unsigned int>(d);
    }
    *unit = static_cast<unsigned short>(v);
    return true;
}

// Bytes of a terminated byte string that a length of len covers: all of
// them up to the terminator for kAll, else len itself.
inline unsigned long byteLength(unsigned char const* s, unsigned long len) {
    return len == kAll ? std::strlen(reinterpret_cast<char const*>(s)) : len;
}

// A positive maxSrc bounds the bytes read; anything else means no bound.
inline unsigned long sourceLimit(int maxSrc) {
    return maxSrc > 0 ? static_cast<unsigned long>(maxSrc) : kAll;
}

// True once used bytes reach a positive maxSrc. Decoders that test the limit
// between characters stop there; a character that starts inside it is whole.
inline bool reachedLimit(unsigned long used, int maxSrc) {
    return maxSrc > 0 && used >= static_cast<unsigned long>(maxSrc);
}

// The empty result: a terminator and nothing else.
template <class T> inline unsigned long emptyResult(T* dst) {
    dst[0] = 0;
    return 0;
}

// The result of a converter that has no tables for a source or text that
// may not be empty: nothing converted, and the flag raised when there was
// something to convert.
template <class T> inline unsigned long unconvertedResult(T* dst, bool* illegal, bool nonEmpty) {
    dst[0] = 0;
    if (illegal && nonEmpty) *illegal = true;
    return 0;
}

// An unconvertible character when decoding (u is 0): raises the flag, then
// either says stop (false) or makes u U+FFFD, as decoding has no escape form.
template <class T> inline bool replaceUnmapped(T& u, ILLCHAR_OPTYPE op, bool* illegal) {
    if (illegal) *illegal = true;
    if (op == ILLCHAR_STOP) return false;
    u = 0xFFFD;
    return true;
}

// A mapped one- or two-byte code at d[out]: false when a two-byte code does
// not fit whole in the room left (out < cap on entry).
inline bool putCode(unsigned char* d, unsigned long& out, unsigned long cap, unsigned code) {
    if (code < 0x100) {
        d[out++] = static_cast<unsigned char>(code);
        return true;
    }
    if (cap - out < 2) return false;
    d[out++] = static_cast<unsigned char>(code >> 8);
    d[out++] = static_cast<unsigned char>(code & 0xFF);
    return true;
}

// An unconvertible character when encoding, made of n units at u (1, or 2
// for a pair), at d[out] with out < cap: raises the flag; STOP stops; ESCAPE
// writes "U+%04X" per unit, or stops when the escapes do not all fit (an
// escape is never cut); anything else writes one '?'. False means stop.
inline bool putUnmappable(unsigned char* d, unsigned long& out, unsigned long cap,
                          ILLCHAR_OPTYPE op, bool* illegal, unsigned short const* u,
                          unsigned n = 1) {
    if (illegal) *illegal = true;
    if (op == ILLCHAR_STOP) return false;
    if (op == ILLCHAR_ESCAPE) {
        if (cap - out < 6ul * n) return false;
        for (unsigned i = 0; i < n; ++i) writeEscape(d + out + 6 * i, u[i]);
        out += 6ul * n;
    } else {
        d[out++] = '?';
    }
    return true;
}

// Units of a fixed-width form moved through memcpy: the byte side may be any
// buffer, so a cast pointer could be misaligned.
template <class T> inline T loadRaw(unsigned char const* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <class T> inline void storeRaw(unsigned char* p, T v) {
    std::memcpy(p, &v, sizeof v);
}

} // namespace detail
} // namespace vyn

#endif
