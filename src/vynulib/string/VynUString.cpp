// VynUString: storage, construction, assignment, byte rendering and access.
#include <vynulib/string/VynUString.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>

#include <vynulib/converters/VynCharSetConverter.h>
#include <vynulib/internal/VynScratch.h>

namespace {

constexpr unsigned long kAll = ~0UL;

// Room behind every scratch byte text: enough zero bytes to terminate it for
// any converter (the widest terminator is four bytes).
constexpr unsigned long kPad = 8;

VynCharSetConverter* converterFor(VynCharSet cs) {
    return VynCharSetConverter::getConverter(cs);
}

// Bytes of s that come before the converter's terminator, looking at no more
// than len bytes. The terminator is nullSize zero bytes on an element
// boundary (a zero byte, a zero UTF-16 unit, a zero UTF-32 value).
unsigned long boundedByteLength(char const* s, unsigned long len, int nullSize) {
    unsigned long step = nullSize > 0 ? static_cast<unsigned long>(nullSize) : 1;
    if (step == 1) {
        void const* z = std::memchr(s, 0, len);
        return z ? static_cast<unsigned long>(static_cast<char const*>(z) - s) : len;
    }
    static const char zeros[8] = {};
    unsigned long i = 0;
    while (len - i >= step) {
        if (std::memcmp(s + i, zeros, step) == 0) return i;
        i += step;
    }
    return len;
}

// A zero-padded private copy of a byte text, so that neither counting nor
// converting can read past what the caller handed over.
class ByteScratch {
public:
    ByteScratch(char const* s, unsigned long n) : m_oRoom(n, kPad) {
        if (n) std::memcpy(m_oRoom.get(), s, n);
        std::memset(m_oRoom.get() + n, 0, kPad);
    }
    ByteScratch(char c, unsigned long m) : m_oRoom(m, kPad) {
        std::memset(m_oRoom.get(), static_cast<unsigned char>(c), m);
        std::memset(m_oRoom.get() + m, 0, kPad);
    }
    char const* data() const { return m_oRoom.get(); }

private:
    vyn::detail::Scratch<char> m_oRoom;
};

// Given to callers that ask an empty string for its bytes. Wide enough to be
// an empty text in every character set, including UTF-16 and UTF-32.
const char g_aEmptyBytes[8] = {};

const VynPascalString g_oEmptyPascal = {};
const VynBSTR g_oEmptyBSTR = {0};

} // namespace

// --- errors -----------------------------------------------------------------

void VynUString::range_error() {
    throw std::out_of_range("invalid string index given");
}

void VynUString::length_error() {
    throw std::length_error("exceed maximum string length");
}

// --- storage ----------------------------------------------------------------

VynUString::Rep* VynUString::SetupSpace() {
    m_oRep.m_uHeap = 0;
    m_oRep.m_pText = m_aInline;
    m_oRep.m_uLength = 0;
    m_oRep.m_uCapacity = INLINE_CAPACITY;
    m_oRep.m_pSecText = nullptr;
    m_oRep.m_uSecLength = 0;
    m_oRep.m_eSecCharSet = static_cast<VynCharSet>(-1);
    m_aInline[0] = 0;
    m_pRep = &m_oRep;
    return &m_oRep;
}

VynUString::Rep* VynUString::SetupSpace(unsigned long n) {
    SetupSpace();
    AssureSpace(n);
    return &m_oRep;
}

void VynUString::initForAlloc() {
    m_pRep = SetupSpace();
}

void VynUString::AssureSpace(unsigned long n) {
    Rep* r = m_pRep;
    if (r->m_uCapacity >= n) return;
    // n + 1 units must be expressible as a byte count.
    if (n >= SIZE_MAX / sizeof(unsigned short)) throw std::bad_array_new_length();
    // The new array is taken before the old one goes: if the allocation
    // throws, the string still owns exactly what it owned before and its
    // destructor releases it once.
    unsigned short* p = new unsigned short[n + 1];
    if (r->m_uHeap) delete[] r->m_pText;
    r->m_uHeap = 1;
    r->m_pText = p;
    r->m_uLength = 0;
    r->m_uCapacity = n;
    p[0] = 0;
}

