#include <vynulib/converters/VynCharSetConverterMBCS.h>

#include <vynulib/internal/LookupTable.h>
#include <cstring>

#include <vynulib/internal/VynConvertCommon.h>
#include <vynulib/internal/VynSimd.h>

using namespace vyn::detail;

namespace {

// One character at s[pos], by the lead-byte type table (0x40 lead, 0x80
// trail): a lead byte followed by a trail byte is a two-byte code; a lead byte
// followed by anything else (the terminator included) is an invalid sequence of
// one byte, and the next byte starts the next character; any other byte is a
// single-byte code, whatever its other type bits. Advances pos; returns false
// for an invalid sequence.
//
// The trail byte is looked at only inside the limit: a lead byte in the last
// byte the limit allows is an invalid sequence rather than a read past it.
bool step(unsigned char const* type, unsigned char const* s, unsigned long& pos,
          unsigned long limit, unsigned& code) {
    unsigned char b = s[pos];
    if (!(type[b] & 0x40)) {
        code = b;
        pos += 1;
        return true;
    }
    if (pos + 1 < limit && (type[s[pos + 1]] & 0x80)) {
        code = (static_cast<unsigned>(b) << 8) | s[pos + 1];
        pos += 2;
        return true;
    }
    pos += 1;
    return false;
}

// The decoding loop of the BMP-only code pages, with the source limit compiled
// in or out (without one, limit is kAll and never reached). Single bytes are
// read from the first page of the map directly.
template <bool kLimited>
unsigned long decodeDbcs(LookupTable<unsigned short> const* fwd, unsigned char const* type,
                         unsigned short* dst, unsigned char const* s, unsigned long dstUnits,
                         ILLCHAR_OPTYPE op, bool* illegal, unsigned long limit) {
    unsigned short const* page0 = fwd->page(0);
    unsigned long pos = 0, out = 0;
    // Runs of two or more ASCII bytes go through the vector table lookup when
    // no ASCII byte is a lead byte here. It needs a known length: bytes
    // [0, known) hold no zero; a unit takes two bytes at most.
    auto map = vyn::simd::g_oKernels.mapBytes;
    unsigned long known = 0;
    if (map) {
        unsigned char leads = 0;
        for (unsigned i = 0; i < 0x80; ++i) leads |= type[i];
        if (leads & 0x40)
            map = nullptr;
        else
            known = strnlen(reinterpret_cast<char const*>(s),
                            vyn::simd::satAdd(vyn::simd::satMul(dstUnits, 2), 2));
        if (kLimited && known > limit) known = limit;
    }
    while (out < dstUnits) {
        unsigned char b = s[pos];
        if (b == 0) break;
        if (map && b < 0x80 && pos + 1 < known && s[pos + 1] < 0x80) {
            std::size_t n = known - pos;
            if (dstUnits - out < n) n = dstUnits - out;
            n = vyn::simd::g_oKernels.asciiPrefix(s + pos, n);
            std::size_t const m = map(s + pos, n, dst + out, page0);
            pos += m;
            out += m;
            if (kLimited && pos >= limit) break;
            if (m != 0) continue; // the loop tests the room and the terminator
        }
        unsigned short u;
        bool whole = true;
        if (!(type[b] & 0x40)) {
            u = page0[b];
            pos += 1;
        } else if (type[s[pos + 1]] & 0x80) { // b is not 0: s[pos + 1] is inside the text
            u = fwd->lookup((static_cast<unsigned>(b) << 8) | s[pos + 1]);
            pos += 2;
        } else {
            // A lead byte without its trail: one invalid byte.
            u = 0;
            pos += 1;
            whole = false;
        }
        if (u == 0 && !replaceUnmapped(u, op, illegal)) break;
        dst[out++] = u;
        // The limit ends the conversion after a whole character that reaches
        // it; an invalid lead byte is not tested against it.
        if (kLimited && whole && pos >= limit) break;
    }
    dst[out] = 0;
    return out;
}

} // namespace

// --- code pages with BMP values only -----------------------------------------

VynCharSetConverterDBCS::VynCharSetConverterDBCS(unsigned short const* table,
                                                 unsigned char const* type, VynCharSet cs)
    : VynCharSetConverterMBCS(table, cs), VynCharSetConverterDBCSBase(type) {}

VynCharSetConverterDBCS::VynCharSetConverterDBCS(char const* name, unsigned char const* type,
                                                 VynCharSet cs)
    : VynCharSetConverterMBCS(name, cs), VynCharSetConverterDBCSBase(type) {}

VynCharSetConverterDBCS::~VynCharSetConverterDBCS() = default;

