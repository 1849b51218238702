// GB18030: ASCII and the two-byte area through the GBK map, the four-byte BMP
// area through the range tables, the supplementary planes by arithmetic.
//
// One 32-bit key names a sequence: a one- or two-byte code as itself, a
// four-byte sequence as its linear index plus 0x10000. Keys from 254536 on
// (0x90 0x30 0x81 0x30) are code points plus 189000.
#include <vynulib/converters/VynCharSetConverterMBCS.h>

#include <vector>

#include <vynulib/internal/LookupTable.h>
#include <vynulib/internal/VynConvertCommon.h>
#include <vynulib/internal/VynBuildOnce.h>
#include <vynulib/internal/VynSimd.h>
#include <vynulib/internal/VynTables.h>
#include <vynulib/unicode/VynUChar.h>

using namespace vyn::detail;

namespace {

unsigned const kFourByteBase = 0x10000;    // 0x81 0x30 0x81 0x30
unsigned const kSupplementaryKey = 254536; // 0x90 0x30 0x81 0x30 = U+10000
unsigned const kKeyToScalar = 189000;      // key - scalar beyond the BMP
unsigned const kKeyLimit = 1653136;        // one past 0xFE 0x39 0xFE 0x39
unsigned const kDecodeIndexFloor = 0x8100;
unsigned const kDecodeIndexTop = 0x19FFF;

inline bool isDigit(unsigned char b) {
    return b >= 0x30 && b <= 0x39;
}
inline bool isLead(unsigned char b) {
    return b >= 0x81 && b <= 0xFE;
}
inline bool isTrail2(unsigned char b) {
    return b >= 0x40 && b <= 0xFE && b != 0x7F;
}

inline unsigned fourByteKey(unsigned char const* p) {
    return (p[0] * 10u + p[1]) * 1260u + p[2] * 10u + p[3] - 1621682u;
}

// From r on, the record that holds key, or null. The table ends with a zero
// record, where the walk stops.
sGBRange const* findRange(sGBRange const* r, unsigned key) {
    while (r->first != 0 && r->last < key) ++r;
    return (r->first != 0 && r->first <= key) ? r : nullptr;
}

// For each bucket, the last record whose first lies below the bucket's lowest
// key (the first record when none does). Buckets above the first of the last
// record get the last record, never the terminator.
sGBRange const** buildIndex(sGBRange const* table, unsigned buckets, unsigned base, unsigned step) {
    auto** index = new sGBRange const*[buckets];
    sGBRange const* r = table->first != 0 ? table + 1 : table;
    for (unsigned i = 0; i < buckets; ++i) {
        unsigned k = base + step * i;
        while (r->first != 0 && r->first < k) ++r;
        index[i] = r == table ? table : r - 1;
    }
    return index;
}

// One decoded character: its scalar value (0 when unconvertible), the bytes it
// took, and whether its replacement skips the source-limit test. A broken or
// unmapped multibyte form does; a four-byte value past U+10FFFF is tested like
// any other character.
struct Decoded {
    unsigned value;
    unsigned used;
    bool skipsLimit;
};

} // namespace

VynCharSetConverterGB18030::VynCharSetConverterGB18030(unsigned short const* table, VynCharSet cs)
    : VynCharSetConverterMBCS(table, cs), m_pDecodeIndex(nullptr), m_pEncodeIndex(nullptr) {
    pthread_mutex_init(&m_oRangeMutex, nullptr);
}

VynCharSetConverterGB18030::VynCharSetConverterGB18030(char const* name, VynCharSet cs)
    : VynCharSetConverterMBCS(name, cs), m_pDecodeIndex(nullptr), m_pEncodeIndex(nullptr) {
    pthread_mutex_init(&m_oRangeMutex, nullptr);
}

VynCharSetConverterGB18030::~VynCharSetConverterGB18030() {
    delete[] m_pDecodeIndex.load();
    delete[] m_pEncodeIndex.load();
    pthread_mutex_destroy(&m_oRangeMutex);
}

