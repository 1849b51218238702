#include <vynulib/converters/VynCharSetConverterSBCS.h>

#include <cstring>

#include <vynulib/converters/LookupTable.h>
#include <vynulib/converters/VynConvertCommon.h>
#include <vynulib/converters/VynMutex.h>

using namespace vyn::detail;

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

void VynCharSetConverterSBCS::load() {
    // Once published the tables are read without a lock.
    if (m_pForward.load(std::memory_order_acquire)) return;
    VynMutexLock lock(&m_oMutex);
    if (m_pForward.load(std::memory_order_relaxed)) return;
    // An instance made from a name has no map, and nothing loads one for it:
    // it stays without tables and converts nothing.
    if (!m_pMap) {
        static_cast<void>(m_pName);
        return;
    }
    auto* fwd = new unsigned short[256]();
    auto* rev = new LookupTable<unsigned char>;
    // Records are (byte, 0, unit); the byte sits in the low half of the first
    // unsigned short. A (0, 0) record ends the map. Later records win.
    for (unsigned short const* r = m_pMap; (r[0] & 0xFF) != 0 || r[1] != 0; r += 2) {
        auto b = static_cast<unsigned char>(r[0] & 0xFF);
        fwd[b] = r[1];
        rev->insert(r[1], b);
    }
    // Readers test the forward pointer: it goes out last, once both tables are whole.
    m_pReverse.store(rev, std::memory_order_release);
    m_pForward.store(fwd, std::memory_order_release);
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
    unsigned long out = 0;
    // A negative limit means none; 0 reads nothing.
    while (out < dstUnits && maxSrc != 0) {
        unsigned char b = *s++;
        if (b == 0) break;
        if (maxSrc > 0) --maxSrc;
        unsigned short u = fwd[b];
        if (u == 0 && !replaceUnmapped(u, op, illegal)) break;
        dst[out++] = u;
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
    if (!m_pForward.load(std::memory_order_acquire)) return emptyResult(d); // no map
    LookupTable<unsigned char> const* rev = m_pReverse.load(std::memory_order_acquire);
    unsigned long out = 0;
    // Surrogates are looked up one unit at a time: a supplementary character
    // becomes two replacements.
    for (; out < dstCap && *src; ++src) {
        unsigned short u = *src;
        unsigned char b = rev->lookup(u);
        if (b) {
            d[out++] = b;
            continue;
        }
        if (!putUnmappable(d, out, dstCap, op, illegal, src)) break;
    }
    d[out] = 0;
    return out;
}
