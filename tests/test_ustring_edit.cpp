// Editing and concatenation of VynUString: trim, resize, left, mid, replace,
// erase(p, n), operator+ and the comparisons with a pointer on the left.
#include <functional>
#include <vector>

#include "ustring_test_support.h"

namespace {

using namespace std::string_literals;

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
        {u"\x0B\x61\x0B", T::TRIM_BOTH, T::TRIM_WHITESPACE, u"\x0B\x61\x0B"},
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

// Every edit drops the cached byte text, except a resize to the same length.
// at() writes behind the cache's back, so a kept cache still shows the old
// text.
TEST(UStringEdit, ChangesDropCachedBytes) {
    struct Case {
        std::function<void(VynUString&)> edit;
        char const* bytes; // expected c_str afterwards
    } const cases[] = {
        {[](VynUString& s) { s.trim(); }, "ab c"},
        {[](VynUString& s) { s.resize(2, u'x'); }, " a"},
        {[](VynUString& s) { s.resize(7, 'x', VYNCS_UTF8); }, " ab c x"},
        {[](VynUString& s) { s.replace(0, 1, U(u"Z"), 0, 1); }, "Zab c "},
        {[](VynUString& s) { s.erase(1, 3); }, " c "},
        {[](VynUString& s) { s.at(0) = u'#', s.resize(6, 'x', VYNCS_UTF8); }, " ab c "},
        {[](VynUString& s) { s.at(0) = u'#', s.resize(6, u'x'); }, " ab c "},
    };
    for (auto const& c : cases) {
        VynUString s = U(u" ab c ");
        EXPECT_STREQ(s.c_str(VYNCS_UTF8), " ab c ");
        c.edit(s);
        EXPECT_STREQ(s.c_str(VYNCS_UTF8), c.bytes) << "case " << (&c - cases);
    }
}

// Growing beyond the capacity loses the old text: fill only. A zero fill
// byte converts to nothing, yet the length is n and the gap is zero units,
// never what the buffer held.
TEST(UStringResize, UnitAndByteForms) {
    u16string const ten = u"0123456789";
    struct Case {
        std::function<void(VynUString&)> op;
        u16string out;
    } const cases[] = {
        {[](VynUString& s) { s.resize(10, u'*'); }, ten},
        {[](VynUString& s) { s.resize(4, u'*'); }, u"0123"},
        {[](VynUString& s) { s.resize(0, u'*'); }, u""},
        {[](VynUString& s) { s.resize(257, u'*'); }, ten + u16string(247, u'*')},
        {[](VynUString& s) { s.resize(258, u'*'); }, u16string(258, u'*')},
        {[](VynUString& s) { s.resize(13, 'z', VYNCS_UTF8); }, ten + u"zzz"},
        {[](VynUString& s) { s.resize(3, 'q', VYNCS_UTF8); }, u"012"},
        {[](VynUString& s) { s.resize(600, 'y', VYNCS_ISO_8859_1); }, u16string(600, u'y')},
        {[](VynUString& s) { s.resize(12, '\xC3', VYNCS_UTF8); }, ten + u"\xFFFD\xFFFD"},
        {[](VynUString& s) {
             s.erase(3, 7);
             s.resize(6, '\0', VYNCS_UTF8);
         },
         u"012\0\0\0"s},
        {[](VynUString& s) { s.resize(1000, '\0', VYNCS_UTF8); }, u16string(1000, u'\0')},
    };
    for (auto const& c : cases) {
        VynUString s = U(ten);
        c.op(s);
        EXPECT_EQ(S(s), c.out) << "case " << (&c - cases);
        expectWellFormed(s);
    }
    VynUString s = U(u"abc");
    EXPECT_EQ(thrown([&] { s.resize(npos, u'x'); }), kLength);
    EXPECT_EQ(thrown([&] { s.resize(npos, 'x', VYNCS_UTF8); }), kLength);
    EXPECT_EQ(S(s), u"abc");
}

// left(n) where p is npos, mid(p, n) otherwise. For mid(7) len - p wraps and
// p plus it is len again: empty, no throw.
TEST(UStringSubstr, LeftAndMid) {
    struct Case {
        unsigned long p, n;
        u16string out;
        bool throws;
    } const cases[] = {
        {npos, 0, u"", false}, {npos, 3, u"hel", false}, {npos, 5, u"hello", false},
        {npos, 6, u"", true},  {npos, npos, u"", true},  {1, npos, u"ello", false},
        {2, 2, u"ll", false},  {5, 0, u"", false},       {5, npos, u"", false},
        {7, npos, u"", false}, {4, 2, u"", true},        {6, 0, u"", true},
        {0, 6, u"", true},
    };
    VynUString const s = U(u"hello");
    for (auto const& c : cases) {
        VynUString r;
        std::string e = thrown([&] { r = c.p == npos ? s.left(c.n) : s.mid(c.p, c.n); });
        EXPECT_EQ(e, c.throws ? kRange : "") << "case " << (&c - cases);
        EXPECT_EQ(S(r), c.out) << "case " << (&c - cases);
    }
    EXPECT_EQ(S(s.mid(1)), u"ello");
    EXPECT_EQ(thrown([&] { s.mid(npos); }), "");
}

// A source position at its end inserts nothing; the string is left alone
// when a position is out of range.
TEST(UStringReplace, Ranges) {
    struct Case {
        unsigned long p, n;
        u16string src;
        unsigned long q, k;
        u16string out;
        bool throws;
    };
    Case const cases[] = {
        {0, npos, u"XY", 0, npos, u"XY", false}, {5, 0, u"!", 0, 1, u"hello!", false},
        {0, 0, u"ab", 1, 1, u"bhello", false},   {1, 3, u"ABC", 1, npos, u"hBCo", false},
        {2, 100, u"", 0, 0, u"he", false},       {2, 1, u"xyz", 3, 5, u"helo", false},
        {0, 5, u"", 0, 0, u"", false},           {4, npos, u"\0z"s, 0, 2, u"hell\0z"s, false},
        {6, 0, u"x", 0, 1, u"", true},           {npos, 0, u"x", 0, 1, u"", true},
        {0, 0, u"x", 2, 1, u"", true},           {0, 0, u"x", npos, 1, u"", true},
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

// f after l: the count wraps and everything from f on goes.
TEST(UStringReplace, PointerRange) {
    struct Case {
        long f, l; // offsets into "hello"
        u16string out;
        bool throws;
    };
    Case const cases[] = {
        {1, 3, u"hZlo", false},   {0, 5, u"Z", false},    {5, 5, u"helloZ", false},
        {0, 0, u"Zhello", false}, {3, 1, u"helZ", false}, {-1, 2, u"", true},
        {1, 6, u"", true},        {6, 6, u"", true},
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

// An empty string takes any position.
TEST(UStringErase, Ranges) {
    struct Case {
        u16string in;
        unsigned long p, n;
        u16string out;
        bool throws;
    };
    Case const cases[] = {
        {u"", 5, 1, u"", false},        {u"", npos, npos, u"", false}, {u"abc", 5, 1, u"abc", true},
        {u"abc", 4, 0, u"abc", true},   {u"abc", 3, 1, u"abc", false}, {u"abc", 1, 1, u"ac", false},
        {u"abc", 1, npos, u"a", false}, {u"abc", 0, npos, u"", false}, {u"abc", 0, 3, u"", false},
        {u"abc", 0, 2, u"c", false},    {u"abc", 0, 0, u"abc", false},
    };
    for (auto const& c : cases) {
        VynUString s = U(c.in);
        std::string e = thrown([&] { s.erase(c.p, c.n); });
        EXPECT_EQ(e, c.throws ? kRange : "") << "case " << (&c - cases);
        EXPECT_EQ(S(s), c.out) << "case " << (&c - cases);
    }
}

TEST(UStringConcat, AllOperandKinds) {
    VynUString const s = U(u"ab");
    unsigned short const w[] = {0x263A, u'z', 0};
    char const* nullBytes = nullptr;
    unsigned short const* nullUnits = nullptr;
    struct Case {
        VynUString r;
        u16string out;
    };
    Case const cases[] = {
        {s + 'c', u"abc"},
        {s + '\0', u"ab"},
        {s + static_cast<unsigned short>(0xD800), u"ab\xD800"},
        {s + static_cast<unsigned short>(0), u"ab"},
        {s + "cd", u"abcd"},
        {s + nullBytes, u"ab"},
        {s + w, u"ab\u263Az"},
        {s + nullUnits, u"ab"},
        {s + s, u"abab"},
        {s + VynUString(), u"ab"},
        {'x' + s, u"xab"},
        {static_cast<unsigned short>(0x263A) + s, u"\u263Aab"},
        {"xy" + s, u"xyab"},
        {nullBytes + s, u"ab"},
        {w + s, u"\u263Azab"},
        {VynUString() + VynUString(), u""},
    };
    for (auto const& c : cases) EXPECT_EQ(S(c.r), c.out) << "case " << (&c - cases);
    EXPECT_EQ(S(s), u"ab"); // operands are never changed
}

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