// The decoding index is the flag; the encoding index is stored before it.
void VynCharSetConverterGB18030::load() {
    if (m_pDecodeIndex.load(std::memory_order_acquire)) return;
    VynCharSetConverterMBCS::load(); // the base mutex, released before ours
    buildOnce(m_pDecodeIndex, m_oRangeMutex, [this] {
        m_pEncodeIndex.store(buildIndex(oUni2GBRange, kEncodeBuckets, 0, 128),
                             std::memory_order_relaxed);
        return buildIndex(oGB2UniRange, kDecodeBuckets, kDecodeIndexFloor, 256);
    });
}

sGBRange const* VynCharSetConverterGB18030::getGB2UniRange(unsigned int key) const {
    sGBRange const** index = m_pDecodeIndex.load(std::memory_order_acquire);
    // Before load, a search from the start finds the same record, only slower.
    if (!index || key < kDecodeIndexFloor) return oGB2UniRange;
    if (key > kDecodeIndexTop) key = kDecodeIndexTop;
    return index[(key - kDecodeIndexFloor) >> 8];
}

sGBRange const* VynCharSetConverterGB18030::getUni2GBRange(unsigned int unit) const {
    sGBRange const** index = m_pEncodeIndex.load(std::memory_order_acquire);
    if (!index) return oUni2GBRange;
    if (unit > 0xFFFF) unit = 0xFFFF;
    return index[unit >> 7];
}

namespace {

// The four-byte BMP area and the range-mapped units, one lookup each: the
// ranges searched once for every key and unit, at first use (after load, so
// the searches take the index). The range tables are shared by every
// instance, so one copy serves them all.
struct DirectRanges {
    unsigned decode(unsigned key) const {
        unsigned const i = key - kFourByteBase;
        return i < m_aDecode.size() ? m_aDecode[i] : 0;
    }
    std::vector<unsigned> m_aDecode; // four-byte key - kFourByteBase -> value, 0: none
    std::vector<unsigned> m_aEncode; // unit -> key, 0: none
    std::vector<unsigned> m_aBytes4; // unit -> its four bytes, first in the low byte
    explicit DirectRanges(VynCharSetConverterGB18030 const& cnv) : m_aEncode(0x10000) {
        for (unsigned key = kFourByteBase; key < kSupplementaryKey; ++key) {
            sGBRange const* r = findRange(cnv.getGB2UniRange(key), key);
            if (!r) continue;
            m_aDecode.resize(key - kFourByteBase + 1);
            m_aDecode[key - kFourByteBase] = r->target + (key - r->first);
        }
        m_aBytes4.resize(0x10000);
        for (unsigned u = 0; u < 0x10000; ++u) {
            sGBRange const* r = findRange(cnv.getUni2GBRange(u), u);
            unsigned const key = r ? r->target + (u - r->first) : 0;
            m_aEncode[u] = key;
            if (key >= kFourByteBase && key < kKeyLimit) {
                unsigned const l = key - kFourByteBase;
                m_aBytes4[u] = (l / 12600 + 0x81) | ((l / 1260) % 10 + 0x30) << 8 |
                               ((l % 1260) / 10 + 0x81) << 16 | (l % 10 + 0x30) << 24;
            }
        }
    }
};

DirectRanges const& directRanges(VynCharSetConverterGB18030 const& cnv) {
    static DirectRanges const s_oRanges(cnv); // built once, under the language's guard
    return s_oRanges;
}

// Decodes the character at s (s[0] is not the terminator). avail is how many
// bytes may be read from s; bytes past a terminator are never read.
Decoded decodeOne(VynCharSetConverterGB18030 const& cnv, DirectRanges const& direct,
                  LookupTable<unsigned short> const& fwd, unsigned char const* s,
                  unsigned long avail) {
    unsigned char b = s[0];
    if (b < 0x81) return {fwd.lookup(b), 1, false};
    if (b == 0xFF || avail < 2) return {0, 1, false};
    unsigned char t = s[1];
    if (isTrail2(t)) {
        unsigned code = (static_cast<unsigned>(b) << 8) | t;
        unsigned u = fwd.lookup(code);
        if (!u) {
            sGBRange const* r = findRange(cnv.getGB2UniRange(code), code);
            if (r) u = r->target + (code - r->first);
        }
        return {u, 2, true};
    }
    if (isDigit(t) && avail >= 4 && isLead(s[2]) && isDigit(s[3])) {
        unsigned key = fourByteKey(s);
        unsigned v = 0;
        if (key >= kSupplementaryKey) {
            v = key - kKeyToScalar;
            if (v > 0x10FFFF) return {0, 4, false};
        } else {
            v = direct.decode(key);
        }
        return {v, 4, true};
    }
    return {0, 1, true};
}

// The key that unit u (with lo after it, for a pair) encodes to; 0 when none.
// *units gets 1 or 2.
unsigned encodeKey(DirectRanges const& direct, LookupTable<unsigned short> const& rev,
                   unsigned short u, unsigned short lo, unsigned* units) {
    *units = 1;
    if (isHigh(u)) {
        *units = 2;
        return pairValue(u, lo) + kKeyToScalar;
    }
    if (unsigned code = rev.lookup(u)) return code;
    return direct.m_aEncode[u];
}

inline unsigned keyBytes(unsigned key) {
    return key <= 0xFF ? 1 : key < 0x10000 ? 2 : 4;
}

} // namespace

