// The one-call conversions between local byte text, UTF-8 and UTF-16, the size
// queries and the two UTF-16 string helpers.
#include <vynulib/charset/VynCharSet.h>

#include <cstring>
#include <new>

#include <vynulib/converters/VynCharSetConverter.h>
#include <vynulib/internal/VynConvertCommon.h>
#include <vynulib/internal/VynScratch.h>

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

// Local bytes or UTF-8 to UTF-8 / local bytes through the scratch buffer. The
// byte-to-UTF-16 half is shared; the caller picks the encoding half.
struct Decoded {
    unsigned long m_uUnits;
    bool m_bIllegal;
};

Decoded decode(VynCharSetConverter* conv, unsigned short* buffer, char const* src, unsigned long n,
               bool wantFlag) {
    Decoded d{0, false};
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
    ScratchUnits scratch(n);
    if (scratch.get() == nullptr) return 0;
    if (utf8()->toUTF16(scratch.get(), src, n, ILLCHAR_REPLACE, nullptr, -1) == 0) return 0;
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
    ScratchUnits scratch(n);
    if (scratch.get() == nullptr) {
        dst[0] = 0;
        return 0;
    }
    Decoded d = decode(VynCharSetConverter::getConverter(cs), scratch.get(), src, n, true);
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
