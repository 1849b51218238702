// Editing of VynUString: trimming, resizing, substrings, replacement, partial
// erasure, concatenation and the comparisons with a pointer on the left.
// Everything here works on whole UTF-16 units and never looks at surrogates.
#include <vynulib/string/VynUString.h>

#include <cstdint>
#include <cstring>
#include <string>

#include <vynulib/converters/VynCharSetConverter.h>
#include <vynulib/internal/VynScratch.h>
#include <vynulib/unicode/VynUChar.h>

namespace {

bool trimMatches(unsigned short u, VynUString::TrimTarget target) {
    switch (target) {
    case VynUString::TRIM_SPACE:
        return u == 0x0020;
    case VynUString::TRIM_WHITESPACE_AND_UNCLASSIFIED: {
        unsigned short cls = VynUChar::getCharClass(u);
        return (cls & VynUChar::CLASS_WHITESPACE) != 0 || cls == 0;
    }
    case VynUString::TRIM_WHITESPACE:
    default:
        return (VynUChar::getCharClass(u) & VynUChar::CLASS_WHITESPACE) != 0;
    }
}

// Appends the whole of tail to head with the five-argument replace, the one
// way every concatenation grows a string.
VynUString& appendAll(VynUString& head, VynUString const& tail) {
    return head.replace(head.length(), 0, tail, 0, tail.length());
}

} // namespace

// --- trimming --------------------------------------------------------------

VynUString& VynUString::trim(TrimCmd cmd, TrimTarget target) {
    Rep* r = m_pRep;
    if (r->m_uLength != 0 && (cmd & TRIM_LEADING) != 0) {
        unsigned long j = 0;
        while (j < r->m_uLength && trimMatches(r->m_pText[j], target)) ++j;
        if (j > 0) {
            unsigned long rest = r->m_uLength - j;
            std::memmove(r->m_pText, r->m_pText + j, rest * sizeof(unsigned short));
            r->m_uLength = rest;
            r->m_pText[rest] = 0;
        }
    }
    if (r->m_uLength != 0 && (cmd & TRIM_TRAILING) != 0) {
        unsigned long end = r->m_uLength;
        while (end > 0 && trimMatches(r->m_pText[end - 1], target)) --end;
        r->m_uLength = end;
        r->m_pText[end] = 0;
    }
    freeSecText();
    return *this;
}

// --- resizing --------------------------------------------------------------

void VynUString::resize(unsigned long n, char c, VynCharSet cs) {
    if (n == m_pRep->m_uLength) return; // the cached byte text survives this one case
    if (n == npos) length_error();
    if (n == 0) {
        erase();
        return;
    }
    // Growing past the capacity happens before the old length is read, so the
    // old text is lost and the result is fill only. Callers rely on that.
    AssureSpace(n);
    Rep* r = m_pRep;
    if (r->m_uLength > n) {
        r->m_uLength = n;
        r->m_pText[n] = 0;
        freeSecText();
        return;
    }
    unsigned long k = n - r->m_uLength;
    unsigned short* dst = r->m_pText + r->m_uLength;
    // A fresh heap array holds indeterminate units; where the converter makes
    // fewer than k units (a zero byte, lead bytes without trail) the gap would
    // be read as garbage. Zero it first so the result is always defined.
    std::memset(dst, 0, k * sizeof(unsigned short));
    // k copies of c, then zero bytes: one would end a byte set's text, but a
    // UTF-32 reader needs a whole zero value after its last partial one, so pad
    // by eight to keep every converter inside the array.
    std::string fill(k + 8, '\0');
    std::memset(&fill[0], static_cast<unsigned char>(c), k);
    // The converter writes at most k units plus a zero unit: dst + k is the
    // string's own terminator slot, inside the n + 1 units reserved.
    VynCharSetConverter::getConverter(cs)->toUTF16(dst, fill.c_str(), k, ILLCHAR_REPLACE, nullptr,
                                                   -1);
    // The converter's count is deliberately ignored: the length is n.
    r->m_uLength = n;
    r->m_pText[n] = 0;
    freeSecText();
}

void VynUString::resize(unsigned long n, unsigned short u) {
    if (n == m_pRep->m_uLength) return;
    if (n == npos) length_error();
    if (n == 0) {
        erase();
        return;
    }
    AssureSpace(n); // as above: growing discards the old text
    Rep* r = m_pRep;
    if (r->m_uLength > n) {
        r->m_uLength = n;
        r->m_pText[n] = 0;
        freeSecText();
        return;
    }
    for (unsigned long i = r->m_uLength; i < n; ++i) r->m_pText[i] = u;
    r->m_uLength = n;
    r->m_pText[n] = 0;
    freeSecText();
}

// --- substrings ------------------------------------------------------------

VynUString VynUString::left(unsigned long n) const {
    if (n > m_pRep->m_uLength) range_error();
    return VynUString(*this, 0, n);
}

VynUString VynUString::mid(unsigned long p, unsigned long n) const {
    unsigned long len = m_pRep->m_uLength;
    // Unsigned on purpose: with npos and p past the end, len - p wraps and
    // p + n is len again, so the call yields an empty string instead of throwing.
    if (n == npos) n = len - p;
    if (p + n > len) range_error();
    // The substring constructor clamps p and n again, so no wrap reads outside.
    return VynUString(*this, p, n);
}

// --- replacement -----------------------------------------------------------

