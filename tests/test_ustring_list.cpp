// VynUStringList: splitting, joining, index-checked changes and the error
// texts; and VynUString::split.
#include <functional>
#include <vector>

#include "ustring_test_support.h"

namespace {

using Fields = std::vector<u16string>;

Fields F(VynUStringList const& l) {
    Fields r;
    for (auto const& e : l) r.push_back(S(e));
    return r;
}

VynUStringList L(Fields const& f) {
    VynUStringList l;
    for (auto const& e : f) l.append(U(e));
    return l;
}

std::string const kListRange = "out_of_range: invalid string list index given";

// An empty text has no fields, an empty separator (or the unit 0) gives the
// whole text as one; a separator at the very end adds no empty field, and
// occurrences never overlap.
TEST(UStringListSplit, ByUnitAndByString) {
    u16string const a(1000, u'a'), b(600, u'b');
    struct Case {
        bool unit; // split by sep[0] rather than by the string sep
        u16string text, sep;
        Fields fields;
    } const cases[] = {
        {true, u",a,,b,", u",", {u"", u"a", u"", u"b"}},
        {true, u"a", u",", {u"a"}},
        {true, u"", u",", {}},
        {true, u"", u16string(1, 0), {u""}},
        {true, u"a,b", u16string(1, 0), {u"a,b"}},
        {true, u",", u",", {u""}},
        {true, u",,", u",", {u"", u""}},
        {true, u"a,b,c", u",", {u"a", u"b", u"c"}},
        {true, u"\xD800x\xD800", u"\xD800", {u"", u"x"}},
        {true, a + u"|" + b + u"|", u"|", {a, b}},
        {false, u"a--b", u"--", {u"a", u"b"}},
        {false, u"a---b", u"--", {u"a", u"-b"}},
        {false, u"a----b", u"--", {u"a", u"", u"b"}},
        {false, u"--a--", u"--", {u"", u"a"}},
        {false, u"", u"--", {}},
        {false, u"", u"", {u""}},
        {false, u"ab", u"", {u"ab"}},
        {false, u"abc", u"abc", {u""}},
        {false, u"a", u"abc", {u"a"}},
        {false, u"x,y", u",", {u"x", u"y"}},
    };
    for (auto const& c : cases) {
        VynUString const s = U(c.text), sep = U(c.sep);
        if (c.unit) {
            EXPECT_EQ(F(VynUStringList(s, c.sep[0])), c.fields) << "case " << (&c - cases);
            EXPECT_EQ(F(s.split(c.sep[0])), c.fields) << "case " << (&c - cases);
        } else {
            EXPECT_EQ(F(VynUStringList(s, sep)), c.fields) << "case " << (&c - cases);
            EXPECT_EQ(F(s.split(sep)), c.fields) << "case " << (&c - cases);
        }
    }
    VynUString const s = U(u"a;b;;c");
    EXPECT_EQ(F(s.split(';', VYNCS_UTF8)), (Fields{u"a", u"b", u"", u"c"}));
    EXPECT_EQ(F(s.split(';', VYNCS_OS_DEFAULT)), (Fields{u"a", u"b", u"", u"c"}));
    EXPECT_EQ(F(s.split('\0', VYNCS_UTF8)), (Fields{u"a;b;;c"}));
    EXPECT_EQ(F(VynUString().split(';', VYNCS_UTF8)), Fields{});
}

TEST(UStringListCombine, Joins) {
    struct Case {
        Fields fields;
        u16string sep;
        u16string out;
    };
    Case const cases[] = {
        {{u"a", u"", u"b"}, u",", u"a,,b"},
        {{}, u",", u""},
        {{u"x"}, u",", u"x"},
        {{u""}, u",", u""},
        {{u"a", u"b"}, u"", u"ab"},
        {{u"a", u"b", u"c"}, u"--", u"a--b--c"},
        {{u"", u""}, u";", u";"},
    };
    for (auto const& c : cases)
        EXPECT_EQ(S(L(c.fields).combine(U(c.sep))), c.out) << "case " << (&c - cases);
}

TEST(UStringList, OutOfRangeLeavesListAlone) {
    VynUStringList const pq = L({u"p", u"q"});
    std::function<void(VynUStringList&)> const ops[] = {
        [](VynUStringList& l) { l.at(l.size()); },
        [](VynUStringList& l) { l.at(~0UL); },
        [](VynUStringList& l) { l.erase(l.size()); },
        [](VynUStringList& l) { l.insert(l.size() + 1, U(u"x")); },
        [](VynUStringList& l) { l.insert(~0UL, U(u"x")); },
        [&](VynUStringList& l) { l.insert(l.size() + 1, pq); },
    };
    for (auto const& op : ops) {
        VynUStringList l = L({u"a", u"b"});
        EXPECT_EQ(thrown([&] { op(l); }), kListRange) << "op " << (&op - ops);
        EXPECT_EQ(F(l), (Fields{u"a", u"b"})) << "op " << (&op - ops);
    }
    VynUStringList empty;
    EXPECT_EQ(thrown([&] { empty.at(0); }), kListRange);
    EXPECT_EQ(thrown([&] { empty.erase(0); }), kListRange);
    // The length limit is out of reach of a test; its text is not.
    EXPECT_EQ(thrown([] { VynUStringList::range_error(); }), kListRange);
    EXPECT_EQ(thrown([] { VynUStringList::length_error(); }),
              "length_error: exceed maximum string list length");
}

// Own elements and the list itself are valid arguments.
TEST(UStringList, Changes) {
    using List = VynUStringList;
    List const xy = L({u"x", u"y"}), x = L({u"x"});
    struct Case {
        std::function<void(List&)> op;
        Fields out;
    } const cases[] = {
        {[](List& l) { l.append(U(u"d")); }, {u"a", u"b", u"c", u"d"}},
        {[](List& l) { l.append(l[0]); }, {u"a", u"b", u"c", u"a"}},
        {[&](List& l) { l.append(xy); }, {u"a", u"b", u"c", u"x", u"y"}},
        {[](List& l) { l.append(l); }, {u"a", u"b", u"c"}},
        {[](List& l) { l.insert(0, U(u"x")); }, {u"x", u"a", u"b", u"c"}},
        {[](List& l) { l.insert(l.size(), U(u"x")); }, {u"a", u"b", u"c", u"x"}},
        {[](List& l) { l.insert(1, l[2]); }, {u"a", u"c", u"b", u"c"}},
        {[&](List& l) { l.insert(1, xy); }, {u"a", u"x", u"y", u"b", u"c"}},
        {[&](List& l) { l.insert(3, x); }, {u"a", u"b", u"c", u"x"}},
        {[](List& l) { l.insert(1, l); }, {u"a", u"b", u"c"}},
        {[](List& l) { l.erase(0); }, {u"b", u"c"}},
        {[](List& l) { l.erase(1); }, {u"a", u"c"}},
        {[](List& l) { l.erase(2); }, {u"a", u"b"}},
        {[](List& l) { l.clear(); }, {}},
        {[](List& l) { l = l[0], l.erase(0); }, {}},
        {[](List& l) { l = U(u"z"); }, {u"z"}},
        {[](List& l) { l = l[1]; }, {u"b"}},
        {[&](List& l) { l = x; }, {u"x"}},
        {[](List& l) { l = static_cast<List const&>(l); }, {u"a", u"b", u"c"}},
    };
    for (auto const& c : cases) {
        VynUStringList l = L({u"a", u"b", u"c"});
        c.op(l);
        EXPECT_EQ(F(l), c.out) << "case " << (&c - cases);
    }
}

// Elements are assigned one place down: texts of both storage kinds move.
TEST(UStringList, EraseShiftsHeapAndInlineTexts) {
    u16string const big(500, u'B'), huge(900, u'H');
    VynUStringList l = L({u"a", big, u"c", huge, u"e"});
    l.erase(0);
    EXPECT_EQ(F(l), (Fields{big, u"c", huge, u"e"}));
    l.erase(1);
    EXPECT_EQ(F(l), (Fields{big, huge, u"e"}));
    l.erase(0);
    EXPECT_EQ(F(l), (Fields{huge, u"e"}));
}

TEST(UStringList, ReverseIteratorsAndWritableElements) {
    VynUStringList l = L({u"1", u"2", u"3"});
    VynUStringList const& cl = l;
    Fields rev, crev;
    for (auto it = l.rbegin(); it != l.rend(); ++it) rev.push_back(S(*it));
    for (auto it = cl.rbegin(); it != cl.rend(); ++it) crev.push_back(S(*it));
    EXPECT_EQ(rev, (Fields{u"3", u"2", u"1"}));
    EXPECT_EQ(crev, rev);
    l.begin()->resize(2, static_cast<unsigned short>(u'!'));
    EXPECT_EQ(S(l.at(0)), u"1!");
    EXPECT_EQ(S(l[2]), u"3");
}

} // namespace
