// VynUStringList, and the VynUString::split members that return one.
#include <vynulib/string/VynUStringList.h>

#include <stdexcept>

// --- splitting -------------------------------------------------------------
// Every separator ends a field, so separators in a row give empty fields;
// only the field after the last separator is dropped when it is empty.

VynUStringList::VynUStringList(VynUString const& s, unsigned short sep) {
    if (sep == 0) {
        m_oList.push_back(s);
        return;
    }
    unsigned long start = 0;
    for (;;) {
        unsigned long const i = s.find(sep, start);
        if (i == VynUString::npos) break;
        m_oList.push_back(VynUString(s, start, i - start));
        start = i + 1;
    }
    if (start < s.length()) m_oList.push_back(VynUString(s, start, VynUString::npos));
}

VynUStringList::VynUStringList(VynUString const& s, VynUString const& sep) {
    if (sep.empty()) {
        m_oList.push_back(s);
        return;
    }
    unsigned long start = 0;
    for (;;) {
        unsigned long const i = s.find(sep, start);
        if (i == VynUString::npos) break;
        m_oList.push_back(VynUString(s, start, i - start));
        start = i + sep.length(); // occurrences never overlap
    }
    if (start < s.length()) m_oList.push_back(VynUString(s, start, VynUString::npos));
}

VynUStringList VynUString::split(unsigned short sep) const {
    return VynUStringList(*this, sep);
}

VynUStringList VynUString::split(VynUString const& sep) const {
    return VynUStringList(*this, sep);
}

VynUStringList VynUString::split(char sep, VynCharSet cs) const {
    // A zero byte (or one the set makes nothing of) gives an empty separator:
    // the whole string is then the single field.
    return VynUStringList(*this, VynUString(sep, cs));
}

// --- construction and assignment ---------------------------------------------

VynUStringList::VynUStringList() {}

VynUStringList::VynUStringList(VynUStringList const& o) : m_oList(o.m_oList) {}

VynUStringList::VynUStringList(VynUString const& s) {
    m_oList.push_back(s);
}

VynUStringList::~VynUStringList() {}

VynUStringList& VynUStringList::operator=(VynUStringList const& o) {
    if (&o != this) m_oList = o.m_oList;
    return *this;
}

VynUStringList& VynUStringList::operator=(VynUString const& s) {
    // s may be one of our own elements: copy it before clearing.
    VynUString keep(s);
    clear();
    m_oList.push_back(keep);
    return *this;
}

// --- access ----------------------------------------------------------------

unsigned long VynUStringList::size() const {
    return m_oList.size();
}

unsigned long VynUStringList::max_size() const {
    return m_oList.max_size();
}

void VynUStringList::clear() {
    m_oList.clear();
}

VynUString const& VynUStringList::operator[](unsigned long i) const {
    return m_oList[i];
}

VynUString const& VynUStringList::at(unsigned long i) const {
    if (i >= m_oList.size()) range_error();
    return m_oList[i];
}

// --- changes ---------------------------------------------------------------
// Every check comes before the list is touched.

VynUStringList& VynUStringList::erase(unsigned long i) {
    if (i >= m_oList.size()) range_error();
    for (unsigned long j = i + 1; j < m_oList.size(); ++j) m_oList[j - 1].assign(m_oList[j]);
    m_oList.pop_back();
    return *this;
}

VynUStringList& VynUStringList::append(VynUString const& s) {
    if (m_oList.size() == m_oList.max_size()) length_error();
    m_oList.push_back(s); // safe even when s is one of our elements
    return *this;
}

VynUStringList& VynUStringList::append(VynUStringList const& o) {
    // A list appended to itself stays as it is; callers rely on that.
    if (&o == this) return *this;
    if (m_oList.max_size() - o.m_oList.size() < m_oList.size()) length_error();
    m_oList.insert(m_oList.end(), o.m_oList.begin(), o.m_oList.end());
    return *this;
}

VynUStringList& VynUStringList::insert(unsigned long i, VynUString const& s) {
    if (m_oList.size() == m_oList.max_size()) length_error();
    if (i > m_oList.size()) range_error();
    m_oList.insert(m_oList.begin() + static_cast<long>(i), s);
    return *this;
}

VynUStringList& VynUStringList::insert(unsigned long i, VynUStringList const& o) {
    if (&o == this) return *this;
    if (m_oList.max_size() - m_oList.size() < o.m_oList.size()) length_error();
    // One by one: each step checks again, and what went in before a failure
    // stays.
    for (unsigned long j = 0; j < o.m_oList.size(); ++j) insert(i + j, o.m_oList[j]);
    return *this;
}

VynUString VynUStringList::combine(VynUString const& sep) const {
    VynUString r;
    for (unsigned long j = 0; j < m_oList.size(); ++j) {
        VynUString const& e = m_oList[j];
        r.replace(r.length(), 0, e, 0, e.length());
        if (j + 1 < m_oList.size()) r.replace(r.length(), 0, sep, 0, sep.length());
    }
    return r;
}

// --- iteration -------------------------------------------------------------

VynUStringList::iterator VynUStringList::begin() {
    return m_oList.begin();
}
VynUStringList::iterator VynUStringList::end() {
    return m_oList.end();
}
VynUStringList::const_iterator VynUStringList::begin() const {
    return m_oList.begin();
}
VynUStringList::const_iterator VynUStringList::end() const {
    return m_oList.end();
}
VynUStringList::reverse_iterator VynUStringList::rbegin() {
    return m_oList.rbegin();
}
VynUStringList::reverse_iterator VynUStringList::rend() {
    return m_oList.rend();
}
VynUStringList::const_reverse_iterator VynUStringList::rbegin() const {
    return m_oList.rbegin();
}
VynUStringList::const_reverse_iterator VynUStringList::rend() const {
    return m_oList.rend();
}

// --- errors ----------------------------------------------------------------

void VynUStringList::range_error() {
    throw std::out_of_range("invalid string list index given");
}

void VynUStringList::length_error() {
    throw std::length_error("exceed maximum string list length");
}
