// A string of UTF-16 code units, always terminated by a zero unit. Short texts
// (up to 257 units) live inside the object; the string also caches one byte
// rendering of itself (c_str).
#ifndef VYNULIB_STRING_VYNUSTRING_H
#define VYNULIB_STRING_VYNUSTRING_H

#include <cstdint>
#include <iosfwd>

#include <vynulib/vynulib_export.h>
#include <vynulib/charset/VynCharSet.h>

class VynUStringList;

// Byte 0 is the length L (0..255); bytes 1..L the text in some character set.
// No terminator. The struct has room for the longest such string.
struct VynPascalString {
    unsigned char m_aData[256];
};

// Unit 0 is the length L in UTF-16 units; units 1..L the text. No terminator.
// Laid over a caller's buffer of 1 + L units:
//   auto* b = reinterpret_cast<VynBSTR*>(buffer);
struct VynBSTR {
    unsigned short m_uLength;
    unsigned short const* text() const { return &m_uLength + 1; }
    unsigned short* text() { return &m_uLength + 1; }
};

class VYN_API VynUString {
public:
    static constexpr unsigned long npos = ~0UL;
    static constexpr unsigned long INLINE_CAPACITY = 257;
    // 2^64 - 2: npos is reserved for "up to the end".
    static constexpr unsigned long MAX_LENGTH = ~0UL - 1;

    enum TrimCmd { TRIM_LEADING = 1, TRIM_TRAILING = 2, TRIM_BOTH = 3 };
    enum TrimTarget { TRIM_WHITESPACE = 0, TRIM_SPACE = 1, TRIM_WHITESPACE_AND_UNCLASSIFIED = 2 };

    // The representation record.
    struct Rep {
        std::uint32_t m_uHeap;     // 0: inline buffer, 1: heap array owned
        unsigned short* m_pText;   // the units; m_pText[m_uLength] == 0
        unsigned long m_uLength;   // units, terminator not counted
        unsigned long m_uCapacity; // units that fit besides the terminator
        char* m_pSecText;          // cached byte text (array new) or null
        unsigned long m_uSecLength;
        VynCharSet m_eSecCharSet; // -1 when none made since set-up
    };

    // --- construction ---
    VynUString();
    VynUString(char c, VynCharSet cs);
    VynUString(char c, unsigned long m, VynCharSet cs);
    explicit VynUString(unsigned short u);
    VynUString(unsigned short u, unsigned long m);
    VynUString(char const* s, VynCharSet cs = VYNCS_OS_DEFAULT);
    VynUString(char const* s, unsigned long len, VynCharSet cs);
    explicit VynUString(int i);
    VynUString(unsigned short const* s);
    VynUString(unsigned short const* s, unsigned long n);
    VynUString(unsigned short const* f, unsigned short const* l);
    VynUString(VynPascalString const& p, VynCharSet cs);
    VynUString(VynPascalString const* p, VynCharSet cs);
    VynUString(VynBSTR const& b);
    VynUString(VynBSTR const* b);
    VynUString(VynUString const& o);
    VynUString(VynUString const& o, unsigned long p, unsigned long n);
    virtual ~VynUString();

    // --- storage ---
    Rep* SetupSpace();
    Rep* SetupSpace(unsigned long n);
    void initForAlloc();
    void AssureSpace(unsigned long n);
    void assureSize(unsigned long n) { AssureSpace(n); }
    void freeSecText();

    // --- assignment ---
    VynUString& assign(VynUString const& o);
    VynUString& operator=(VynUString const& o) { return assign(o); }
    VynUString& swap(VynUString& o);
    VynUString& erase();
    VynUString& operator=(VynPascalString const* p);
    VynUString& operator=(VynBSTR const& b);
    VynUString& operator=(unsigned short const* s);
    VynUString& operator=(char const* s);
    VynUString& operator=(unsigned short u);
    VynUString& operator=(char c);

    // --- access ---
    unsigned long length() const { return m_pRep->m_uLength; }
    unsigned long capacity() const { return m_pRep->m_uCapacity; }
    bool empty() const { return m_pRep->m_uLength == 0; }
    bool onHeap() const { return m_pRep->m_uHeap != 0; }
    unsigned short const* data() const { return m_pRep->m_pText; }
    unsigned short const* c_wstr() const { return m_pRep->m_pText; }
    // Bytes needed in cs, without a terminator.
    unsigned long length(VynCharSet cs) const;
    // Code points (a surrogate pair counts once).
    unsigned long numChars() const;
    // The text in cs, terminated; owned by the string (see freeSecText).
    char const* c_str(VynCharSet cs = VYNCS_OS_DEFAULT);
    unsigned long copy(char* dst, unsigned long size, VynCharSet cs) const;
    unsigned long copy(unsigned short* dst, unsigned long size) const;
    unsigned long copy(VynPascalString* dst, VynCharSet cs) const;
    unsigned long copy(VynBSTR* dst, unsigned long max) const;
    unsigned short& at(unsigned long i);
    unsigned short const& at(unsigned long i) const;
    unsigned int& at_utf32(unsigned long i);

