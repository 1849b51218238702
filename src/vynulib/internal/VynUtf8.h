// UTF-8 bytes: how a lead byte is classified and how a value is written
// (internal; the converters and vynconv share these answers).
#ifndef VYNULIB_INTERNAL_VYNUTF8_H
#define VYNULIB_INTERNAL_VYNUTF8_H

namespace vyn {
namespace detail {

// Sequence length by lead byte, as the UTF-8 converter reads it: 0 for a
// continuation byte, 0xC0 and 0xC1 lead two bytes, 0xF8-0xFF four. No range
// or overlong checks: the reader is lenient on purpose.
inline unsigned utf8Length(unsigned char lead) {
    static unsigned char const kBits[16] = {1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 2, 2, 3, 4};
    return kBits[lead >> 4];
}

// A zero byte is never a continuation, so testing followers one by one,
// stopping at the first miss, never reads past a terminator.
inline bool isUtf8Cont(unsigned char c) {
    return (c & 0xC0) == 0x80;
}

// Writes v as an N-byte sequence (N from 1 to 6; the five- and six-byte forms
// serve only the UTF-32 converter's values beyond U+1FFFFF). The lead byte
// takes what is left of v above the trail bytes' 6 bits each.
template <unsigned N> inline void putUtf8(unsigned char* out, unsigned long v) {
    static_assert(N >= 1 && N <= 6, "UTF-8 sequences have 1 to 6 bytes");
    if (N == 1) {
        out[0] = static_cast<unsigned char>(v);
        return;
    }
    for (unsigned i = N - 1; i > 0; --i, v >>= 6)
        out[i] = static_cast<unsigned char>(0x80 | (v & 0x3F));
    out[0] = static_cast<unsigned char>(((0xFF00u >> N) & 0xFF) | v);
}

// The same, with the length known only at run time.
inline void putUtf8(unsigned char* out, unsigned long v, unsigned n) {
    switch (n) {
    case 1:
        putUtf8<1>(out, v);
        break;
    case 2:
        putUtf8<2>(out, v);
        break;
    case 3:
        putUtf8<3>(out, v);
        break;
    case 4:
        putUtf8<4>(out, v);
        break;
    case 5:
        putUtf8<5>(out, v);
        break;
    default:
        putUtf8<6>(out, v);
        break;
    }
}

} // namespace detail
} // namespace vyn

#endif