unsigned long VynCharSetConverterGB18030::getNumUnits(void const* src, unsigned long len) {
    if (!src || len == 0) return 0;
    load();
    DirectRanges const& direct = directRanges(*this);
    LookupTable<unsigned short> const* fwd = forwardTable();
    if (!fwd) return 0;
    auto const* s = static_cast<unsigned char const*>(src);
    len = byteLength(s, len);
    unsigned long count = 0;
    unsigned long i = 0;
    while (i < len && s[i]) {
        // Only bytes inside the budget are looked at: a four-byte form needs
        // all four of them there.
        Decoded c = decodeOne(*this, direct, *fwd, s + i, len - i);
        i += c.used;
        count += (c.value > VynUChar::UTF16_MAX) ? 2 : 1;
    }
    return count;
}

unsigned long VynCharSetConverterGB18030::toUTF16(unsigned short* dst, void const* src,
                                                  unsigned long dstUnits, ILLCHAR_OPTYPE op,
                                                  bool* illegal, int maxSrc) {
    if (!dst || !src) return 0;
    load();
    DirectRanges const& direct = directRanges(*this);
    if (illegal) *illegal = false;
    auto const* s = static_cast<unsigned char const*>(src);
    LookupTable<unsigned short> const* fwd = forwardTable();
    if (!fwd) return unconvertedResult(dst, illegal, s[0] != 0);
    if (dstUnits == 0 || s[0] == 0) return emptyResult(dst);
    unsigned long k = 0;
    unsigned long i = 0;
    unsigned short const* page0 = fwd->page(0);
    for (;;) {
        // The common cases first: a mapped single byte, a mapped two-byte
        // code (s[i + 1] is there: s[i] is not the terminator).
        unsigned char const b = s[i];
        unsigned short fast = 0;
        unsigned used = 1;
        if (b < 0x80) {
            fast = page0[b];
        } else if (isLead(b) && isTrail2(s[i + 1])) {
            fast = fwd->lookup((static_cast<unsigned>(b) << 8) | s[i + 1]);
            used = 2;
        }
        if (fast) {
            dst[k++] = fast;
            i += used;
            if (reachedLimit(i, maxSrc)) break;
            if (k >= dstUnits || s[i] == 0) break;
            continue;
        }
        // No length is known: decodeOne reads a byte only after a nonzero one.
        Decoded c = decodeOne(*this, direct, *fwd, s + i, kAll);
        bool replaced = false;
        if (c.value == 0) {
            if (!replaceUnmapped(c.value, op, illegal)) break;
            replaced = c.skipsLimit;
        }
        if (c.value > VynUChar::UTF16_MAX) {
            if (dstUnits - k < 2) break; // a pair is never split
            putPair(dst + k, c.value);
            k += 2;
        } else {
            dst[k++] = static_cast<unsigned short>(c.value);
        }
        i += c.used;
        // After a replaced broken or unmapped multibyte form the source limit
        // is not looked at, as it always has been.
        if (!replaced && reachedLimit(i, maxSrc)) break;
        if (k >= dstUnits || s[i] == 0) break;
    }
    dst[k] = 0;
    return k;
}

