// The one-call conversions between local byte text, UTF-8 and UTF-16, the size
// queries and the two UTF-16 string helpers.
#include <vynulib/charset/VynCharSet.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <new>

#include <vynulib/converters/VynCharSetConverter.h>
#include <vynulib/internal/VynConvertCommon.h>
#include <vynulib/internal/VynScratch.h>
#include <vynulib/internal/VynSimd.h>
#include <vynulib/internal/VynUtf8Known.h>
#include <vynulib/internal/VynUtf8.h>

using vyn::detail::isUtf8Cont;
using vyn::detail::readEscape;
using vyn::detail::Scratch;

namespace {

// Scratch UTF-16 text for a source of n bytes: n + 16 units (n + 1 are
// needed). A failed allocation leaves get() null and the caller returns 0.
struct ScratchUnits : Scratch<unsigned short> {
    explicit ScratchUnits(unsigned long n) : Scratch(n, 16, std::nothrow) {}
};

VynCharSetConverter* utf8() {
    return VynCharSetConverter::getConverter(VYNCS_UTF8);
}

// Turns every "U+XXXX" in text[0..len) back into the unit it names and
// returns the new length; the terminator moves along. A decoded unit is not
// looked at again, and an escaped surrogate pair becomes the pair.
unsigned long decodePathEscapes(unsigned short* text, unsigned long len) {
    unsigned long r = 0;
    unsigned long w = 0;
    while (r < len) {
        // Upper-case hexadecimal only, as ILLCHAR_ESCAPE writes it: "u+00e9"
        // in a file name stays text.
        if (len - r > 5 && readEscape(text + r, text + w)) {
            ++w;
            r += 6;
            continue;
        }
        text[w++] = text[r++];
    }
    text[w] = 0;
    return w;
}

// True when conv reads each byte 0x01-0x7F as the same unit and writes each
// such unit as the same byte, with no flag, whatever stands around it: then a
// pure-ASCII text needs no trip through UTF-16. Tried once per converter and
// remembered (a slot holds the pointer, its low bit the answer). The escaped
// UTF-16 form reads "U+XXXX" as one unit, so it never qualifies.
bool mapsAsciiToItself(VynCharSetConverter* conv) {
    static std::atomic<std::uintptr_t> s_aSeen[64];
    auto const key = reinterpret_cast<std::uintptr_t>(conv);
    for (auto& slot : s_aSeen) {
        std::uintptr_t const v = slot.load(std::memory_order_acquire);
        if (v == 0) break;
        if ((v & ~std::uintptr_t(1)) == key) return (v & 1) != 0;
    }
    bool same = conv->getCharSet() != VYNCS_UTF16ESC && conv->getNullCharSize() == 1 &&
                conv->getMinUnitSize() == 1;
    if (same) {
        char bytes[128];
        unsigned short units[129];
        for (int i = 1; i < 128; ++i) bytes[i - 1] = static_cast<char>(i);
        bytes[127] = 0;
        bool flag = true;
        same = conv->toUTF16(units, bytes, 128, ILLCHAR_STOP, &flag, -1) == 127 && !flag;
        for (int i = 1; same && i < 128; ++i) same = units[i - 1] == i;
        char back[129];
        flag = true;
        same = same && conv->fromUTF16(back, units, 128, ILLCHAR_STOP, &flag) == 127 && !flag &&
               std::memcmp(back, bytes, 128) == 0;
    }
    std::uintptr_t const v = key | (same ? 1 : 0);
    for (auto& slot : s_aSeen) {
        std::uintptr_t expected = 0;
        if (slot.compare_exchange_strong(expected, v, std::memory_order_acq_rel)) break;
        if ((expected & ~std::uintptr_t(1)) == key) break; // another thread was first
    }
    return same;
}

// The text itself is the result when it reads back unchanged through UTF-16:
// UTF-8 to UTF-8 for text of whole, well-formed one- to three-byte
// sequences, or pure ASCII through a set that maps ASCII to itself. Only with
// vector kernels: the scalar build keeps the trip through UTF-16.
bool passesUnchanged(VynCharSetConverter* conv, unsigned char const* src, unsigned long n) {
    vyn::simd::Kernels const& k = vyn::simd::g_oKernels;
    if (k.utf8Strict == nullptr) return false;
    if (conv == utf8()) return k.utf8Strict(src, n);
    return k.asciiPrefix(src, n) == n && mapsAsciiToItself(conv);
}

// Copies src[0..n) to dst cut at the last whole UTF-8 character that fits in
// room bytes (ASCII is cut anywhere), and terminates it.
unsigned long copyWhole(unsigned char* dst, unsigned char const* src, unsigned long n,
                        unsigned long room) {
    unsigned long k = n;
    if (k > room) {
        k = room;
        while (k > 0 && isUtf8Cont(src[k])) --k;
    }
    std::memcpy(dst, src, k);
    dst[k] = 0;
    return k;
}

// Local bytes or UTF-8 to UTF-8 / local bytes through the scratch buffer. The
// byte-to-UTF-16 half is shared; the caller picks the encoding half.
struct Decoded {
    unsigned long m_uUnits;
    bool m_bIllegal;
};

Decoded decode(VynCharSetConverter* conv, unsigned short* buffer, char const* src, unsigned long n,
               bool wantFlag) {
    Decoded d{0, false};
    if (conv == utf8()) {
        // The length is known already: no second scan.
        d.m_uUnits =
            vyn::detail::utf8ToUtf16Known(buffer, reinterpret_cast<unsigned char const*>(src), n, n,
                                          wantFlag ? &d.m_bIllegal : nullptr);
        return d;
    }
    d.m_uUnits =
        conv->toUTF16(buffer, src, n, ILLCHAR_REPLACE, wantFlag ? &d.m_bIllegal : nullptr, -1);
    return d;
}

unsigned long utf8ToLocal(char* dst, unsigned char const* src, unsigned long dstSize, VynCharSet cs,
                          ILLCHAR_OPTYPE op) {
    if (dst == nullptr || src == nullptr) return 0;
    VynCharSetConverter* conv = VynCharSetConverter::getConverter(cs);
    unsigned long const t = static_cast<unsigned long>(conv->getNullCharSize());
    if (t > dstSize) return 0;
    unsigned long const n = std::strlen(reinterpret_cast<char const*>(src));
    if (n == 0) {
        std::memset(dst, 0, t);
        return 0;
    }
    if (passesUnchanged(conv, src, n))
        return copyWhole(reinterpret_cast<unsigned char*>(dst), src, n, dstSize - t);
    ScratchUnits scratch(n);
    if (scratch.get() == nullptr) return 0;
    if (vyn::detail::utf8ToUtf16Known(scratch.get(), src, n, n, nullptr) == 0) return 0;
    return conv->fromUTF16(dst, scratch.get(), dstSize - t, op, nullptr);
}

} // namespace