unsigned long VynCharSetConverterDBCS::getNumUnits(void const* src, unsigned long len) {
    // Needs only the type table; an instance without a map counts nothing, as
    // it converts nothing.
    if (!src || len == 0 || !m_pTable || !m_pType) return 0;
    auto const* s = static_cast<unsigned char const*>(src);
    len = byteLength(s, len);
    unsigned long pos = 0, units = 0;
    while (pos < len && s[pos]) {
        unsigned code = 0;
        step(m_pType, s, pos, len, code);
        ++units; // unmapped and invalid both become one U+FFFD
    }
    return units;
}

unsigned long VynCharSetConverterDBCS::toUTF16(unsigned short* dst, void const* src,
                                               unsigned long dstUnits, ILLCHAR_OPTYPE op,
                                               bool* illegal, int maxSrc) {
    if (!dst || !src) return 0;
    load();
    if (illegal) *illegal = false;
    LookupTable<unsigned short> const* fwd = forwardTable();
    if (!fwd || !m_pType) return emptyResult(dst); // no map: converts nothing
    auto const* s = static_cast<unsigned char const*>(src);
    // maxSrc stops the conversion after the character that reaches it; a
    // character is read whole, up to the source's terminator at most.
    if (maxSrc > 0)
        return decodeDbcs<true>(fwd, m_pType, dst, s, dstUnits, op, illegal,
                                static_cast<unsigned long>(maxSrc));
    return decodeDbcs<false>(fwd, m_pType, dst, s, dstUnits, op, illegal, kAll);
}

unsigned long VynCharSetConverterDBCS::getNumBytes(unsigned short const* src, unsigned long len) {
    if (!src || len == 0) return 0;
    load();
    if (!forwardTable()) return 0;
    LookupTable<unsigned short> const* rev = reverseTable();
    // An unmapped unit counts as the one byte of '?', whatever the later
    // conversion does with it.
    unsigned long bytes = 0;
    for (unsigned long i = 0; i < len && src[i]; ++i) bytes += rev->lookup(src[i]) > 0xFF ? 2 : 1;
    return bytes;
}

unsigned long VynCharSetConverterDBCS::fromUTF16(void* dst, unsigned short const* src,
                                                 unsigned long dstCap, ILLCHAR_OPTYPE op,
                                                 bool* illegal) {
    if (!dst || !src) return 0;
    load();
    if (illegal) *illegal = false;
    auto* d = static_cast<unsigned char*>(dst);
    if (!forwardTable()) return emptyResult(d);
    LookupTable<unsigned short> const* rev = reverseTable();
    unsigned long out = 0;
    // Blocks of units go through the vector lookup first. It needs a known
    // length: units before end hold no zero. Each unit takes a byte at
    // least, so no more than dstCap of them are ever converted.
    auto const paged = vyn::simd::g_oKernels.mapUnitsPaged;
    unsigned short const* const end = paged ? src + vyn::simd::scanUnitsAt(src, dstCap) : src;
    // Surrogates are looked up one unit at a time and never map.
    for (;;) {
        if (end - src >= 16 && dstCap - out >= 32) {
            std::size_t bytes = 0;
            src += paged(src, static_cast<std::size_t>(end - src), d + out, dstCap - out,
                         rev->pages(), &bytes);
            out += bytes;
        }
        // While two bytes of room remain, a mapped unit needs no room test,
        // and one- and two-byte codes go out without a branch on which: the
        // high byte is stored and kept only when it is not 0. Lookups are
        // two reads and no test on the unit, as CJK text mixes ASCII and
        // ideographs too often for a branch on them to pay.
        for (; dstCap - out >= 2; ++src) {
            unsigned u = *src;
            unsigned short code = u ? rev->lookup(u) : 0;
            if (!code) break;
            auto hi = static_cast<unsigned char>(code >> 8);
            d[out] = hi;
            out += hi != 0;
            d[out++] = static_cast<unsigned char>(code & 0xFF);
        }
        if (out >= dstCap || *src == 0) break;
        unsigned short code = rev->lookup(*src);
        if (code) {
            if (!putCode(d, out, dstCap, code)) break; // a two-byte code is never cut
        } else if (!putUnmappable(d, out, dstCap, op, illegal, src)) {
            break;
        }
        ++src;
    }
    d[out] = 0;
    return out;
}

// --- Shift_JIS-2004: values beyond the BMP -------------------------------------

namespace {

// Only U+10000 to U+10FFFF become a pair. Anything else a table holds is one
// unit: values past U+10FFFF (only a caller's table has them) are cut to 16
// bits, as they always were.
bool needsPair(unsigned int u) {
    return u >= 0x10000 && u <= 0x10FFFF;
}

} // namespace

VynCharSetConverterDBCSEx::VynCharSetConverterDBCSEx(sMBCSExTable const* table,
                                                     unsigned char const* type, VynCharSet cs)
    : VynCharSetConverterMBCSEx(table, cs), VynCharSetConverterDBCSBase(type) {}

