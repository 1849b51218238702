// VynUString: case mapping, comparison and search, all on single UTF-16 units
// (no normalisation, no surrogate pairing, no locale).
#include <vynulib/string/VynUString.h>

#include <vynulib/unicode/VynUChar.h>

namespace {

constexpr unsigned long kAll = ~0UL;

// ASCII is settled by arithmetic; the tables are asked only from 0x7F up.
inline unsigned short upperOf(unsigned short u) {
    if (u < 0x61) return u;
    if (u <= 0x7A) return static_cast<unsigned short>(u - 0x20);
    if (u < 0x7F) return u;
    unsigned short v = VynUChar::m_gUpperCaseTable.getValue(u);
    return v ? v : u;
}

inline unsigned short lowerOf(unsigned short u) {
    if (u < 0x41) return u;
    if (u <= 0x5A) return static_cast<unsigned short>(u + 0x20);
    if (u < 0x7F) return u;
    unsigned short v = VynUChar::m_gLowerCaseTable.getValue(u);
    return v ? v : u;
}

} // namespace

void VynUString::toUpper(bool asciiOnly) {
    unsigned long len = m_pRep->m_uLength;
    if (len == 0) return;
    unsigned short* t = m_pRep->m_pText;
    for (unsigned long i = 0; i < len; ++i) {
        unsigned short u = t[i];
        if (asciiOnly)
            t[i] = (u >= 0x61 && u <= 0x7A) ? static_cast<unsigned short>(u - 0x20) : u;
        else
            t[i] = upperOf(u);
    }
}

void VynUString::toLower(bool asciiOnly) {
    unsigned long len = m_pRep->m_uLength;
    if (len == 0) return;
    unsigned short* t = m_pRep->m_pText;
    for (unsigned long i = 0; i < len; ++i) {
        unsigned short u = t[i];
        if (asciiOnly)
            t[i] = (u >= 0x41 && u <= 0x5A) ? static_cast<unsigned short>(u + 0x20) : u;
        else
            t[i] = lowerOf(u);
    }
}

int VynUString::canonicalCompare(unsigned short const* a, unsigned short const* b,
                                 unsigned long n) const {
    if (n == 0) return 0;
    if (!a) return b ? -1 : 0;
    if (!b) return 1;
    for (unsigned long i = 0;; ++i) {
        unsigned short x = a[i], y = b[i];
        if (x == 0) return y ? -1 : 0;
        if (y == 0 || x > y) return 1;
        if (x < y) return -1;
        if (i + 1 == n) return 0;
    }
}

int VynUString::canonicalCompareNoCase(unsigned short const* a, unsigned short const* b,
                                       unsigned long n) const {
    if (n == 0) return 0;
    if (!a) return b ? -1 : 0;
    if (!b) return 1;
    for (unsigned long i = 0;; ++i) {
        unsigned short x = a[i], y = b[i];
        if (x != y) {
            // Folding goes to upper case, so "_" (0x5F) sorts after both "a"
            // and "A"; callers' orderings depend on that.
            unsigned short fx = upperOf(x), fy = upperOf(y);
            if (fx > fy) return 1;
            if (fx < fy) return -1;
        }
        if (i + 1 == n) return 0;
        if (x == 0) return y ? -1 : 0;
        if (y == 0) return 1;
    }
}

int VynUString::compare(VynUString const& o, unsigned long n) const {
    if (&o == this || o.m_pRep->m_pText == m_pRep->m_pText || n == 0) return 0;
    return canonicalCompare(m_pRep->m_pText, o.m_pRep->m_pText, n);
}

int VynUString::compareNoCase(VynUString const& o, unsigned long n) const {
    if (&o == this || o.m_pRep->m_pText == m_pRep->m_pText || n == 0) return 0;
    return canonicalCompareNoCase(m_pRep->m_pText, o.m_pRep->m_pText, n);
}

// Comparing against o directly gives the same answer as comparing against a
// copy of it (equal texts compare 0 either way), without the allocation that
// a long key would cost on every map probe.
bool VynUString::operator<(VynUString const& o) const {
    return compare(o, kAll) < 0;
}

unsigned long VynUString::find(unsigned short c, unsigned long pos) const {
    unsigned short const* t = m_pRep->m_pText;
    unsigned long len = m_pRep->m_uLength;
    if (!t || c == 0 || pos >= len) return npos;
    for (unsigned long i = pos; i < len; ++i)
        if (t[i] == c) return i;
    return npos;
}

unsigned long VynUString::rfind(unsigned short c, unsigned long pos) const {
    unsigned short const* t = m_pRep->m_pText;
    unsigned long len = m_pRep->m_uLength;
    if (!t) return npos;
    // A start at or past the end, or the unit 0, answers the last index
    // without looking (npos for an empty string). Callers rely on it.
    if (pos >= len || c == 0) return len - 1;
    for (unsigned long i = pos + 1; i-- > 0;)
        if (t[i] == c) return i;
    return npos;
}

unsigned long VynUString::find(VynUString const& s, unsigned long pos) const {
    unsigned short const* t = m_pRep->m_pText;
    unsigned long len = m_pRep->m_uLength;
    unsigned long slen = s.m_pRep->m_uLength;
    if (!t || len == 0 || pos >= len || slen == 0) return npos;
    if (&s == this) return pos == 0 ? 0 : npos;
    if (slen > len - pos) return npos;
    unsigned short const* st = s.m_pRep->m_pText;
    for (unsigned long i = pos; i <= len - slen; ++i)
        if (t[i] == st[0] && canonicalCompare(t + i + 1, st + 1, slen - 1) == 0) return i;
    return npos;
}

unsigned long VynUString::rfind(VynUString const& s, unsigned long pos) const {
    unsigned short const* t = m_pRep->m_pText;
    unsigned long len = m_pRep->m_uLength;
    unsigned long slen = s.m_pRep->m_uLength;
    if (!t || len == 0 || slen == 0) return npos;
    if (&s == this) return 0;
    if (slen > len) return npos;
    unsigned short const* st = s.m_pRep->m_pText;
    unsigned long start = pos < len - slen ? pos : len - slen;
    for (unsigned long i = start + 1; i-- > 0;)
        if (t[i] == st[0] && canonicalCompare(t + i + 1, st + 1, slen - 1) == 0) return i;
    return npos;
}