void VynUString::freeSecText() {
    Rep* r = m_pRep;
    if (r->m_pSecText) {
        delete[] r->m_pSecText;
        r->m_pSecText = nullptr;
    }
}

// --- construction -----------------------------------------------------------

VynUString::VynUString() {
    initForAlloc();
}

VynUString::VynUString(char c, VynCharSet cs) {
    initForAlloc();
    if (c == 0) return;
    char const buf[kPad] = {c};
    VynCharSetConverter* cnv = converterFor(cs);
    unsigned long n = cnv->getNumUnits(buf, 1);
    if (n == 0) return;
    SetupSpace(n);
    m_pRep->m_uLength = cnv->toUTF16(m_pRep->m_pText, buf, n, ILLCHAR_REPLACE, nullptr, -1);
}

VynUString::VynUString(char c, unsigned long m, VynCharSet cs) {
    initForAlloc();
    if (c == 0 || m == 0) return;
    // The m copies of c are followed by zero bytes, so the conversion (which
    // reads up to a terminator) ends inside the scratch copy.
    ByteScratch tmp(c, m);
    VynCharSetConverter* cnv = converterFor(cs);
    unsigned long n = cnv->getNumUnits(tmp.data(), m);
    if (n == 0) return;
    SetupSpace(n);
    m_pRep->m_uLength = cnv->toUTF16(m_pRep->m_pText, tmp.data(), n, ILLCHAR_REPLACE, nullptr, -1);
}

VynUString::VynUString(unsigned short u) {
    initForAlloc();
    if (u == 0) return;
    m_aInline[0] = u;
    m_aInline[1] = 0;
    m_oRep.m_uLength = 1;
}

VynUString::VynUString(unsigned short u, unsigned long m) {
    initForAlloc();
    if (u == 0 || m == 0) return;
    SetupSpace(m);
    unsigned short* t = m_pRep->m_pText;
    for (unsigned long i = 0; i < m; ++i) t[i] = u;
    t[m] = 0;
    m_pRep->m_uLength = m;
}

VynUString::VynUString(char const* s, VynCharSet cs) {
    initForAlloc();
    if (!s) return;
    VynCharSetConverter* cnv = converterFor(cs);
    unsigned long n = cnv->getNumUnits(s, kAll);
    if (n == 0) return;
    SetupSpace(n);
    m_pRep->m_uLength = cnv->toUTF16(m_pRep->m_pText, s, n, ILLCHAR_REPLACE, nullptr, -1);
}

VynUString::VynUString(char const* s, unsigned long len, VynCharSet cs) {
    initForAlloc();
    if (!s || len == 0) return;
    VynCharSetConverter* cnv = converterFor(cs);
    if (len == kAll) {
        // All bits set: the text runs to its terminator.
        unsigned long n = cnv->getNumUnits(s, kAll);
        if (n == 0) return;
        SetupSpace(n);
        m_pRep->m_uLength = cnv->toUTF16(m_pRep->m_pText, s, n, ILLCHAR_REPLACE, nullptr, -1);
        return;
    }
    // The caller vouches for len bytes only. Counting and converting both run
    // on a terminated copy of at most those bytes (cut at a terminator met
    // inside them), so a converter that would read on to the next terminator
    // cannot leave the caller's buffer.
    unsigned long k = boundedByteLength(s, len, cnv->getNullCharSize());
    ByteScratch tmp(s, k);
    unsigned long n = cnv->getNumUnits(tmp.data(), len);
    if (n == 0) return;
    SetupSpace(n);
    m_pRep->m_uLength = cnv->toUTF16(m_pRep->m_pText, tmp.data(), n, ILLCHAR_REPLACE, nullptr, -1);
}

VynUString::VynUString(int i) {
    initForAlloc();
    char buf[16];
    int k = std::snprintf(buf, sizeof buf, "%d", i);
    for (int j = 0; j < k; ++j) m_aInline[j] = static_cast<unsigned char>(buf[j]);
    m_aInline[k] = 0;
    m_oRep.m_uLength = static_cast<unsigned long>(k);
}

