// VynUString case mapping, comparison and search.
#include <cstring>

#include "ustring_test_support.h"

namespace {

TEST(UStringCase, Mapping) {
    struct Case {
        bool upper, asciiOnly;
        u16string in, out;
    } const cases[] = {
        {true, false, u"stra\u00DFe", u"STRA\u00DFE"}, // no single-unit capital
        {true, false, u"\u00E9\u03B1\u0444", u"\u00C9\u0391\u0424"},
        {true, true, u"ab\u00E9z", u"AB\u00E9Z"},
        {true, false, u"@[`{~\x7F_09", u"@[`{~\x7F_09"},
        {true, false, u"\U0001F600\U00010428", u"\U0001F600\U00010428"}, // pairs untouched
        {false, false, u"\u0130I", u"ii"},
        {false, false, u"\u00C9\u0391X", u"\u00E9\u03B1x"},
        {false, true, u"AZ\u00C9", u"az\u00C9"},
        {false, false, u"@[\\]^_`{", u"@[\\]^_`{"},
        {false, false, u"", u""},
    };
    for (auto const& c : cases) {
        VynUString s = U(c.in);
        // A pointer taken from c_str before the change stays valid and keeps
        // the old text; freeSecText lets the next c_str render the new one.
        char const* before = s.c_str(VYNCS_UTF16);
        if (c.upper)
            s.toUpper(c.asciiOnly);
        else
            s.toLower(c.asciiOnly);
        EXPECT_EQ(S(s), c.out) << "case " << (&c - cases);
        EXPECT_EQ(s.data()[s.length()], 0);
        EXPECT_EQ(s.c_str(VYNCS_UTF16), before);
        EXPECT_EQ(std::memcmp(before, c.in.c_str(), 2 * c.in.size() + 2), 0);
        s.freeSecText();
        EXPECT_EQ(std::memcmp(s.c_str(VYNCS_UTF16), c.out.c_str(), 2 * c.out.size() + 2), 0);
    }
}

// Plain unit order, no surrogate pairing; without case, both sides fold to
// capitals, which puts "_" after letters. Swapping the sides negates.
TEST(UStringCompare, CanonicalAndNoCase) {
    struct Case {
        char16_t const* a;
        char16_t const* b;
        unsigned long n;
        int exact, noCase;
    } const cases[] = {
        {u"abc", u"abd", npos, -1, -1},
        {u"ab", u"abc", npos, -1, -1},
        {u"abc", u"abd", 2, 0, 0},
        {u"abc", u"abc", npos, 0, 0},
        {u"", u"", npos, 0, 0},
        {u"", u"a", npos, -1, -1},
        {u"x", u"y", 0, 0, 0},
        {u"ABC", u"abc", npos, -1, 0},
        {u"abc", u"ABD", npos, 1, -1},
        {u"a", u"_", npos, 1, -1},
        {u"A", u"_", npos, -1, -1},
        {u"[", u"a", npos, -1, 1},
        {u"\u00E9", u"\u00C9", npos, 1, 0},
        {u"\u00DF", u"SS", npos, 1, 1},
        {u"\U0001F600", u"\uE000", npos, -1, -1},
        {u"\uFFFF", u"a", npos, 1, 1},
        {u"ab", u"AB", 1, 1, 0},
    };
    VynUString host;
    for (auto const& c : cases) {
        SCOPED_TRACE("case " + std::to_string(&c - cases));
        EXPECT_EQ(host.canonicalCompare(p16(c.a), p16(c.b), c.n), c.exact);
        EXPECT_EQ(host.canonicalCompareNoCase(p16(c.a), p16(c.b), c.n), c.noCase);
        VynUString a(p16(c.a)), b(p16(c.b));
        EXPECT_EQ(a.compare(b, c.n), c.exact);
        EXPECT_EQ(a.compareNoCase(b, c.n), c.noCase);
        EXPECT_EQ(b.compare(a, c.n), -c.exact);
        EXPECT_EQ(b.compareNoCase(a, c.n), -c.noCase);
        if (c.n == npos) {
            EXPECT_EQ(a < b, c.exact < 0);
        }
    }
    unsigned short const* nul = nullptr;
    for (auto cmp : {&VynUString::canonicalCompare, &VynUString::canonicalCompareNoCase}) {
        EXPECT_EQ((host.*cmp)(nul, nul, npos), 0);
        EXPECT_EQ((host.*cmp)(nul, p16(u""), npos), -1);
        EXPECT_EQ((host.*cmp)(p16(u""), nul, npos), 1);
        EXPECT_EQ((host.*cmp)(nul, p16(u"a"), 0), 0);
    }
}

TEST(UStringSearch, Unit) {
    VynUString hello(p16(u"hello")), empty;
    struct Case {
        VynUString const* s;
        bool reverse;
        char16_t c;
        unsigned long pos, want;
    } const cases[] = {
        {&hello, false, u'l', 0, 2},
        {&hello, false, u'l', 3, 3},
        {&hello, false, u'l', 4, npos},
        {&hello, false, u'h', 5, npos},
        {&hello, false, 0, 0, npos},
        {&empty, false, u'x', 0, npos},
        {&hello, true, u'l', 3, 3},
        {&hello, true, u'l', 2, 2},
        {&hello, true, u'h', 4, 0},
        {&hello, true, u'z', 3, npos},
        // Past the end, or the unit 0, answers the last index unsearched.
        {&hello, true, u'l', 10, 4},
        {&hello, true, u'z', npos, 4},
        {&hello, true, 0, 0, 4},
        {&empty, true, u'x', npos, npos},
    };
    for (auto const& c : cases) {
        unsigned short u = static_cast<unsigned short>(c.c);
        unsigned long got = c.reverse ? c.s->rfind(u, c.pos) : c.s->find(u, c.pos);
        EXPECT_EQ(got, c.want) << "case " << (&c - cases);
    }
}

TEST(UStringSearch, Substring) {
    VynUString hello(p16(u"hello")), empty;
    struct Case {
        bool reverse;
        char16_t const* what;
        unsigned long pos, want;
    } const cases[] = {
        {false, u"lo", 0, 3},        {false, u"l", 0, 2},        {false, u"l", 3, 3},
        {false, u"hello", 0, 0},     {false, u"hello", 1, npos}, {false, u"lo", 4, npos},
        {false, u"helloo", 0, npos}, {false, u"", 0, npos},      {false, u"x", 0, npos},
        {false, u"lp", 0, npos},     {false, u"o", 4, 4},        {false, u"o", 5, npos},
        {true, u"l", npos, 3},       {true, u"l", 2, 2},         {true, u"l", 1, npos},
        {true, u"he", npos, 0},      {true, u"hello", npos, 0},  {true, u"helloo", npos, npos},
        {true, u"", npos, npos},     {true, u"lo", 1, npos},     {true, u"ll", 99, 2},
    };
    for (auto const& c : cases) {
        VynUString what(p16(c.what));
        unsigned long got = c.reverse ? hello.rfind(what, c.pos) : hello.find(what, c.pos);
        EXPECT_EQ(got, c.want) << "case " << (&c - cases);
    }
    // Searching a string for itself answers without comparing.
    EXPECT_EQ(hello.find(hello, 0), 0u);
    EXPECT_EQ(hello.find(hello, 1), npos);
    EXPECT_EQ(hello.rfind(hello, 3), 0u);
    EXPECT_EQ(empty.find(U(u"a")), npos);
    EXPECT_EQ(empty.rfind(U(u"a")), npos);
}

} // namespace