unsigned long LocalToUTF8(unsigned char* dst, char const* src, unsigned long dstSize,
                          VynCharSet cs) {
    if (dst == nullptr || dstSize == 0 || src == nullptr) return 0;
    unsigned long const n = std::strlen(src);
    if (n == 0) {
        dst[0] = 0;
        return 0;
    }
    VynCharSetConverter* conv = VynCharSetConverter::getConverter(cs);
    if (passesUnchanged(conv, reinterpret_cast<unsigned char const*>(src), n))
        return copyWhole(dst, reinterpret_cast<unsigned char const*>(src), n, dstSize - 1);
    ScratchUnits scratch(n);
    if (scratch.get() == nullptr) {
        dst[0] = 0;
        return 0;
    }
    Decoded d = decode(conv, scratch.get(), src, n, true);
    if (d.m_bIllegal) {
        // Text that is not valid in the claimed set is taken as Latin-1, so
        // no byte is lost.
        d = decode(VynCharSetConverter::getConverter(VYNCS_ISO_8859_1), scratch.get(), src, n,
                   true);
        if (d.m_bIllegal) return 0;
    }
    return utf8()->fromUTF16(dst, scratch.get(), dstSize - 1, ILLCHAR_REPLACE, nullptr);
}

unsigned long UTF8ToLocal(char* dst, unsigned char const* src, unsigned long dstSize,
                          VynCharSet cs) {
    return utf8ToLocal(dst, src, dstSize, cs, ILLCHAR_REPLACE);
}

