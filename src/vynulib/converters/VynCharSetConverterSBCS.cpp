#include <vynulib/converters/VynCharSetConverterSBCS.h>

#include <cstring>

#include <vynulib/internal/LookupTable.h>
#include <vynulib/internal/VynConvertCommon.h>
#include <vynulib/internal/VynBuildOnce.h>
#include <vynulib/internal/VynSimd.h>

using namespace vyn::detail;

namespace {

unsigned const kIdentityFlag = 256;
unsigned const kTableUnits = 257;

// The encoding loop; byteOf gives the byte of a unit, 0 for none (unit 0
// included). Four units a step while four bytes of room remain, each unit
// read only after the one before it proved not to be the terminator.
template <class ByteOf>
unsigned long encodeSbcs(ByteOf byteOf, unsigned char* d, unsigned short const* src,
                         unsigned long dstCap, ILLCHAR_OPTYPE op, bool* illegal) {
    unsigned long out = 0;
    for (;;) {
        for (; dstCap - out >= 4; out += 4, src += 4) {
            unsigned char b0 = byteOf(src[0]);
            if (!b0) break;
            d[out] = b0;
            unsigned char b1 = byteOf(src[1]);
            if (!b1) {
                out += 1;
                src += 1;
                break;
            }
            d[out + 1] = b1;
            unsigned char b2 = byteOf(src[2]);
            if (!b2) {
                out += 2;
                src += 2;
                break;
            }
            d[out + 2] = b2;
            unsigned char b3 = byteOf(src[3]);
            if (!b3) {
                out += 3;
                src += 3;
                break;
            }
            d[out + 3] = b3;
        }
        if (out >= dstCap || *src == 0) break;
        // One unit alone: mapped (the fast loop stopped short of four), or not.
        unsigned char b = byteOf(*src);
        if (b)
            d[out++] = b;
        else if (!putUnmappable(d, out, dstCap, op, illegal, src))
            break;
        ++src;
    }
    return out;
}

} // namespace

VynCharSetConverterSBCS::VynCharSetConverterSBCS(unsigned short const* map, VynCharSet cs)
    : VynCharSetConverter(cs), m_pName(nullptr), m_pForward(nullptr), m_pReverse(nullptr),
      m_pMap(map) {
    pthread_mutex_init(&m_oMutex, nullptr);
}

VynCharSetConverterSBCS::VynCharSetConverterSBCS(char const* name, VynCharSet cs)
    : VynCharSetConverter(cs), m_pName(name), m_pForward(nullptr), m_pReverse(nullptr),
      m_pMap(nullptr) {
    pthread_mutex_init(&m_oMutex, nullptr);
}

VynCharSetConverterSBCS::~VynCharSetConverterSBCS() {
    delete[] m_pForward.load();
    delete m_pReverse.load(); // frees its own pages, never the shared null page
    pthread_mutex_destroy(&m_oMutex);
}

// The forward table is the flag; the reverse one is stored before it.
void VynCharSetConverterSBCS::load() {
    buildOnce(m_pForward, m_oMutex, [this]() -> unsigned short* {
        // An instance made from a name has no map, and nothing loads one for
        // it: it stays without tables and converts nothing.
        if (!m_pMap) {
            static_cast<void>(m_pName);
            return nullptr;
        }
        // kTableUnits entries: the 256 units by byte, then one flag saying the
        // map is the identity on both sides (then both directions are arithmetic).
        auto* fwd = new unsigned short[kTableUnits]();
        auto* rev = new LookupTable<unsigned char>;
        // Records are (byte, 0, unit); the byte sits in the low half of the
        // first unsigned short. A (0, 0) record ends the map. Later records win.
        for (unsigned short const* r = m_pMap; (r[0] & 0xFF) != 0 || r[1] != 0; r += 2) {
            auto b = static_cast<unsigned char>(r[0] & 0xFF);
            fwd[b] = r[1];
            rev->insert(r[1], b);
        }
        // The zero byte ends the text and is never looked up; a zero there lets
        // the decoder test the terminator and an unmapped byte in one go.
        fwd[0] = 0;
        // Likewise unit 0 on the other side (a record for unit 0 never encodes).
        if (rev->lookup(0)) rev->insert(0, 0);
        bool identity =
            rev->pageCount() == 1 && rev->page(0) != LookupTable<unsigned char>::m_gNullTable;
        for (unsigned i = 1; identity && i < 256; ++i)
            identity = fwd[i] == i && rev->lookup(i) == i;
        fwd[kIdentityFlag] = identity ? 1 : 0;
        m_pReverse.store(rev, std::memory_order_relaxed);
        return fwd;
    });
}