VynUString::VynUString(unsigned short const* s) {
    initForAlloc();
    if (!s) return;
    // The length comes back as a signed 32-bit count and is widened as such.
    unsigned long len = static_cast<unsigned long>(static_cast<long>(VynCharSetWStrlen(s)));
    if (len == 0) return;
    SetupSpace(len);
    std::memcpy(m_pRep->m_pText, s, len * sizeof(unsigned short));
    m_pRep->m_pText[len] = 0;
    m_pRep->m_uLength = len;
}

VynUString::VynUString(unsigned short const* s, unsigned long n) {
    initForAlloc();
    if (!s || n == 0) return;
    // The full n is reserved even when s ends earlier.
    SetupSpace(n);
    unsigned short* t = m_pRep->m_pText;
    unsigned long k = 0;
    while (k < n && s[k] != 0) {
        t[k] = s[k];
        ++k;
    }
    t[k] = 0;
    m_pRep->m_uLength = k;
}

VynUString::VynUString(unsigned short const* f, unsigned short const* l) {
    initForAlloc();
    if (!f || !l || l == f) return;
    // l before f is the caller's bug: the count wraps to an enormous value and
    // AssureSpace throws std::bad_array_new_length rather than hiding it.
    unsigned long k = static_cast<unsigned long>(l - f);
    SetupSpace(k);
    std::memcpy(m_pRep->m_pText, f, k * sizeof(unsigned short));
    m_pRep->m_pText[k] = 0;
    m_pRep->m_uLength = k;
}

namespace {

// Counts and converts the L text bytes of a length-prefixed byte string. The
// struct carries no terminator, so a converter reading to one would run past
// byte 255: work on a padded copy instead.
unsigned long pascalUnits(VynCharSetConverter* cnv, VynPascalString const& p, char* copy) {
    unsigned long L = p.m_aData[0];
    std::memcpy(copy, p.m_aData + 1, L);
    std::memset(copy + L, 0, kPad);
    return cnv->getNumUnits(copy, L);
}

} // namespace

VynUString::VynUString(VynPascalString const& p, VynCharSet cs) {
    initForAlloc();
    int L = p.m_aData[0];
    if (L == 0) return;
    VynCharSetConverter* cnv = converterFor(cs);
    char copy[256 + kPad];
    unsigned long n = pascalUnits(cnv, p, copy);
    if (n == 0) return;
    SetupSpace(n);
    m_pRep->m_uLength = cnv->toUTF16(m_pRep->m_pText, copy, n, ILLCHAR_REPLACE, nullptr, L);
}

// A null pointer reads as an empty length-prefixed string.
VynUString::VynUString(VynPascalString const* p, VynCharSet cs)
    : VynUString(p ? *p : g_oEmptyPascal, cs) {}

VynUString::VynUString(VynBSTR const& b) {
    initForAlloc();
    unsigned long L = b.m_uLength;
    if (L == 0) return;
    SetupSpace(L);
    std::memcpy(m_pRep->m_pText, b.text(), L * sizeof(unsigned short));
    m_pRep->m_pText[L] = 0;
    m_pRep->m_uLength = L;
}

VynUString::VynUString(VynBSTR const* b) : VynUString(b ? *b : g_oEmptyBSTR) {}

VynUString::VynUString(VynUString const& o) {
    initForAlloc();
    unsigned long n = o.m_pRep->m_uLength;
    SetupSpace(n);
    std::memcpy(m_pRep->m_pText, o.m_pRep->m_pText, (n + 1) * sizeof(unsigned short));
    m_pRep->m_uLength = n;
}

VynUString::VynUString(VynUString const& o, unsigned long p, unsigned long n) {
    initForAlloc();
    unsigned long len = o.m_pRep->m_uLength;
    unsigned long q = p < len ? p : len;
    unsigned long k = len - q < n ? len - q : n;
    if (k == 0) return;
    if (q == 0 && k == len) {
        assign(o);
        return;
    }
    SetupSpace(k);
    std::memcpy(m_pRep->m_pText, o.m_pRep->m_pText + q, k * sizeof(unsigned short));
    m_pRep->m_pText[k] = 0;
    m_pRep->m_uLength = k;
}

VynUString::~VynUString() {
    if (m_pRep->m_uHeap) delete[] m_pRep->m_pText;
    if (m_pRep->m_pSecText) delete[] m_pRep->m_pSecText;
}