unsigned long VynCharSetConverterGB18030::getNumBytes(unsigned short const* src,
                                                      unsigned long len) {
    if (!src || len == 0) return 0;
    load();
    DirectRanges const& direct = directRanges(*this);
    LookupTable<unsigned short> const* rev = reverseTable();
    if (!rev) return 0;
    unsigned long n = 0;
    for (unsigned long i = 0; i < len && src[i];) {
        unsigned short u = src[i];
        // A high surrogate ends the count unless its low half follows inside
        // the length: nothing past the length is read.
        if (isHigh(u) && (len - i < 2 || !isLow(src[i + 1]))) break;
        unsigned units = 1;
        unsigned key = encodeKey(direct, *rev, u, isHigh(u) ? src[i + 1] : 0, &units);
        n += (key == 0 || key >= kKeyLimit) ? 1 : keyBytes(key);
        i += units;
    }
    return n;
}

unsigned long VynCharSetConverterGB18030::fromUTF16(void* dst, unsigned short const* src,
                                                    unsigned long dstCap, ILLCHAR_OPTYPE op,
                                                    bool* illegal) {
    if (!dst || !src) return 0;
    load();
    DirectRanges const& direct = directRanges(*this);
    if (illegal) *illegal = false;
    auto* d = static_cast<unsigned char*>(dst);
    LookupTable<unsigned short> const* rev = reverseTable();
    if (!rev) return unconvertedResult(d, illegal, src[0] != 0);
    unsigned long k = 0, i = 0;
    // A leading run of one- and two-byte codes (most Chinese text is one
    // long run) goes through the vector lookup of the table, which needs a
    // known length; each unit takes a byte at least, so no more than dstCap
    // of them are converted. The loop waits for its answer, so text whose
    // first units need four bytes (Korean, say) does not call it. The loop
    // below is kept as it is: a call inside it makes every unit slower.
    auto const paged = vyn::simd::g_oKernels.mapUnitsPaged;
    if (paged && dstCap >= 32 && src[0] != 0 && rev->lookup(src[0]) != 0 &&
        rev->lookup(src[1]) != 0) {
        unsigned long const known = vyn::simd::scanUnitsAt(src, dstCap);
        if (known >= 16 && rev->lookup(src[7]) != 0 && rev->lookup(src[15]) != 0) {
            std::size_t bytes = 0;
            i = paged(src, known, d, dstCap, rev->pages(), &bytes);
            k = bytes;
        }
    }
    for (; k < dstCap && src[i];) {
        unsigned short u = src[i];
        // A high surrogate without its low half ends the text here, with no
        // flag and whatever the option: callers have always seen it so.
        if (isHigh(u) && !isLow(src[i + 1])) break;
        unsigned units = 1;
        unsigned key = encodeKey(direct, *rev, u, isHigh(u) ? src[i + 1] : 0, &units);
        if (key != 0 && key < 0x10000) {
            if (!putCode(d, k, dstCap, key)) break;
        } else if (key != 0 && key < kKeyLimit && units == 1) {
            // A BMP unit from the ranges: its bytes are ready.
            if (dstCap - k < 4) break;
            storeRaw(d + k, direct.m_aBytes4[u]);
            k += 4;
        } else if (key != 0 && key < kKeyLimit) {
            if (dstCap - k < 4) break;
            unsigned l = key - kFourByteBase;
            d[k++] = static_cast<unsigned char>(l / 12600 + 0x81);
            d[k++] = static_cast<unsigned char>((l / 1260) % 10 + 0x30);
            d[k++] = static_cast<unsigned char>((l % 1260) / 10 + 0x81);
            d[k++] = static_cast<unsigned char>(l % 10 + 0x30);
        } else if (!putUnmappable(d, k, dstCap, op, illegal, src + i, units)) {
            break;
        }
        i += units;
    }
    d[k] = 0;
    return k;
}
