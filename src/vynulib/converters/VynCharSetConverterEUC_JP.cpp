// EUC-JP: ASCII, JIS X 0208 in two bytes with the high bits set, JIS X 0201
// katakana after SS2 (0x8E) and JIS X 0212 in three bytes after SS3 (0x8F).
// JIS X 0201 is merged into the JIS X 0208 tables; JIS X 0212 has its own
// pair of tables, built under their own mutex.
#include <vynulib/converters/VynCharSetConverterMBCS.h>

#include <vynulib/internal/LookupTable.h>
#include <vynulib/internal/VynConvertCommon.h>
#include <vynulib/internal/VynBuildOnce.h>

using namespace vyn::detail;

namespace {

inline bool isKana(unsigned char b) {
    return b >= 0xA1 && b <= 0xDF;
}

inline unsigned jisCode(unsigned char hi, unsigned char lo) {
    return ((hi & 0x7Fu) << 8) | (lo & 0x7Fu);
}

} // namespace

VynCharSetConverterEUC_JP::VynCharSetConverterEUC_JP(unsigned short const* jis0208,
                                                     unsigned short const* jis0201,
                                                     unsigned short const* jis0212, VynCharSet cs)
    : VynCharSetConverterMBCS(jis0208, cs), m_pName0201(nullptr), m_pName0212(nullptr),
      m_pForward0212(nullptr), m_pReverse0212(nullptr), m_pTable0201(jis0201),
      m_pTable0212(jis0212) {
    pthread_mutex_init(&m_oMutex0212, nullptr);
}

VynCharSetConverterEUC_JP::VynCharSetConverterEUC_JP(char const* jis0208, char const* jis0201,
                                                     char const* jis0212, VynCharSet cs)
    : VynCharSetConverterMBCS(jis0208, cs), m_pName0201(jis0201), m_pName0212(jis0212),
      m_pForward0212(nullptr), m_pReverse0212(nullptr), m_pTable0201(nullptr),
      m_pTable0212(nullptr) {
    pthread_mutex_init(&m_oMutex0212, nullptr);
}

VynCharSetConverterEUC_JP::~VynCharSetConverterEUC_JP() {
    delete m_pForward0212.load();
    delete m_pReverse0212.load();
    pthread_mutex_destroy(&m_oMutex0212);
}

// The JIS X 0212 forward table is the flag that says "everything is built":
// it is published after the JIS X 0201 records went into the base tables, no
// conversion reads the base tables before it is set, and so the merge never
// races with a reader.
void VynCharSetConverterEUC_JP::load() {
    if (m_pForward0212.load(std::memory_order_acquire)) return;
    VynCharSetConverterMBCS::load(); // the base mutex, released before ours
    LookupTable<unsigned short>* fwd = m_pForward.load(std::memory_order_acquire);
    LookupTable<unsigned short>* rev = m_pReverse.load(std::memory_order_acquire);
    if (!fwd || !rev) return; // made from names: nothing to build
    buildOnce(m_pForward0212, m_oMutex0212, [&]() {
        auto* fwd0212 = new LookupTable<unsigned short>;
        auto* rev0212 = new LookupTable<unsigned short>;
        // A missing JIS X 0212 map gives empty tables rather than none, so
        // that the flag still gets set and no lookup meets a null table.
        if (m_pTable0212)
            for (unsigned short const* r = m_pTable0212; r[0] != 0 || r[1] != 0; r += 2) {
                fwd0212->insert(r[0], r[1]);
                rev0212->insert(r[1], r[0]);
            }
        // JIS X 0201 after JIS X 0208, so that it wins where both have a value.
        if (m_pTable0201)
            for (unsigned short const* r = m_pTable0201; r[0] != 0 || r[1] != 0; r += 2) {
                fwd->insert(r[0], r[1]);
                rev->insert(r[1], r[0]);
            }
        m_pReverse0212.store(rev0212, std::memory_order_relaxed);
        return fwd0212;
    });
}

unsigned long VynCharSetConverterEUC_JP::getNumUnits(void const* src, unsigned long len) {
    if (!src || len == 0) return 0;
    load();
    LookupTable<unsigned short> const* fwd = forwardTable();
    LookupTable<unsigned short> const* fwd0212 = m_pForward0212.load(std::memory_order_acquire);
    if (!fwd || !fwd0212) return 0;
    auto const* s = static_cast<unsigned char const*>(src);
    len = byteLength(s, len);
    unsigned long count = 0;
    unsigned long i = 0;
    while (i < len && s[i]) {
        unsigned char b = s[i];
        unsigned long left = len - i;
        if (b < 0x7F) {
            i += 1;
        } else if (b == m_cSS2) {
            if (left < 2) break;
            i += isKana(s[i + 1]) ? 2 : 1;
        } else if (b == m_cSS3) {
            if (left < 3) break;
            bool whole = s[i + 1] && s[i + 2] && fwd0212->lookup(jisCode(s[i + 1], s[i + 2]));
            i += whole ? 3 : 1;
        } else {
            if (left < 2) break;
            i += (s[i + 1] && fwd->lookup(jisCode(b, s[i + 1]))) ? 2 : 1;
        }
        ++count;
    }
    return count;
}

