// Character classification and case tables for the Basic Multilingual Plane.
#ifndef VYNULIB_UNICODE_VYNUCHAR_H
#define VYNULIB_UNICODE_VYNUCHAR_H

#include <atomic>
#include <pthread.h>

#include <vynulib/vynulib_export.h>

// A lookup over the 65,536 UTF-16 units, built on first use from a constant
// list of (first, last, value) ranges and published only when complete.
class VYN_API VynUCharTable {
public:
    // ranges: records of three unsigned shorts ended by a record whose first
    // unit is 0. counting: value grows by one along a range (case tables).
    // constexpr so that the static tables are constant-initialised: code run
    // by another file's static initialisers may look them up safely.
    constexpr VynUCharTable(unsigned short const* ranges, bool counting)
        : m_pPages(nullptr), m_pRanges(ranges), m_bCounting(counting),
          m_oMutex(PTHREAD_MUTEX_INITIALIZER) {}
    ~VynUCharTable();
    VynUCharTable(VynUCharTable const&) = delete;
    VynUCharTable& operator=(VynUCharTable const&) = delete;

    unsigned short getValue(unsigned short c) {
        unsigned short** pages = m_pPages.load(std::memory_order_acquire);
        if (!pages) pages = load();
        return pages[c >> 8][c & 0xFF];
    }
    // Builds the table if needed (double-checked); returns the page index.
    unsigned short** load();

private:
    std::atomic<unsigned short**> m_pPages;
    unsigned short const* m_pRanges;
    bool m_bCounting;
    pthread_mutex_t m_oMutex;
};

class VYN_API VynUChar {
public:
    static constexpr unsigned int UTF32_MAX = 0x10FFFF;
    static constexpr unsigned int UTF16_MAX = 0xFFFF;

    // Class bits.
    enum : unsigned short {
        CLASS_WHITESPACE = 0x0001,
        CLASS_DIGIT = 0x0002,
        CLASS_LETTER = 0x0004,
        CLASS_MARK = 0x0008,
        CLASS_PUNCTUATION = 0x0010,
        CLASS_RTL = 0x0020,
        CLASS_UPPER = 0x0040,
        CLASS_LOWER = 0x0080,
        CLASS_TITLE = 0x0100,
        CLASS_MODIFIER = 0x0200,
        CLASS_EASTASIAN = 0x0400,
        CLASS_SURROGATE = 0x1000,
        CLASS_HALFWIDTH = 0x4000,
        CLASS_FULLWIDTH = 0x8000
    };

    VynUChar() : m_uChar(0) {}
    explicit VynUChar(unsigned int c) : m_uChar(c) {}
    // A surrogate pair; anything else gives 0.
    VynUChar(unsigned short high, unsigned short low);
    VynUChar& operator=(VynUChar const& o);
    VynUChar(VynUChar const& o) = default;

    unsigned int value() const { return m_uChar; }

    static unsigned short getCharClass(unsigned short c);
    unsigned short getCharClass() const;
    bool isDigit() const;
    bool isLetter() const;
    bool isPunctuation() const;
    bool isWhiteSpace() const;
    bool isNonChar() const;

    static VynUCharTable m_gUpperCaseTable;
    static VynUCharTable m_gLowerCaseTable;
    static VynUCharTable m_gCharClassTable;

private:
    unsigned int m_uChar;
};

#endif