VynCharSetConverterDBCSEx::VynCharSetConverterDBCSEx(char const* name, unsigned char const* type,
                                                     VynCharSet cs)
    : VynCharSetConverterMBCSEx(name, cs), VynCharSetConverterDBCSBase(type) {}

VynCharSetConverterDBCSEx::~VynCharSetConverterDBCSEx() = default;

unsigned long VynCharSetConverterDBCSEx::getNumUnits(void const* src, unsigned long len) {
    if (!src || len == 0) return 0;
    load();
    LookupTable<unsigned int> const* fwd = forwardTable();
    if (!fwd || !m_pType) return 0;
    auto const* s = static_cast<unsigned char const*>(src);
    len = byteLength(s, len);
    unsigned long pos = 0, units = 0;
    while (pos < len && s[pos]) {
        unsigned code = 0;
        bool invalid = !step(m_pType, s, pos, len, code);
        // A character beyond the BMP is a surrogate pair.
        units += !invalid && needsPair(fwd->lookup(code)) ? 2 : 1;
    }
    return units;
}

unsigned long VynCharSetConverterDBCSEx::toUTF16(unsigned short* dst, void const* src,
                                                 unsigned long dstUnits, ILLCHAR_OPTYPE op,
                                                 bool* illegal, int maxSrc) {
    if (!dst || !src) return 0;
    load();
    if (illegal) *illegal = false;
    LookupTable<unsigned int> const* fwd = forwardTable();
    if (!fwd || !m_pType) return emptyResult(dst);
    auto const* s = static_cast<unsigned char const*>(src);
    // The source limit is tested after whole characters, as in the BMP-only
    // converter.
    unsigned long const limit = sourceLimit(maxSrc);
    unsigned long pos = 0, out = 0;
    while (out < dstUnits && s[pos]) {
        unsigned code = 0;
        bool invalid = !step(m_pType, s, pos, kAll, code);
        unsigned int u = invalid ? 0 : fwd->lookup(code);
        if (u == 0 && !replaceUnmapped(u, op, illegal)) break;
        if (needsPair(u)) {
            // A pair is never split: without room for both units, stop here.
            if (dstUnits - out < 2) break;
            putPair(dst + out, u);
            out += 2;
        } else {
            dst[out++] = static_cast<unsigned short>(u);
        }
        if (!invalid && pos >= limit) break;
    }
    dst[out] = 0;
    return out;
}

unsigned long VynCharSetConverterDBCSEx::getNumBytes(unsigned short const* src, unsigned long len) {
    if (!src || len == 0) return 0;
    load();
    if (!forwardTable()) return 0;
    LookupTableEx<unsigned short> const* rev = reverseTable();
    unsigned long bytes = 0, i = 0;
    while (i < len && src[i]) {
        unsigned short u = src[i];
        unsigned int key = u;
        if (isHigh(u)) {
            // A high surrogate at the end (before the terminator, or as the
            // last unit the length allows, whose partner is not to be read)
            // adds nothing.
            if (i + 1 >= len || src[i + 1] == 0) break;
            if (!isLow(src[i + 1])) { // lone: one '?'
                ++bytes;
                ++i;
                continue;
            }
            key = pairValue(u, src[i + 1]);
            ++i;
        }
        ++i;
        bytes += rev->lookup(key) > 0xFF ? 2 : 1;
    }
    return bytes;
}

unsigned long VynCharSetConverterDBCSEx::fromUTF16(void* dst, unsigned short const* src,
                                                   unsigned long dstCap, ILLCHAR_OPTYPE op,
                                                   bool* illegal) {
    if (!dst || !src) return 0;
    load();
    if (illegal) *illegal = false;
    auto* d = static_cast<unsigned char*>(dst);
    if (!forwardTable()) return emptyResult(d);
    LookupTableEx<unsigned short> const* rev = reverseTable();
    unsigned long out = 0;
    while (out < dstCap && *src) {
        unsigned short u = src[0];
        // src[0] is not the terminator, so src[1] is still inside the string.
        bool pair = isHigh(u) && isLow(src[1]);
        bool loneHigh = isHigh(u) && !pair;
        unsigned int key = pair ? pairValue(u, src[1]) : u;
        unsigned short code = loneHigh ? 0 : rev->lookup(key);
        if (code) {
            if (!putCode(d, out, dstCap, code)) break;
            src += pair ? 2 : 1;
            continue;
        }
        // An unmapped pair is escaped as its two units, or one '?'.
        if (!putUnmappable(d, out, dstCap, op, illegal, src, pair ? 2 : 1)) break;
        src += pair ? 2 : 1;
    }
    d[out] = 0;
    return out;
}