unsigned long VynCharSetConverterEUC_JP::toUTF16(unsigned short* dst, void const* src,
                                                 unsigned long dstUnits, ILLCHAR_OPTYPE op,
                                                 bool* illegal, int maxSrc) {
    if (!dst || !src) return 0;
    load();
    if (illegal) *illegal = false;
    auto const* s = static_cast<unsigned char const*>(src);
    LookupTable<unsigned short> const* fwd = forwardTable();
    LookupTable<unsigned short> const* fwd0212 = m_pForward0212.load(std::memory_order_acquire);
    if (!fwd || !fwd0212) return unconvertedResult(dst, illegal, s[0] != 0);
    if (dstUnits == 0 || s[0] == 0) return emptyResult(dst);
    unsigned long k = 0;
    unsigned long i = 0;
    for (;;) {
        unsigned char b = s[i];
        unsigned short u = 0;
        unsigned used = 1;
        if (b < 0x7F) {
            u = b;
        } else if (b == m_cSS2) {
            if (isKana(s[i + 1]) && (u = fwd->lookup(s[i + 1])) != 0) used = 2;
        } else if (b == m_cSS3) {
            // The third byte is read only when the second is no terminator.
            if (s[i + 1] && s[i + 2] && (u = fwd0212->lookup(jisCode(s[i + 1], s[i + 2]))) != 0)
                used = 3;
        } else if (s[i + 1]) {
            // The second byte's high bit is not tested, on purpose: 0xA4 0x22
            // reads as 0xA4 0xA2, and lead 0x80 reaches the JIS X 0201 entries
            // (0x80 0xDC is U+00A5), which is what the encoder writes for them.
            if ((u = fwd->lookup(jisCode(b, s[i + 1]))) != 0) used = 2;
        }
        i += used;
        if (u == 0 && !replaceUnmapped(u, op, illegal)) break;
        dst[k++] = u;
        if (reachedLimit(i, maxSrc)) break;
        if (k >= dstUnits || s[i] == 0) break;
    }
    dst[k] = 0;
    return k;
}

unsigned long VynCharSetConverterEUC_JP::getNumBytes(unsigned short const* src, unsigned long len) {
    if (!src || len == 0) return 0;
    load();
    LookupTable<unsigned short> const* rev = reverseTable();
    LookupTable<unsigned short> const* rev0212 = m_pReverse0212.load(std::memory_order_acquire);
    if (!rev || !rev0212) return 0;
    unsigned long n = 0;
    for (unsigned long i = 0; i < len && src[i]; ++i) {
        unsigned short u = src[i];
        if (u < 0x7F)
            n += 1;
        else if (rev->lookup(u))
            n += 2;
        else if (rev0212->lookup(u))
            n += 3;
        else
            n += 1; // the '?', whatever the later option
    }
    return n;
}

unsigned long VynCharSetConverterEUC_JP::fromUTF16(void* dst, unsigned short const* src,
                                                   unsigned long dstCap, ILLCHAR_OPTYPE op,
                                                   bool* illegal) {
    if (!dst || !src) return 0;
    load();
    if (illegal) *illegal = false;
    auto* d = static_cast<unsigned char*>(dst);
    LookupTable<unsigned short> const* rev = reverseTable();
    LookupTable<unsigned short> const* rev0212 = m_pReverse0212.load(std::memory_order_acquire);
    if (!rev || !rev0212) return unconvertedResult(d, illegal, src[0] != 0);
    unsigned long k = 0;
    for (unsigned long i = 0; k < dstCap && src[i]; ++i) {
        unsigned short u = src[i];
        if (u < 0x7F) {
            d[k++] = static_cast<unsigned char>(u);
            continue;
        }
        unsigned short code = rev->lookup(u);
        if (code) {
            if (dstCap - k < 2) break;
            if (code >= 0xA1 && code <= 0xDF) {
                d[k++] = m_cSS2;
                d[k++] = static_cast<unsigned char>(code);
            } else {
                // 16-bit sum: the JIS X 0201 codes below 0x80 come out with lead
                // 0x80 (U+00A5 is 0x80 0xDC), which the decoder reads back.
                unsigned short w = static_cast<unsigned short>(code + 0x8080);
                d[k++] = static_cast<unsigned char>(w >> 8);
                d[k++] = static_cast<unsigned char>(w & 0xFF);
            }
            continue;
        }
        code = rev0212->lookup(u);
        if (code) {
            if (dstCap - k < 3) break;
            unsigned short w = static_cast<unsigned short>(code + 0x8080);
            d[k++] = m_cSS3;
            d[k++] = static_cast<unsigned char>(w >> 8);
            d[k++] = static_cast<unsigned char>(w & 0xFF);
            continue;
        }
        if (!putUnmappable(d, k, dstCap, op, illegal, src + i)) break;
    }
    d[k] = 0;
    return k;
}