VynUString& VynUString::replace(unsigned long p, unsigned long n, VynUString const& s,
                                unsigned long q, unsigned long k) {
    unsigned long const len = m_pRep->m_uLength;
    if (p > len) range_error();
    unsigned long const slen = s.m_pRep->m_uLength;
    if (q > slen) range_error();
    unsigned long const d = (n < len - p) ? n : len - p;
    unsigned long const m = (k < slen - q) ? k : slen - q;
    unsigned long const kept = len - d;
    if (m > MAX_LENGTH - kept) length_error();
    unsigned long const total = kept + m;
    if (total == 0) {
        erase();
        return *this;
    }

    // The result is assembled completely before this string is touched, so s
    // may be this very string.
    vyn::detail::Scratch<unsigned short> scratch(total, 1);
    unsigned short* const buf = scratch.get();
    unsigned short const* src = m_pRep->m_pText;
    unsigned long const tail = len - d - p;
    if (p != 0) std::memcpy(buf, src, p * sizeof(unsigned short));
    if (m != 0) std::memcpy(buf + p, s.m_pRep->m_pText + q, m * sizeof(unsigned short));
    if (tail != 0) std::memcpy(buf + p + m, src + p + d, tail * sizeof(unsigned short));
    buf[total] = 0;

    AssureSpace(total);
    std::memcpy(m_pRep->m_pText, buf, (total + 1) * sizeof(unsigned short));
    m_pRep->m_uLength = total;
    freeSecText();
    return *this;
}

VynUString& VynUString::replace(unsigned short const* f, unsigned short const* l,
                                VynUString const& s) {
    // Compared as addresses: f and l may come from anywhere.
    auto const start = reinterpret_cast<std::uintptr_t>(m_pRep->m_pText);
    auto const end = start + m_pRep->m_uLength * sizeof(unsigned short);
    auto const uf = reinterpret_cast<std::uintptr_t>(f);
    auto const ul = reinterpret_cast<std::uintptr_t>(l);
    if (uf < start || ul > end || uf > end || ul < start) range_error();
    unsigned long const p = (uf - start) / sizeof(unsigned short);
    // f after l passes on purpose: the count wraps and removes everything
    // from f to the end.
    unsigned long const count =
        ul >= uf ? (ul - uf) / sizeof(unsigned short) : 0UL - (uf - ul) / sizeof(unsigned short);
    return replace(p, count, s, 0, s.length());
}

VynUString& VynUString::erase(unsigned long p, unsigned long n) {
    if (m_pRep->m_uLength == 0) return *this;
    if (p == 0 && (n == npos || n == m_pRep->m_uLength)) return erase();
    return replace(p, n, VynUString(), 0, 0);
}

// --- concatenation ---------------------------------------------------------

VynUString VynUString::operator+(char c) const {
    VynUString r(*this);
    appendAll(r, VynUString(c, VYNCS_OS_DEFAULT));
    return r;
}

VynUString VynUString::operator+(unsigned short u) const {
    VynUString r(*this);
    appendAll(r, VynUString(u));
    return r;
}

VynUString VynUString::operator+(char const* s) const {
    VynUString r(*this);
    appendAll(r, VynUString(s, VYNCS_OS_DEFAULT));
    return r;
}

VynUString VynUString::operator+(unsigned short const* s) const {
    VynUString r(*this);
    appendAll(r, VynUString(s));
    return r;
}

VynUString VynUString::operator+(VynUString const& s) const {
    VynUString r(*this);
    appendAll(r, s);
    return r;
}

VynUString operator+(char c, VynUString const& s) {
    VynUString r(c, VYNCS_OS_DEFAULT);
    appendAll(r, s);
    return r;
}

VynUString operator+(unsigned short u, VynUString const& s) {
    VynUString r(u);
    appendAll(r, s);
    return r;
}

VynUString operator+(char const* p, VynUString const& s) {
    VynUString r(p, VYNCS_OS_DEFAULT);
    appendAll(r, s);
    return r;
}

VynUString operator+(unsigned short const* p, VynUString const& s) {
    VynUString r(p);
    appendAll(r, s);
    return r;
}

// --- comparisons with a pointer on the left ----------------------------------
// A null pointer builds the empty string, so it compares as "".

namespace {
int compareLeft(char const* a, VynUString const& b) {
    return VynUString(a, VYNCS_OS_DEFAULT).compare(b, VynUString::npos);
}
int compareLeft(unsigned short const* a, VynUString const& b) {
    return VynUString(a).compare(b, VynUString::npos);
}
} // namespace

bool operator==(char const* a, VynUString const& b) {
    return compareLeft(a, b) == 0;
}
bool operator!=(char const* a, VynUString const& b) {
    return compareLeft(a, b) != 0;
}
bool operator<(char const* a, VynUString const& b) {
    return compareLeft(a, b) < 0;
}
bool operator>(char const* a, VynUString const& b) {
    return compareLeft(a, b) > 0;
}
bool operator<=(char const* a, VynUString const& b) {
    return compareLeft(a, b) <= 0;
}
bool operator>=(char const* a, VynUString const& b) {
    return compareLeft(a, b) >= 0;
}
bool operator==(unsigned short const* a, VynUString const& b) {
    return compareLeft(a, b) == 0;
}
bool operator!=(unsigned short const* a, VynUString const& b) {
    return compareLeft(a, b) != 0;
}
bool operator<(unsigned short const* a, VynUString const& b) {
    return compareLeft(a, b) < 0;
}
bool operator>(unsigned short const* a, VynUString const& b) {
    return compareLeft(a, b) > 0;
}
bool operator<=(unsigned short const* a, VynUString const& b) {
    return compareLeft(a, b) <= 0;
}
bool operator>=(unsigned short const* a, VynUString const& b) {
    return compareLeft(a, b) >= 0;
}
