// Helpers for the string and string-list tests: texts as std::u16string,
// taken verbatim (zero units included), and thrown errors as "kind: text".
#ifndef VYNULIB_TESTS_USTRING_TEST_SUPPORT_H
#define VYNULIB_TESTS_USTRING_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include <vynulib/string/VynUStringList.h>

using std::u16string;
constexpr unsigned long npos = VynUString::npos;

inline unsigned short const* p16(char16_t const* t) {
    return reinterpret_cast<unsigned short const*>(t);
}

// The pointer-pair constructor keeps zero units.
inline VynUString U(u16string const& s) {
    return VynUString(p16(s.data()), p16(s.data()) + s.size());
}

inline u16string S(VynUString const& s) {
    return u16string(s.data(), s.data() + s.length());
}

// Runs f; returns "" or the exception's kind and text.
template <class F> std::string thrown(F&& f) {
    try {
        f();
    } catch (std::out_of_range const& e) {
        return std::string("out_of_range: ") + e.what();
    } catch (std::length_error const& e) {
        return std::string("length_error: ") + e.what();
    }
    return "";
}

inline std::string const kRange = "out_of_range: invalid string index given";
inline std::string const kLength = "length_error: exceed maximum string length";

// The terminator stays inside the buffer the string owns.
inline void expectWellFormed(VynUString const& s) {
    ASSERT_LE(s.length(), s.capacity());
    EXPECT_EQ(s.data()[s.length()], 0);
    EXPECT_EQ(s.onHeap(), s.capacity() > VynUString::INLINE_CAPACITY);
}

#endif
