// An ordered, index-addressed list of strings.
#ifndef VYNULIB_STRING_VYNUSTRINGLIST_H
#define VYNULIB_STRING_VYNUSTRINGLIST_H

#include <vector>

#include <vynulib/string/VynUString.h>

class VYN_API VynUStringList {
public:
    typedef std::vector<VynUString>::iterator iterator;
    typedef std::vector<VynUString>::const_iterator const_iterator;
    typedef std::vector<VynUString>::reverse_iterator reverse_iterator;
    typedef std::vector<VynUString>::const_reverse_iterator const_reverse_iterator;

    VynUStringList();
    VynUStringList(VynUStringList const& o);
    explicit VynUStringList(VynUString const& s);
    VynUStringList(VynUString const& s, unsigned short sep);
    VynUStringList(VynUString const& s, VynUString const& sep);
    virtual ~VynUStringList();

    VynUStringList& operator=(VynUStringList const& o);
    VynUStringList& operator=(VynUString const& s);

    unsigned long size() const;
    unsigned long max_size() const;
    void clear();
    VynUString const& operator[](unsigned long i) const;
    VynUString const& at(unsigned long i) const;
    VynUStringList& erase(unsigned long i);
    VynUStringList& append(VynUString const& s);
    VynUStringList& append(VynUStringList const& o);
    VynUStringList& insert(unsigned long i, VynUString const& s);
    VynUStringList& insert(unsigned long i, VynUStringList const& o);
    VynUString combine(VynUString const& sep) const;

    iterator begin();
    iterator end();
    const_iterator begin() const;
    const_iterator end() const;
    reverse_iterator rbegin();
    reverse_iterator rend();
    const_reverse_iterator rbegin() const;
    const_reverse_iterator rend() const;

    // Throw std::out_of_range "invalid string list index given" and
    // std::length_error "exceed maximum string list length".
    [[noreturn]] static void range_error();
    [[noreturn]] static void length_error();

private:
    std::vector<VynUString> m_oList;
};

#endif
