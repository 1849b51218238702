// VynUString case mapping, comparison and search.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include <vynulib/string/VynUString.h>

namespace {

using U16 = std::vector<unsigned short>;
constexpr unsigned long npos = VynUString::npos;

unsigned short const* p16(char16_t const* t) {
    return reinterpret_cast<unsigned short const*>(t);
}

VynUString str(std::u16string const& t) {
    return VynUString(p16(t.data()), p16(t.data()) + t.size());
}

U16 units(VynUString const& s) {
    return U16(s.data(), s.data() + s.length());
}

U16 units(std::u16string const& t) {
    return U16(t.begin(), t.end());
}

} // namespace

TEST(UStringCase, Mapping) {
    enum Op { UPPER, LOWER };
    struct Case {
        Op op;
        bool asciiOnly;
        std::u16string in, out;
    } cases[] = {
        {UPPER, false, u"stra\u00DFe", u"STRA\u00DFE"}, // no single-unit capital
        {UPPER, false, u"\u00E9\u03B1\u0444", u"\u00C9\u0391\u0424"},
        {UPPER, true, u"ab\u00E9z", u"AB\u00E9Z"},
        {UPPER, false, u"@[`{~\x7F_09", u"@[`{~\x7F_09"},
        {UPPER, false, u"\U0001F600\U00010428", u"\U0001F600\U00010428"}, // pairs untouched
        {LOWER, false, u"\u0130I", u"ii"},
        {LOWER, false, u"\u00C9\u0391X", u"\u00E9\u03B1x"},
        {LOWER, true, u"AZ\u00C9", u"az\u00C9"},
        {LOWER, false, u"@[\\]^_`{", u"@[\\]^_`{"},
        {LOWER, false, u"", u""},
    };
    for (auto const& c : cases) {
        VynUString s = str(c.in);
        if (c.op == UPPER)
            s.toUpper(c.asciiOnly);
        else
            s.toLower(c.asciiOnly);
        EXPECT_EQ(units(s), units(c.out))
            << (c.op == UPPER ? "upper " : "lower ") << c.asciiOnly << " case " << (&c - cases);
        EXPECT_EQ(s.data()[s.length()], 0);
    }
}

// A byte text cached before a case change must not be handed out after it.
TEST(UStringCase, MappingRendersAfresh) {
    VynUString s(p16(u"abc"));
    EXPECT_STREQ(s.c_str(VYNCS_UTF8), "abc");
    s.toUpper(true);
    EXPECT_STREQ(s.c_str(VYNCS_UTF8), "ABC");
    s.toLower(false);
    EXPECT_STREQ(s.c_str(VYNCS_UTF8), "abc");
}

TEST(UStringCompare, CanonicalAndNoCase) {
    struct Case {
        char16_t const* a;
        char16_t const* b;
        unsigned long n;
        int exact, noCase;
    } cases[] = {
        {u"abc", u"abd", npos, -1, -1},
        {u"abd", u"abc", npos, 1, 1},
        {u"ab", u"abc", npos, -1, -1},
        {u"abc", u"ab", npos, 1, 1},
        {u"abc", u"abd", 2, 0, 0},
        {u"abc", u"abc", npos, 0, 0},
        {u"", u"", npos, 0, 0},
        {u"", u"a", npos, -1, -1},
        {u"x", u"y", 0, 0, 0},
        {u"ABC", u"abc", npos, -1, 0},
        {u"abc", u"ABD", npos, 1, -1},
        {u"a", u"_", npos, 1, -1}, // folding to capitals puts "_" after letters
        {u"A", u"_", npos, -1, -1},
        {u"[", u"a", npos, -1, 1},
        {u"\u00E9", u"\u00C9", npos, 1, 0},
        {u"\u00DF", u"SS", npos, 1, 1},
        {u"\U0001F600", u"\uE000", npos, -1, -1}, // plain unit order
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
        if (c.n == npos) {
            EXPECT_EQ(a < b, c.exact < 0);
        }
    }
}

TEST(UStringCompare, NullPointersAndSelf) {
    VynUString host(p16(u"zz"));
    unsigned short const* nul = nullptr;
    for (auto cmp : {&VynUString::canonicalCompare, &VynUString::canonicalCompareNoCase}) {
        EXPECT_EQ((host.*cmp)(nul, nul, npos), 0);
        EXPECT_EQ((host.*cmp)(nul, p16(u""), npos), -1);
        EXPECT_EQ((host.*cmp)(p16(u""), nul, npos), 1);
        EXPECT_EQ((host.*cmp)(nul, p16(u"a"), 0), 0);
    }
    EXPECT_EQ(host.compare(host), 0);
    EXPECT_EQ(host.compareNoCase(host), 0);
    EXPECT_FALSE(host < host);
}

// The registry keys its maps with operator<.
TEST(UStringCompare, OrdersMapKeys) {
    std::map<VynUString, int> m;
    char16_t const* keys[] = {u"b", u"B", u"", u"ab", u"a", u"\u00E9", u"_"};
    for (int i = 0; i < 7; ++i) m[VynUString(p16(keys[i]))] = i;
    std::vector<int> order;
    for (auto const& kv : m) order.push_back(kv.second);
    EXPECT_EQ(order, (std::vector<int>{2, 1, 6, 4, 3, 0, 5}));
    EXPECT_EQ(m.count(VynUString(p16(u"ab"))), 1u);
    EXPECT_EQ(m.count(VynUString(p16(u"AB"))), 0u);
}

TEST(UStringSearch, Unit) {
    VynUString hello(p16(u"hello")), empty;
    struct Case {
        VynUString const* s;
        bool reverse;
        char16_t c;
        unsigned long pos, want;
    } cases[] = {
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
    } cases[] = {
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
    EXPECT_EQ(empty.find(VynUString(p16(u"a"))), npos);
    EXPECT_EQ(empty.rfind(VynUString(p16(u"a"))), npos);
}
