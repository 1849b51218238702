// Sparse two-level lookup tables. Every empty slot points at one shared,
// all-zero page, so a lookup is always two array reads and never a test.
// A value of 0 means "no mapping". Internal to the library.
#ifndef VYNULIB_INTERNAL_LOOKUPTABLE_H
#define VYNULIB_INTERNAL_LOOKUPTABLE_H

#include <cstring>

template <class T> class LookupTable {
public:
    LookupTable() {
        for (auto& p : m_pPages) p = m_gNullTable;
    }
    ~LookupTable() {
        for (T* p : m_pPages)
            if (p != m_gNullTable) delete[] p;
    }
    LookupTable(LookupTable const&) = delete;
    LookupTable& operator=(LookupTable const&) = delete;

    T lookup(unsigned int key) const { return m_pPages[(key >> 8) & 0xFF][key & 0xFF]; }
    void insert(unsigned int key, T value) {
        T*& page = m_pPages[(key >> 8) & 0xFF];
        if (page == m_gNullTable) page = new T[256]();
        page[key & 0xFF] = value;
    }
    // Pages allocated so far (for tests of the sharing of the null page).
    unsigned pageCount() const {
        unsigned n = 0;
        for (T* p : m_pPages) n += p != m_gNullTable;
        return n;
    }
    T const* page(unsigned int hi) const { return m_pPages[hi & 0xFF]; }
    // All 256 page pointers, for lookups many at a time.
    T const* const* pages() const { return m_pPages; }

    // The shared zero page of this instantiation; never written.
    static T m_gNullTable[256];

private:
    T* m_pPages[256];
};

// Keyed by a Unicode scalar value: 17 planes of 256 page pointers.
template <class T> class LookupTableEx {
public:
    static constexpr unsigned kSlots = 17 * 256;
    LookupTableEx() {
        for (auto& p : m_pPages) p = m_gNullTable;
    }
    ~LookupTableEx() {
        for (T* p : m_pPages)
            if (p != m_gNullTable) delete[] p;
    }
    LookupTableEx(LookupTableEx const&) = delete;
    LookupTableEx& operator=(LookupTableEx const&) = delete;

    // Keys above U+10FFFF are never stored and always give 0.
    T lookup(unsigned int key) const {
        unsigned plane = key >> 16;
        if (plane > 16) return 0;
        return m_pPages[plane * 256 + ((key >> 8) & 0xFF)][key & 0xFF];
    }
    void insert(unsigned int key, T value) {
        unsigned plane = key >> 16;
        if (plane > 16) return;
        T*& page = m_pPages[plane * 256 + ((key >> 8) & 0xFF)];
        if (page == m_gNullTable) page = new T[256]();
        page[key & 0xFF] = value;
    }
    unsigned pageCount() const {
        unsigned n = 0;
        for (T* p : m_pPages) n += p != m_gNullTable;
        return n;
    }

    static T m_gNullTable[256];

private:
    T* m_pPages[kSlots];
};

template <class T> T LookupTable<T>::m_gNullTable[256];
template <class T> T LookupTableEx<T>::m_gNullTable[256];

#endif