unsigned long VynCharSetConverterSBCS::getNumUnits(void const* src, unsigned long len) {
    if (!src || len == 0) return 0;
    auto const* s = static_cast<unsigned char const*>(src);
    if (len == kAll) return std::strlen(reinterpret_cast<char const*>(s));
    unsigned long n = 0;
    while (n < len && s[n]) ++n;
    return n;
}

unsigned long VynCharSetConverterSBCS::toUTF16(unsigned short* dst, void const* src,
                                               unsigned long dstUnits, ILLCHAR_OPTYPE op,
                                               bool* illegal, int maxSrc) {
    if (!dst || !src) return 0;
    load();
    if (illegal) *illegal = false;
    unsigned short const* fwd = m_pForward.load(std::memory_order_acquire);
    if (!fwd) return emptyResult(dst); // no map: converts nothing
    auto const* s = static_cast<unsigned char const*>(src);
    // One byte per unit: the limit and the room bound the same count. A
    // negative limit means none; 0 reads nothing.
    unsigned long n = dstUnits;
    if (maxSrc >= 0 && static_cast<unsigned long>(maxSrc) < n)
        n = static_cast<unsigned long>(maxSrc);
    unsigned long out = 0;
    if (fwd[kIdentityFlag] && vyn::simd::g_oKernels.widen) {
        // Every byte up to the terminator is its own unit.
        std::size_t const len = strnlen(reinterpret_cast<char const*>(s), n);
        vyn::simd::g_oKernels.widen(s, len, dst);
        dst[len] = 0;
        return len;
    }
    if (fwd[kIdentityFlag]) {
        // Every byte is its own unit; the zero byte ends the text. Four at a
        // time while four fit, each byte read only after the one before it
        // proved not to be the terminator.
        for (; n - out >= 4; out += 4) {
            if (!(dst[out] = s[out])) return out;
            if (!(dst[out + 1] = s[out + 1])) return out + 1;
            if (!(dst[out + 2] = s[out + 2])) return out + 2;
            if (!(dst[out + 3] = s[out + 3])) return out + 3;
        }
        for (; out < n; ++out)
            if (!(dst[out] = s[out])) return out;
    } else if (auto const map = vyn::simd::g_oKernels.mapBytes) {
        // Table lookups a vector at a time up to the terminator; an unmapped
        // byte is sorted out alone.
        std::size_t const len = strnlen(reinterpret_cast<char const*>(s), n);
        for (;;) {
            out += map(s + out, len - out, dst + out, fwd);
            if (out >= len) break;
            unsigned short u = 0;
            if (!replaceUnmapped(u, op, illegal)) break;
            dst[out++] = u;
        }
    } else {
        // Likewise; a zero from the table stops the fast loop, and the
        // byte is sorted out alone: the terminator, or an unmapped byte.
        for (;;) {
            for (; n - out >= 4; out += 4) {
                unsigned short u0 = fwd[s[out]];
                if (!u0) break;
                dst[out] = u0;
                unsigned short u1 = fwd[s[out + 1]];
                if (!u1) {
                    out += 1;
                    break;
                }
                dst[out + 1] = u1;
                unsigned short u2 = fwd[s[out + 2]];
                if (!u2) {
                    out += 2;
                    break;
                }
                dst[out + 2] = u2;
                unsigned short u3 = fwd[s[out + 3]];
                if (!u3) {
                    out += 3;
                    break;
                }
                dst[out + 3] = u3;
            }
            if (out >= n) break;
            unsigned char b = s[out];
            unsigned short u = fwd[b];
            // fwd[0] is 0: the terminator lands here too.
            if (u == 0 && (b == 0 || !replaceUnmapped(u, op, illegal))) break;
            dst[out++] = u;
        }
    }
    dst[out] = 0;
    return out;
}

