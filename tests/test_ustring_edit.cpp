// Editing and concatenation of VynUString: trim, resize, left, mid, replace,
// erase(p, n), operator+ and the comparisons with a pointer on the left.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <vynulib/string/VynUString.h>

namespace {

using std::u16string;
using namespace std::string_literals;
constexpr unsigned long npos = VynUString::npos;

// Verbatim: the pointer-pair constructor keeps zero units too.
VynUString U(u16string const& s) {
    std::vector<unsigned short> v(s.begin(), s.end());
    return VynUString(v.data(), v.data() + v.size());
}

u16string S(VynUString const& s) {
    return u16string(s.data(), s.data() + s.length());
}

// Runs f and returns the exception's type and text, or "" when none came.
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

std::string const kRange = "out_of_range: invalid string index given";
std::string const kLength = "length_error: exceed maximum string length";

// --- trim ------------------------------------------------------------------

TEST(UStringTrim, TargetsAndCommands) {
    using T = VynUString;
    struct Case {
        u16string in;
        T::TrimCmd cmd;
        T::TrimTarget target;
        u16string out;
    };
    // 0x0B has no class bit 1 here, '$' and '+' have no class at all.
    Case const cases[] = {
        {u"  a b \t", T::TRIM_BOTH, T::TRIM_WHITESPACE, u"a b"},
        {u"\t a \r\n", T::TRIM_LEADING, T::TRIM_WHITESPACE, u"a \r\n"},
        {u"\t a \r\n", T::TRIM_TRAILING, T::TRIM_WHITESPACE, u"\t a"},
        {u" \t\n\r", T::TRIM_BOTH, T::TRIM_WHITESPACE, u""},
        {u" \t\n\r", T::TRIM_TRAILING, T::TRIM_WHITESPACE, u""},
        {u"\u3000\u00A0x\u2028", T::TRIM_BOTH, T::TRIM_WHITESPACE, u"x"},
        {u"\x0B"
         u"a\x0B",
         T::TRIM_BOTH, T::TRIM_WHITESPACE,
         u"\x0B"
         u"a\x0B"},
        {u"   ", T::TRIM_BOTH, T::TRIM_SPACE, u""},
        {u"\t ", T::TRIM_BOTH, T::TRIM_SPACE, u"\t"},
        {u" \ta\t ", T::TRIM_LEADING, T::TRIM_SPACE, u"\ta\t "},
        {u" \u3000a ", T::TRIM_BOTH, T::TRIM_SPACE, u"\u3000a"},
        {u"\x01$ a+\t", T::TRIM_BOTH, T::TRIM_WHITESPACE_AND_UNCLASSIFIED, u"a"},
        {u"$a$", T::TRIM_BOTH, T::TRIM_WHITESPACE, u"$a$"},
        {u"+$ ", T::TRIM_LEADING, T::TRIM_WHITESPACE_AND_UNCLASSIFIED, u""},
        {u"abc", T::TRIM_BOTH, T::TRIM_WHITESPACE, u"abc"},
        {u"", T::TRIM_BOTH, T::TRIM_WHITESPACE, u""},
    };
    for (auto const& c : cases) {
        VynUString s = U(c.in);
        VynUString& r = s.trim(c.cmd, c.target);
        EXPECT_EQ(&r, &s);
        EXPECT_EQ(S(s), c.out) << "case " << (&c - cases);
        EXPECT_EQ(s.data()[s.length()], 0);
    }
}

// --- every edit drops the cached byte text ----------------------------------

TEST(UStringEdit, ChangesDropCachedBytes) {
    struct Case {
        char const* name;
        std::function<void(VynUString&)> edit;
        char const* bytes; // expected c_str afterwards
    };
    Case const cases[] = {
        {"trim", [](VynUString& s) { s.trim(); }, "ab c"},
        {"resize shorter", [](VynUString& s) { s.resize(2, u'x'); }, " a"},
        {"resize longer", [](VynUString& s) { s.resize(7, 'x', VYNCS_UTF8); }, " ab c x"},
        {"replace", [](VynUString& s) { s.replace(0, 1, U(u"Z"), 0, 1); }, "Zab c "},
        {"erase", [](VynUString& s) { s.erase(1, 3); }, " c "},
    };
    for (auto const& c : cases) {
        VynUString s = U(u" ab c ");
        EXPECT_STREQ(s.c_str(VYNCS_UTF8), " ab c ");
        c.edit(s);
        EXPECT_STREQ(s.c_str(VYNCS_UTF8), c.bytes) << c.name;
    }
}

// --- resize ----------------------------------------------------------------

TEST(UStringResize, SameLengthKeepsCacheOtherLengthsDropIt) {
    VynUString s = U(u"abc");
    char const* p = s.c_str(VYNCS_UTF16);
    s.resize(3, u'x');
    s.resize(3, 'x', VYNCS_UTF8);
    EXPECT_EQ(s.c_str(VYNCS_UTF16), p); // same cache, no second conversion
    EXPECT_EQ(S(s), u"abc");
}

TEST(UStringResize, UnitForm) {
    struct Case {
        unsigned long n;
        u16string out;
    };
    u16string const ten = u"0123456789";
    // Growing beyond the inline capacity loses the old text: fill only.
    Case const cases[] = {
        {10, ten},
        {4, u"0123"},
        {0, u""},
        {200, ten + u16string(190, u'*')},
        {257, ten + u16string(247, u'*')},
        {258, u16string(258, u'*')},
        {300, u16string(300, u'*')},
    };
    for (auto const& c : cases) {
        VynUString s = U(ten);
        s.resize(c.n, u'*');
        EXPECT_EQ(S(s), c.out) << c.n;
        EXPECT_EQ(s.data()[s.length()], 0);
    }
}

TEST(UStringResize, ByteForm) {
    VynUString s = U(u"ab");
    s.resize(5, 'z', VYNCS_UTF8);
    EXPECT_EQ(S(s), u"abzzz");
    s.resize(3, 'q', VYNCS_UTF8);
    EXPECT_EQ(S(s), u"abz");
    s.resize(600, 'y', VYNCS_ISO_8859_1);
    EXPECT_EQ(S(s), u16string(600, u'y')); // grown past capacity: old text gone

    // Two bytes of a two-byte UTF-8 sequence make one unit, yet the length is n.
    VynUString t = U(u"a");
    t.resize(3, '\xC3', VYNCS_UTF8);
    EXPECT_EQ(t.length(), 3u);
    EXPECT_EQ(t.data()[3], 0);
}

TEST(UStringResize, ZeroByteConvertsNothingButSetsLength) {
    VynUString s = U(u"abcdef");
    s.erase(3, 3); // the buffer still holds units behind the new end
    s.resize(6, '\0', VYNCS_UTF8);
    ASSERT_EQ(s.length(), 6u);
    EXPECT_EQ(S(s).substr(0, 3), u"abc");
    // The gap is zeroed rather than left to whatever the buffer held, so a
    // fresh heap array never shows indeterminate units.
    EXPECT_EQ(S(s).substr(3), u16string(3, u'\0'));

    VynUString h;
    h.resize(1000, '\0', VYNCS_UTF8);
    ASSERT_EQ(h.length(), 1000u);
    EXPECT_EQ(S(h), u16string(1000, u'\0'));
}

TEST(UStringResize, NposThrowsAndChangesNothing) {
    VynUString s = U(u"abc");
    EXPECT_EQ(thrown([&] { s.resize(npos, u'x'); }), kLength);
    EXPECT_EQ(thrown([&] { s.resize(npos, 'x', VYNCS_UTF8); }), kLength);
    EXPECT_EQ(S(s), u"abc");
}

// --- left and mid ----------------------------------------------------------

TEST(UStringSubstr, LeftAndMid) {
    struct Case {
        char const* name;
        std::function<VynUString(VynUString const&)> f;
        u16string out;
        bool throws;
    };
    Case const cases[] = {
        {"left(0)", [](auto& s) { return s.left(0); }, u"", false},
        {"left(3)", [](auto& s) { return s.left(3); }, u"hel", false},
        {"left(len)", [](auto& s) { return s.left(5); }, u"hello", false},
        {"left(len+1)", [](auto& s) { return s.left(6); }, u"", true},
        {"left(npos)", [](auto& s) { return s.left(npos); }, u"", true},
        {"mid(1)", [](auto& s) { return s.mid(1); }, u"ello", false},
        {"mid(1,npos)", [](auto& s) { return s.mid(1, npos); }, u"ello", false},
        {"mid(2,2)", [](auto& s) { return s.mid(2, 2); }, u"ll", false},
        {"mid(len,0)", [](auto& s) { return s.mid(5, 0); }, u"", false},
        {"mid(len)", [](auto& s) { return s.mid(5); }, u"", false},
        // len - p wraps and p plus it is len again: empty, no throw.
        {"mid(len+2)", [](auto& s) { return s.mid(7); }, u"", false},
        {"mid(npos)", [](auto& s) { return s.mid(npos); }, u"", false},
        {"mid(4,2)", [](auto& s) { return s.mid(4, 2); }, u"", true},
        {"mid(6,0)", [](auto& s) { return s.mid(6, 0); }, u"", true},
        {"mid(0,6)", [](auto& s) { return s.mid(0, 6); }, u"", true},
    };
    VynUString const s = U(u"hello");
    for (auto const& c : cases) {
        VynUString r;
        std::string e = thrown([&] { r = c.f(s); });
        EXPECT_EQ(e, c.throws ? kRange : "") << c.name;
        EXPECT_EQ(S(r), c.out) << c.name;
    }
    EXPECT_EQ(S(s), u"hello");
}

// --- replace and erase -----------------------------------------------------

TEST(UStringReplace, Ranges) {
    struct Case {
        unsigned long p, n;
        u16string src;
        unsigned long q, k;
        u16string out; // "" with throws set: the string must stay "hello"
        bool throws;
    };
    Case const cases[] = {
        {0, npos, u"XY", 0, npos, u"XY", false},
        {5, 0, u"!", 0, 1, u"hello!", false},
        {0, 0, u"ab", 1, 1, u"bhello", false},
        {1, 3, u"ABC", 1, npos, u"hBCo", false},
        {2, 100, u"", 0, 0, u"he", false},
        {2, 1, u"xyz", 3, 5, u"helo", false}, // q at the end inserts nothing
        {0, 5, u"", 0, 0, u"", false},
        {4, npos, u"\0z"s, 0, 2, u"hell\0z"s, false},
        {6, 0, u"x", 0, 1, u"", true},
        {npos, 0, u"x", 0, 1, u"", true},
        {0, 0, u"x", 2, 1, u"", true},
        {0, 0, u"x", npos, 1, u"", true},
    };
    for (auto const& c : cases) {
        VynUString s = U(u"hello");
        VynUString src = U(c.src);
        std::string e = thrown([&] { s.replace(c.p, c.n, src, c.q, c.k); });
        EXPECT_EQ(e, c.throws ? kRange : "") << "case " << (&c - cases);
        EXPECT_EQ(S(s), c.throws ? u"hello" : c.out) << "case " << (&c - cases);
        EXPECT_EQ(s.data()[s.length()], 0);
    }
}

TEST(UStringReplace, SelfAsSourceAroundScratchLimit) {
    // Results around the 4 KiB scratch limit, and far above it, with the
    // string itself as source (the old text must be read before it is lost).
    for (unsigned long half : {1023UL, 1024UL, 1025UL, 40000UL}) {
        u16string a;
        for (unsigned long i = 0; i < half; ++i) a += static_cast<char16_t>(u'A' + i % 26);
        VynUString s = U(a);
        s.replace(half / 2, 0, s, 0, npos);
        EXPECT_EQ(S(s), a.substr(0, half / 2) + a + a.substr(half / 2)) << half;
        EXPECT_EQ(s.data()[s.length()], 0);
    }
    VynUString s = U(u"hello");
    s.replace(0, npos, s, 2, 3);
    EXPECT_EQ(S(s), u"llo");
}

TEST(UStringReplace, PointerRange) {
    struct Case {
        long f, l; // offsets into "hello"
        u16string out;
        bool throws;
    };
    Case const cases[] = {
        {1, 3, u"hZlo", false},
        {0, 5, u"Z", false},
        {5, 5, u"helloZ", false},
        {0, 0, u"Zhello", false},
        // f after l: the count wraps and everything from f on goes.
        {3, 1, u"helZ", false},
        {-1, 2, u"", true},
        {1, 6, u"", true},
        {6, 6, u"", true},
    };
    VynUString const z = U(u"Z");
    for (auto const& c : cases) {
        VynUString s = U(u"hello");
        unsigned short const* base = s.data();
        std::string e = thrown([&] { s.replace(base + c.f, base + c.l, z); });
        EXPECT_EQ(e, c.throws ? kRange : "") << c.f << "," << c.l;
        EXPECT_EQ(S(s), c.throws ? u"hello" : c.out) << c.f << "," << c.l;
    }
    unsigned short other[4] = {1, 2, 3, 0};
    VynUString s = U(u"hello");
    EXPECT_EQ(thrown([&] { s.replace(other, other + 1, z); }), kRange);
    EXPECT_EQ(S(s), u"hello");
}

TEST(UStringErase, Ranges) {
    struct Case {
        u16string in;
        unsigned long p, n;
        u16string out;
        bool throws;
    };
    Case const cases[] = {
        {u"", 5, 1, u"", false}, // empty: whatever p is
        {u"", npos, npos, u"", false}, {u"abc", 5, 1, u"abc", true}, {u"abc", 4, 0, u"abc", true},
        {u"abc", 3, 1, u"abc", false}, {u"abc", 1, 1, u"ac", false}, {u"abc", 1, npos, u"a", false},
        {u"abc", 0, npos, u"", false}, {u"abc", 0, 3, u"", false},   {u"abc", 0, 2, u"c", false},
        {u"abc", 0, 0, u"abc", false},
    };
    for (auto const& c : cases) {
        VynUString s = U(c.in);
        std::string e = thrown([&] { s.erase(c.p, c.n); });
        EXPECT_EQ(e, c.throws ? kRange : "") << "case " << (&c - cases);
        EXPECT_EQ(S(s), c.out) << "case " << (&c - cases);
    }
}

// --- concatenation ---------------------------------------------------------

TEST(UStringConcat, AllOperandKinds) {
    VynUString const s = U(u"ab");
    unsigned short const w[] = {0x263A, u'z', 0};
    char const* nullBytes = nullptr;
    unsigned short const* nullUnits = nullptr;
    struct Case {
        char const* name;
        VynUString r;
        u16string out;
    };
    Case const cases[] = {
        {"s+char", s + 'c', u"abc"},
        {"s+zero char", s + '\0', u"ab"},
        {"s+unit", s + static_cast<unsigned short>(0xD800), u"ab\xD800"},
        {"s+zero unit", s + static_cast<unsigned short>(0), u"ab"},
        {"s+bytes", s + "cd", u"abcd"},
        {"s+null bytes", s + nullBytes, u"ab"},
        {"s+units", s + w, u"ab\u263Az"},
        {"s+null units", s + nullUnits, u"ab"},
        {"s+s", s + s, u"abab"},
        {"s+empty", s + VynUString(), u"ab"},
        {"char+s", 'x' + s, u"xab"},
        {"unit+s", static_cast<unsigned short>(0x263A) + s, u"\u263Aab"},
        {"bytes+s", "xy" + s, u"xyab"},
        {"null bytes+s", nullBytes + s, u"ab"},
        {"units+s", w + s, u"\u263Azab"},
        {"empty+empty", VynUString() + VynUString(), u""},
    };
    for (auto const& c : cases) EXPECT_EQ(S(c.r), c.out) << c.name;
    EXPECT_EQ(S(s), u"ab"); // operands are never changed
}

// --- comparisons with a pointer on the left ---------------------------------

// The six results as "==,!=,<,>,<=,>=" flags, e.g. "011010" for less.
template <class P> std::string relations(P a, VynUString const& b) {
    std::string r;
    for (bool x : {a == b, a != b, a<b, a> b, a <= b, a >= b}) r += x ? '1' : '0';
    return r;
}

TEST(UStringCompare, PointerOnTheLeft) {
    std::string const less = "011010", equal = "100011", greater = "010101";
    struct Case {
        char const* bytes; // ASCII: every default set maps it to itself
        u16string right;
        std::string const& want;
    };
    Case const cases[] = {
        {"a", u"b", less},      {"b", u"a", greater},    {"abc", u"abc", equal},
        {"ab", u"abc", less},   {"abc", u"ab", greater}, {"", u"", equal},
        {"", u"a", less},       {"a", u"", greater},     {"A", u"a", less},
        {"z", u"\u00E9", less}, {nullptr, u"", equal},   {nullptr, u"a", less},
    };
    for (auto const& c : cases) {
        VynUString const r = U(c.right);
        std::vector<unsigned short> units;
        for (char const* p = c.bytes; p && *p; ++p) units.push_back(static_cast<unsigned char>(*p));
        units.push_back(0);
        unsigned short const* w = c.bytes ? units.data() : nullptr;
        EXPECT_EQ(relations(c.bytes, r), c.want) << (c.bytes ? c.bytes : "null");
        EXPECT_EQ(relations(w, r), c.want) << (c.bytes ? c.bytes : "null");
    }
}

} // namespace
