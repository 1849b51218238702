// UTF-8 decoding of a text whose length the caller has measured already.
// Internal.
#ifndef VYNULIB_INTERNAL_VYNUTF8KNOWN_H
#define VYNULIB_INTERNAL_VYNUTF8KNOWN_H

namespace vyn {
namespace detail {

// The UTF-8 converter's toUTF16(dst, src, cap, ILLCHAR_REPLACE, illegal, -1)
// for a src of exactly len bytes before its terminator, without measuring it
// again. dst and src are not null.
unsigned long utf8ToUtf16Known(unsigned short* dst, unsigned char const* src, unsigned long len,
                               unsigned long cap, bool* illegal);

} // namespace detail
} // namespace vyn

#endif
