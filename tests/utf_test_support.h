// Small helpers for the Unicode converter tests: buffers with canaries behind
// the usable room, and hex rendering for readable failures.
#ifndef VYNULIB_TESTS_UTF_TEST_SUPPORT_H
#define VYNULIB_TESTS_UTF_TEST_SUPPORT_H

#include <gtest/gtest.h>
#include <iconv.h>

#include <cstdio>
#include <string>
#include <vector>

#include <vynulib/converters/VynCharSetConverter.h>

// `usable` elements the converter may write (capacity plus terminator), then
// a run of canaries that must survive every call.
template <class T> class Guarded {
public:
    static constexpr T kCanary = static_cast<T>(0xA5A5A5A5u);
    static constexpr size_t kSlack = 16;

    explicit Guarded(size_t usable) : m_usable(usable), m_buf(usable + kSlack, kCanary) {}

    T* data() { return m_buf.data(); }
    T const& operator[](size_t i) const { return m_buf[i]; }
    std::vector<T> head(size_t n) const { return std::vector<T>(m_buf.begin(), m_buf.begin() + n); }
    bool canariesIntact() const {
        for (size_t i = m_usable; i < m_buf.size(); ++i)
            if (m_buf[i] != kCanary) return false;
        return true;
    }

private:
    size_t m_usable;
    std::vector<T> m_buf;
};

template <class T> std::string hex(std::vector<T> const& v) {
    std::string s;
    char buf[16];
    for (T x : v) {
        std::snprintf(buf, sizeof buf, s.empty() ? "%X" : " %X", static_cast<unsigned>(x));
        s += buf;
    }
    return s;
}

inline std::vector<unsigned char> bytesOf(std::string const& s) {
    return std::vector<unsigned char>(s.begin(), s.end());
}

// A terminated UTF-16 source.
inline std::vector<unsigned short> z16(std::vector<unsigned short> v) {
    v.push_back(0);
    return v;
}

ILLCHAR_OPTYPE const REP = ILLCHAR_REPLACE, STOP = ILLCHAR_STOP, ESC = ILLCHAR_ESCAPE;

// The one or two UTF-16 units of scalar value v.
inline std::vector<unsigned short> utf16Of(unsigned v) {
    if (v <= 0xFFFF) return {static_cast<unsigned short>(v)};
    return {static_cast<unsigned short>(0xD800 + ((v - 0x10000) >> 10)),
            static_cast<unsigned short>(0xDC00 + (v & 0x3FF))};
}

// Null source or destination: 0, nothing written, the flag left alone; null
// sources count 0.
inline void expectNullArgumentsSafe(VynCharSetConverter& c) {
    unsigned const text[2] = {0x41, 0}; // terminated for every unit width
    unsigned short const wide[2] = {0x41, 0};
    unsigned short u[2] = {0x7777, 0x7777};
    unsigned b[2] = {0x77777777, 0x77777777};
    bool flag = true;
    EXPECT_EQ(c.toUTF16(nullptr, text, 1, ILLCHAR_REPLACE, &flag, -1), 0u);
    EXPECT_EQ(c.toUTF16(u, nullptr, 1, ILLCHAR_REPLACE, &flag, -1), 0u);
    EXPECT_EQ(c.fromUTF16(nullptr, wide, 4, ILLCHAR_REPLACE, &flag), 0u);
    EXPECT_EQ(c.fromUTF16(b, nullptr, 4, ILLCHAR_REPLACE, &flag), 0u);
    EXPECT_EQ(u[0], 0x7777);
    EXPECT_EQ(b[0], 0x77777777u);
    EXPECT_TRUE(flag);
    EXPECT_EQ(c.getNumUnits(nullptr, static_cast<unsigned long>(-1)), 0u);
    EXPECT_EQ(c.getNumBytes(nullptr, static_cast<unsigned long>(-1)), 0u);
}

// `in` converted by iconv, the independent codec the Unicode converters are
// compared with.
inline std::string iconvTo(char const* to, char const* from, std::string const& in) {
    iconv_t cd = iconv_open(to, from);
    EXPECT_NE(cd, reinterpret_cast<iconv_t>(-1));
    std::string out(in.size() * 4 + 8, '\0');
    char* ip = const_cast<char*>(in.data());
    size_t il = in.size();
    char* op = &out[0];
    size_t ol = out.size();
    EXPECT_NE(iconv(cd, &ip, &il, &op, &ol), static_cast<size_t>(-1));
    iconv_close(cd);
    out.resize(out.size() - ol);
    return out;
}

// A tiny deterministic generator so that randomised tests repeat exactly.
class Lcg {
public:
    explicit Lcg(unsigned long long seed) : m_s(seed) {}
    unsigned int next() {
        m_s = m_s * 6364136223846793005ULL + 1442695040888963407ULL;
        return static_cast<unsigned int>(m_s >> 33);
    }
    unsigned int below(unsigned int n) { return next() % n; }

private:
    unsigned long long m_s;
};

#endif