// --- assignment -------------------------------------------------------------

VynUString& VynUString::assign(VynUString const& o) {
    if (&o == this) return *this;
    freeSecText();
    // Re-initialising the record would abandon a heap array: release it
    // first, so the string goes back to its inline buffer without a leak.
    if (m_pRep->m_uHeap) {
        delete[] m_pRep->m_pText;
        m_pRep->m_uHeap = 0;
        m_pRep->m_pText = m_aInline;
    }
    unsigned long n = o.m_pRep->m_uLength;
    SetupSpace(n);
    AssureSpace(n);
    std::memcpy(m_pRep->m_pText, o.m_pRep->m_pText, (n + 1) * sizeof(unsigned short));
    m_pRep->m_uLength = n;
    return *this;
}

VynUString& VynUString::swap(VynUString& o) {
    if (&o == this) return *this;
    VynUString tmp(o);
    o.assign(*this);
    assign(tmp);
    return *this;
}

VynUString& VynUString::erase() {
    if (m_pRep->m_uLength != 0) {
        m_pRep->m_uLength = 0;
        m_pRep->m_pText[0] = 0;
    }
    freeSecText();
    return *this;
}

VynUString& VynUString::operator=(VynPascalString const* p) {
    if (!p || p->m_aData[0] == 0) return erase();
    int L = p->m_aData[0];
    VynCharSetConverter* cnv = converterFor(VYNCS_OS_DEFAULT);
    char copy[256 + kPad];
    unsigned long n = pascalUnits(cnv, *p, copy);
    if (n == 0) return erase();
    if (n > m_pRep->m_uCapacity) AssureSpace(n);
    m_pRep->m_uLength = cnv->toUTF16(m_pRep->m_pText, copy, n, ILLCHAR_REPLACE, nullptr, L);
    freeSecText();
    return *this;
}

VynUString& VynUString::operator=(VynBSTR const& b) {
    unsigned long L = b.m_uLength;
    if (L == 0) return erase();
    // b may lie inside this string's own buffer; then L fits the capacity,
    // nothing is reallocated, and the overlapping copy is a move.
    AssureSpace(L);
    std::memmove(m_pRep->m_pText, b.text(), L * sizeof(unsigned short));
    m_pRep->m_pText[L] = 0;
    m_pRep->m_uLength = L;
    freeSecText();
    return *this;
}

VynUString& VynUString::operator=(unsigned short const* s) {
    if (!s) return erase();
    unsigned long len = static_cast<unsigned long>(static_cast<long>(VynCharSetWStrlen(s)));
    if (len == 0) return erase();
    if (len > m_pRep->m_uCapacity) AssureSpace(len);
    std::memmove(m_pRep->m_pText, s, len * sizeof(unsigned short));
    m_pRep->m_pText[len] = 0;
    m_pRep->m_uLength = len;
    freeSecText();
    return *this;
}

VynUString& VynUString::operator=(char const* s) {
    if (!s) return erase();
    VynCharSetConverter* cnv = converterFor(VYNCS_OS_DEFAULT);
    unsigned long n = cnv->getNumUnits(s, kAll);
    if (n == 0) return erase();
    AssureSpace(n);
    // s may be this string's own cached byte text: it is released only after
    // the conversion has read it.
    m_pRep->m_uLength = cnv->toUTF16(m_pRep->m_pText, s, n, ILLCHAR_REPLACE, nullptr, -1);
    freeSecText();
    return *this;
}

VynUString& VynUString::operator=(unsigned short u) {
    if (u == 0) return erase();
    AssureSpace(1);
    m_pRep->m_pText[0] = u;
    m_pRep->m_pText[1] = 0;
    m_pRep->m_uLength = 1;
    freeSecText();
    return *this;
}

VynUString& VynUString::operator=(char c) {
    if (c == 0) return erase();
    VynCharSetConverter* cnv = converterFor(VYNCS_OS_DEFAULT);
    char const buf[kPad] = {c};
    unsigned long n = cnv->getNumUnits(buf, 1);
    if (n == 0) return erase();
    // The capacity is never below the inline 257 units, so one byte always
    // fits. The cached byte text is left alone here: callers rely on it.
    m_pRep->m_uLength = cnv->toUTF16(m_pRep->m_pText, buf, n, ILLCHAR_REPLACE, nullptr, -1);
    return *this;
}