int LocalToUTF16(unsigned short* dst, char const* src, int dstSize, VynCharSet cs) {
    if (dst == nullptr || src == nullptr || dstSize < 1) return 0;
    unsigned long const room = static_cast<unsigned long>(dstSize) - 1;
    bool illegal = false;
    unsigned long k = VynCharSetConverter::getConverter(cs)->toUTF16(dst, src, room,
                                                                     ILLCHAR_REPLACE, &illegal, -1);
    if (illegal) {
        k = VynCharSetConverter::getConverter(VYNCS_ISO_8859_1)
                ->toUTF16(dst, src, room, ILLCHAR_REPLACE, nullptr, -1);
    }
    return static_cast<int>(k);
}

unsigned long UTF16ToLocal(char* dst, unsigned short const* src, unsigned long dstSize,
                           VynCharSet cs) {
    if (dst == nullptr || src == nullptr) return 0;
    VynCharSetConverter* conv = VynCharSetConverter::getConverter(cs);
    unsigned long const t = static_cast<unsigned long>(conv->getNullCharSize());
    if (t > dstSize) return 0;
    return conv->fromUTF16(dst, src, dstSize - t, ILLCHAR_REPLACE, nullptr);
}

unsigned long UTF8ToUTF16(unsigned short* dst, unsigned char const* src, unsigned long dstSize) {
    if (dst == nullptr || src == nullptr || dstSize == 0) return 0;
    return utf8()->toUTF16(dst, src, dstSize - 1, ILLCHAR_REPLACE, nullptr, -1);
}

unsigned long UTF16ToUTF8(unsigned char* dst, unsigned short const* src, unsigned long dstSize) {
    if (dst == nullptr || src == nullptr || dstSize == 0) return 0;
    return utf8()->fromUTF16(dst, src, dstSize - 1, ILLCHAR_REPLACE, nullptr);
}

int LocalPathToUTF8(unsigned char* dst, char const* src, int dstSize) {
    if (dst == nullptr || src == nullptr || dstSize <= 0) return 0;
    unsigned long const n = std::strlen(src);
    if (n == 0) {
        dst[0] = 0;
        return 0;
    }
    ScratchUnits scratch(n);
    if (scratch.get() == nullptr) {
        dst[0] = 0;
        return 0;
    }
    Decoded const d =
        decode(VynCharSetConverter::getConverter(VYNCS_OS_DEFAULT), scratch.get(), src, n, false);
    if (d.m_uUnits == 0) return 0;
    decodePathEscapes(scratch.get(), d.m_uUnits);
    return static_cast<int>(utf8()->fromUTF16(
        dst, scratch.get(), static_cast<unsigned long>(dstSize) - 1, ILLCHAR_REPLACE, nullptr));
}

int UTF8ToLocalPath(char* dst, unsigned char const* src, int dstSize) {
    if (dstSize <= 0) return 0;
    return static_cast<int>(utf8ToLocal(dst, src, static_cast<unsigned long>(dstSize),
                                        VYNCS_OS_DEFAULT, ILLCHAR_ESCAPE));
}

unsigned long GetNumUnits(char const* src, VynCharSet cs) {
    if (src == nullptr) return 0;
    return VynCharSetConverter::getConverter(cs)->getNumUnits(src, ~0UL);
}

unsigned long GetNumBytes(unsigned short const* src, VynCharSet cs) {
    if (src == nullptr) return 0;
    return VynCharSetConverter::getConverter(cs)->getNumBytes(src, ~0UL);
}

int GetMinUnitSize(VynCharSet cs) {
    return VynCharSetConverter::getConverter(cs)->getMinUnitSize();
}

int GetMaxUnitSize(VynCharSet cs) {
    return VynCharSetConverter::getConverter(cs)->getMaxUnitSize();
}

int GetNullCharSize(VynCharSet cs) {
    return VynCharSetConverter::getConverter(cs)->getNullCharSize();
}

int VynCharSetWStrlen(unsigned short const* s) {
    if (s == nullptr) return 0;
    // Counted in 32 bits: a text of 2^32 units or more wraps (defined, never
    // a signed overflow).
    unsigned short const* p = s;
    while (*p != 0) ++p;
    return static_cast<int>(static_cast<unsigned int>(p - s));
}

bool VynCharSetWStrEqual(unsigned short const* a, unsigned short const* b) {
    if (a == nullptr || b == nullptr) return a == b;
    for (;; ++a, ++b) {
        if (*a != *b) return false;
        if (*a == 0) return true;
    }
}