unsigned long VynCharSetConverterSBCS::getNumBytes(unsigned short const* src, unsigned long len) {
    if (!src || len == 0) return 0;
    // One byte per unit, mapped or not.
    unsigned long n = 0;
    while (n < len && src[n]) ++n;
    return n;
}

unsigned long VynCharSetConverterSBCS::fromUTF16(void* dst, unsigned short const* src,
                                                 unsigned long dstCap, ILLCHAR_OPTYPE op,
                                                 bool* illegal) {
    if (!dst || !src) return 0;
    load();
    if (illegal) *illegal = false;
    auto* d = static_cast<unsigned char*>(dst);
    // The reverse table is published before the forward one.
    unsigned short const* fwd = m_pForward.load(std::memory_order_acquire);
    if (!fwd) return emptyResult(d); // no map
    LookupTable<unsigned char> const* rev = m_pReverse.load(std::memory_order_acquire);
    // Surrogates are looked up one unit at a time: a supplementary character
    // becomes two replacements.
    unsigned long out;
    auto const narrow = vyn::simd::g_oKernels.narrow;
    if (fwd[kIdentityFlag] && narrow) {
        // Units below 0x100 are the bytes; every unit read writes a byte or
        // more, so no more than dstCap units are ever read.
        std::size_t const len = vyn::simd::scanUnitsAt(src, dstCap);
        std::size_t i = 0;
        out = 0;
        for (;;) {
            std::size_t lim = len - i;
            if (dstCap - out < lim) lim = dstCap - out;
            std::size_t const k = narrow(src + i, lim, d + out, 0x100);
            i += k;
            out += k;
            if (out >= dstCap || i >= len) break;
            if (!putUnmappable(d, out, dstCap, op, illegal, src + i)) break;
            ++i;
        }
    } else if (fwd[kIdentityFlag]) {
        // 1..0xFF are the bytes themselves.
        auto same = [](unsigned u) { return static_cast<unsigned char>(u - 1 < 0xFF ? u : 0); };
        out = encodeSbcs(same, d, src, dstCap, op, illegal);
    } else if (vyn::simd::g_oKernels.mapUnitsLow && src[0] != 0 && src[0] < 0x100 && src[1] != 0 &&
               src[1] < 0x100) {
        // Where two units below 0x100 follow each other, a run of them goes a
        // vector at a time through the first page, the rest one at a time.
        // Text of another script, where such runs are short (a space, a
        // comma), is handed to the loop below after the first one: it is
        // faster there. Every unit read writes a byte or more: dstCap units
        // at most.
        auto const mapLow = vyn::simd::g_oKernels.mapUnitsLow;
        auto mapped = [rev](unsigned u) { return rev->lookup(u); };
        unsigned char const* page0 = rev->page(0);
        std::size_t const len = vyn::simd::scanUnitsAt(src, dstCap);
        std::size_t i = 0;
        out = 0;
        while (out < dstCap && i < len) {
            unsigned const u = src[i];
            if (u < 0x100 && i + 1 < len && src[i + 1] < 0x100) {
                std::size_t lim = len - i;
                if (dstCap - out < lim) lim = dstCap - out;
                std::size_t const k = mapLow(src + i, lim, d + out, page0);
                i += k;
                out += k;
                if (k < 16) {
                    out += encodeSbcs(mapped, d + out, src + i, dstCap - out, op, illegal);
                    break;
                }
                if (k != 0) continue;
            }
            unsigned char const b = rev->lookup(u);
            if (b)
                d[out++] = b;
            else if (!putUnmappable(d, out, dstCap, op, illegal, src + i))
                break;
            ++i;
        }
    } else {
        // Two reads and no test: text in one script mixes units below and
        // above 0x100 too often for a branch on them to pay.
        auto mapped = [rev](unsigned u) { return rev->lookup(u); };
        out = encodeSbcs(mapped, d, src, dstCap, op, illegal);
    }
    d[out] = 0;
    return out;
}
