// Character classes and case tables for the Basic Multilingual Plane.
#include <vynulib/unicode/VynUChar.h>

#include <new>

#include <vynulib/internal/LookupTable.h>
#include <vynulib/internal/VynBuildOnce.h>

#include <vynulib/internal/VynUCharTables.h>

// Constructed in this order (upper, lower, class); they are constant-initialised,
// so a lookup made by another file's static initialiser already finds them set.
VynUCharTable VynUChar::m_gUpperCaseTable(toUpperTable, true);
VynUCharTable VynUChar::m_gLowerCaseTable(toLowerTable, true);
VynUCharTable VynUChar::m_gCharClassTable(classTable, false);

namespace {

unsigned short* nullPage() {
    return LookupTable<unsigned short>::m_gNullTable;
}

void freePages(unsigned short** pages) {
    for (unsigned i = 0; i < 256; ++i)
        if (pages[i] != nullPage()) delete[] pages[i];
    delete[] pages;
}

} // namespace

VynUCharTable::~VynUCharTable() {
    unsigned short** pages = m_pPages.exchange(nullptr, std::memory_order_acq_rel);
    if (pages) freePages(pages);
    pthread_mutex_destroy(&m_oMutex);
}

unsigned short** VynUCharTable::load() {
    return vyn::detail::buildOnce(m_pPages, m_oMutex, [this] {
        auto** pages = new unsigned short*[256];
        for (unsigned i = 0; i < 256; ++i) pages[i] = nullPage();
        try {
            // A table without a list still answers every lookup (with 0).
            for (unsigned short const* r = m_pRanges; r && r[0] != 0; r += 3) {
                unsigned short value = r[2];
                // The counter is wider than a unit, so a range ending at 0xFFFF stops.
                for (unsigned c = r[0]; c <= r[1]; ++c) {
                    unsigned short*& page = pages[c >> 8];
                    if (page == nullPage()) page = new unsigned short[256]();
                    page[c & 0xFF] = value;
                    if (m_bCounting) ++value;
                }
            }
        } catch (...) {
            freePages(pages);
            throw;
        }
        return pages;
    });
}

VynUChar::VynUChar(unsigned short high, unsigned short low) : m_uChar(0) {
    if (high >= 0xD800 && high <= 0xDBFF && low >= 0xDC00 && low <= 0xDFFF)
        m_uChar = ((static_cast<unsigned int>(high) - 0xD7C0) << 10) + low - 0xDC00;
}

VynUChar& VynUChar::operator=(VynUChar const& o) {
    if (this != &o) m_uChar = o.m_uChar;
    return *this;
}

unsigned short VynUChar::getCharClass(unsigned short c) {
    // Ideographs, radicals, Yi and Hangul syllables: answered here so that the
    // list needs no entries for them.
    if ((c >= 0x2E80 && c <= 0x2E99) || (c >= 0x2E9B && c <= 0x2EF3) ||
        (c >= 0x2F00 && c <= 0x2FD5) || (c >= 0x3400 && c <= 0x4DB5) ||
        (c >= 0x4E00 && c <= 0x9FA5) || (c >= 0xA000 && c <= 0xA48C) ||
        (c >= 0xAC00 && c <= 0xD7A3) || (c >= 0xF900 && c <= 0xFA2D))
        return CLASS_EASTASIAN | CLASS_LETTER;
    if (c >= 0xD800 && c <= 0xDFFF) return CLASS_SURROGATE;
    return m_gCharClassTable.getValue(c);
}

// Code points above 0x10FFFF are not refused: like any BMP value they are
// classified by their low 16 bits, which callers have always seen.
unsigned short VynUChar::getCharClass() const {
    if (m_uChar >= 0x10000 && m_uChar <= UTF32_MAX) return CLASS_SURROGATE;
    return getCharClass(static_cast<unsigned short>(m_uChar & 0xFFFF));
}

namespace {
bool supplementary(unsigned int c) {
    return c >= 0x10000 && c <= VynUChar::UTF32_MAX;
}
} // namespace

bool VynUChar::isDigit() const {
    return !supplementary(m_uChar) && (getCharClass() & CLASS_DIGIT) != 0;
}

bool VynUChar::isLetter() const {
    return !supplementary(m_uChar) && (getCharClass() & CLASS_LETTER) != 0;
}

bool VynUChar::isPunctuation() const {
    return !supplementary(m_uChar) && (getCharClass() & CLASS_PUNCTUATION) != 0;
}

bool VynUChar::isWhiteSpace() const {
    return !supplementary(m_uChar) && (getCharClass() & CLASS_WHITESPACE) != 0;
}

bool VynUChar::isNonChar() const {
    return !supplementary(m_uChar) && getCharClass() == 0;
}