    // --- editing ---
    VynUString& trim(TrimCmd cmd = TRIM_BOTH, TrimTarget target = TRIM_WHITESPACE);
    void resize(unsigned long n, char c, VynCharSet cs);
    void resize(unsigned long n, unsigned short u);
    VynUString left(unsigned long n) const;
    VynUString mid(unsigned long p, unsigned long n = npos) const;
    VynUString& replace(unsigned long p, unsigned long n, VynUString const& s, unsigned long q,
                        unsigned long k);
    VynUString& replace(unsigned short const* f, unsigned short const* l, VynUString const& s);
    VynUString& erase(unsigned long p, unsigned long n);

    VynUString operator+(char c) const;
    VynUString operator+(unsigned short u) const;
    VynUString operator+(char const* s) const;
    VynUString operator+(unsigned short const* s) const;
    VynUString operator+(VynUString const& s) const;

    // --- case, comparison, search ---
    // toUpper and toLower change the units in place and leave the cached byte
    // text as it was, so a pointer taken from c_str stays valid but still
    // shows the old case. Call freeSecText() first (or c_str with another
    // set) to have the next c_str render the new text.
    void toUpper(bool asciiOnly);
    void toLower(bool asciiOnly);
    int canonicalCompare(unsigned short const* a, unsigned short const* b, unsigned long n) const;
    int canonicalCompareNoCase(unsigned short const* a, unsigned short const* b,
                               unsigned long n) const;
    int compare(VynUString const& o, unsigned long n = npos) const;
    int compareNoCase(VynUString const& o, unsigned long n = npos) const;
    bool operator<(VynUString const& o) const;
    unsigned long find(unsigned short c, unsigned long pos = 0) const;
    unsigned long rfind(unsigned short c, unsigned long pos = npos) const;
    unsigned long find(VynUString const& s, unsigned long pos = 0) const;
    unsigned long rfind(VynUString const& s, unsigned long pos = npos) const;

    // --- splitting ---
    VynUStringList split(unsigned short sep) const;
    VynUStringList split(VynUString const& sep) const;
    VynUStringList split(char sep, VynCharSet cs) const;

    // Throw std::out_of_range "invalid string index given" and
    // std::length_error "exceed maximum string length".
    [[noreturn]] static void range_error();
    [[noreturn]] static void length_error();

private:
    Rep* m_pRep;
    Rep m_oRep;
    unsigned short m_aInline[INLINE_CAPACITY + 1];
};

VYN_API VynUString operator+(char c, VynUString const& s);
VYN_API VynUString operator+(unsigned short u, VynUString const& s);
VYN_API VynUString operator+(char const* p, VynUString const& s);
VYN_API VynUString operator+(unsigned short const* p, VynUString const& s);

VYN_API bool operator==(char const* a, VynUString const& b);
VYN_API bool operator!=(char const* a, VynUString const& b);
VYN_API bool operator<(char const* a, VynUString const& b);
VYN_API bool operator>(char const* a, VynUString const& b);
VYN_API bool operator<=(char const* a, VynUString const& b);
VYN_API bool operator>=(char const* a, VynUString const& b);
VYN_API bool operator==(unsigned short const* a, VynUString const& b);
VYN_API bool operator!=(unsigned short const* a, VynUString const& b);
VYN_API bool operator<(unsigned short const* a, VynUString const& b);
VYN_API bool operator>(unsigned short const* a, VynUString const& b);
VYN_API bool operator<=(unsigned short const* a, VynUString const& b);
VYN_API bool operator>=(unsigned short const* a, VynUString const& b);

// Bytes in the default character set on both sides.
VYN_API std::ostream& operator<<(std::ostream& os, VynUString const& s);
VYN_API std::istream& operator>>(std::istream& is, VynUString& s);
VYN_API std::istream& getline(std::istream& is, VynUString& s, char delim);
// The default line end is carriage return (0x0D), deliberately.
VYN_API std::istream& getline(std::istream& is, VynUString& s);

#endif