// --- conversion and access --------------------------------------------------

unsigned long VynUString::length(VynCharSet cs) const {
    if (m_pRep->m_uLength == 0) return 0;
    return converterFor(cs)->getNumBytes(m_pRep->m_pText, m_pRep->m_uLength);
}

unsigned long VynUString::numChars() const {
    if (m_pRep->m_pSecText && m_pRep->m_eSecCharSet == VYNCS_UTF32) return m_pRep->m_uSecLength / 4;
    return length(VYNCS_UTF32) / 4;
}

char const* VynUString::c_str(VynCharSet cs) {
    Rep* r = m_pRep;
    if (r->m_uLength == 0) return g_aEmptyBytes;
    if (r->m_pSecText && r->m_eSecCharSet == cs) return r->m_pSecText;
    VynCharSetConverter* cnv = converterFor(cs);
    freeSecText();
    unsigned long n = cnv->getNumBytes(r->m_pText, r->m_uLength);
    if (n > kAll - kPad) throw std::bad_array_new_length();
    // Eight spare bytes hold any converter's terminator behind n bytes.
    char* p = new char[n + kPad];
    r->m_uSecLength = cnv->fromUTF16(p, r->m_pText, n, ILLCHAR_REPLACE, nullptr);
    r->m_pSecText = p;
    r->m_eSecCharSet = cs;
    return p;
}

unsigned long VynUString::copy(char* dst, unsigned long size, VynCharSet cs) const {
    if (!dst || size == 0 || m_pRep->m_uLength == 0) return 0;
    // size is the converter's byte capacity: like every conversion it writes
    // up to size bytes of text and its terminator behind them.
    return converterFor(cs)->fromUTF16(dst, m_pRep->m_pText, size, ILLCHAR_REPLACE, nullptr);
}

unsigned long VynUString::copy(unsigned short* dst, unsigned long size) const {
    unsigned long len = m_pRep->m_uLength;
    if (!dst || size == 0 || len == 0) return 0;
    unsigned long k = len < size ? len : size;
    std::memcpy(dst, m_pRep->m_pText, k * sizeof(unsigned short));
    return k;
}

unsigned long VynUString::copy(VynPascalString* dst, VynCharSet cs) const {
    if (!dst) return 0;
    // Room for 255 text bytes plus the widest terminator, so the Pascal
    // string still receives up to 255 bytes of text.
    char buf[255 + kPad];
    unsigned long r = 0;
    if (m_pRep->m_uLength != 0)
        r = converterFor(cs)->fromUTF16(buf, m_pRep->m_pText, 255, ILLCHAR_REPLACE, nullptr);
    r %= 256;
    dst->m_aData[0] = static_cast<unsigned char>(r);
    std::memcpy(dst->m_aData + 1, buf, r);
    return r;
}

unsigned long VynUString::copy(VynBSTR* dst, unsigned long max) const {
    if (!dst) return 0;
    // A string longer than 65535 units is cut to its length modulo 65536
    // before max is applied.
    unsigned long k = m_pRep->m_uLength % 65536;
    if (k > max) k = max % 65536;
    dst->m_uLength = static_cast<unsigned short>(k);
    if (k) std::memcpy(dst->text(), m_pRep->m_pText, k * sizeof(unsigned short));
    return k;
}

unsigned short& VynUString::at(unsigned long i) {
    if (i >= m_pRep->m_uLength) range_error();
    return m_pRep->m_pText[i];
}

unsigned short const& VynUString::at(unsigned long i) const {
    if (i >= m_pRep->m_uLength) range_error();
    return m_pRep->m_pText[i];
}

unsigned int& VynUString::at_utf32(unsigned long i) {
    c_str(VYNCS_UTF32);
    Rep* r = m_pRep;
    // An empty string makes no cache, and the length field may still describe
    // a cache released since: trust it only while the UTF-32 cache exists.
    if (!r->m_pSecText || r->m_eSecCharSet != VYNCS_UTF32 || i >= r->m_uSecLength / 4)
        range_error();
    return reinterpret_cast<unsigned int*>(r->m_pSecText)[i];
}
