// VynUStringList: splitting, joining, index-checked changes and the error
// texts; and VynUString::split.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <vynulib/string/VynUStringList.h>

namespace {

using std::u16string;
using Fields = std::vector<u16string>;

VynUString U(u16string const& s) {
    std::vector<unsigned short> v(s.begin(), s.end());
    return VynUString(v.data(), v.data() + v.size());
}

u16string S(VynUString const& s) {
    return u16string(s.data(), s.data() + s.length());
}

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

std::string const kListRange = "out_of_range: invalid string list index given";

// --- splitting -------------------------------------------------------------

TEST(UStringListSplit, ByUnit) {
    struct Case {
        u16string text;
        char16_t sep;
        Fields fields;
    };
    Case const cases[] = {
        {u",a,,b,", u',', {u"", u"a", u"", u"b"}},
        {u"a", u',', {u"a"}},
        {u"", u',', {}},
        {u"", 0, {u""}},
        {u"a,b", 0, {u"a,b"}},
        {u",", u',', {u""}},
        {u",,", u',', {u"", u""}},
        {u"a,,", u',', {u"a", u""}},
        {u"a,b,c", u',', {u"a", u"b", u"c"}},
        {u"\xD800x\xD800", 0xD800, {u"", u"x"}},
    };
    for (auto const& c : cases) {
        VynUString const s = U(c.text);
        auto const sep = static_cast<unsigned short>(c.sep);
        EXPECT_EQ(F(VynUStringList(s, sep)), c.fields) << "case " << (&c - cases);
        EXPECT_EQ(F(s.split(sep)), c.fields) << "case " << (&c - cases);
    }
}

TEST(UStringListSplit, ByString) {
    struct Case {
        u16string text;
        u16string sep;
        Fields fields;
    };
    Case const cases[] = {
        {u"a--b", u"--", {u"a", u"b"}},
        {u"a---b", u"--", {u"a", u"-b"}}, // occurrences never overlap
        {u"a----b", u"--", {u"a", u"", u"b"}},
        {u"--a--", u"--", {u"", u"a"}},
        {u"", u"--", {}},
        {u"", u"", {u""}},
        {u"ab", u"", {u"ab"}},
        {u"abc", u"abc", {u""}},
        {u"a", u"abc", {u"a"}},
        {u"x,y", u",", {u"x", u"y"}},
    };
    for (auto const& c : cases) {
        VynUString const s = U(c.text), sep = U(c.sep);
        EXPECT_EQ(F(VynUStringList(s, sep)), c.fields) << "case " << (&c - cases);
        EXPECT_EQ(F(s.split(sep)), c.fields) << "case " << (&c - cases);
    }
}

TEST(UStringListSplit, ByByte) {
    VynUString const s = U(u"a;b;;c");
    EXPECT_EQ(F(s.split(';', VYNCS_UTF8)), (Fields{u"a", u"b", u"", u"c"}));
    EXPECT_EQ(F(s.split(';', VYNCS_OS_DEFAULT)), (Fields{u"a", u"b", u"", u"c"}));
    EXPECT_EQ(F(s.split('\0', VYNCS_UTF8)), (Fields{u"a;b;;c"}));
    EXPECT_EQ(F(VynUString().split(';', VYNCS_UTF8)), Fields{});
}

TEST(UStringListSplit, LongFieldsOnHeap) {
    u16string const a(1000, u'a'), b(600, u'b');
    VynUStringList l = U(a + u"|" + b + u"|").split(static_cast<unsigned short>(u'|'));
    EXPECT_EQ(F(l), (Fields{a, b}));
}

// --- combine ---------------------------------------------------------------

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

// --- index-checked operations ------------------------------------------------

TEST(UStringList, OutOfRangeLeavesListAlone) {
    struct Case {
        char const* name;
        std::function<void(VynUStringList&)> op;
    };
    Case const cases[] = {
        {"at(size)", [](VynUStringList& l) { l.at(l.size()); }},
        {"at(npos)", [](VynUStringList& l) { l.at(~0UL); }},
        {"erase(size)", [](VynUStringList& l) { l.erase(l.size()); }},
        {"insert(size+1)", [](VynUStringList& l) { l.insert(l.size() + 1, U(u"x")); }},
        {"insert(npos)", [](VynUStringList& l) { l.insert(~0UL, U(u"x")); }},
        {"insert list(size+1)",
         [](VynUStringList& l) {
             l.insert(l.size() + 1, L({u"p", u"q"}));
         }},
    };
    for (auto const& c : cases) {
        VynUStringList l = L({u"a", u"b"});
        EXPECT_EQ(thrown([&] { c.op(l); }), kListRange) << c.name;
        EXPECT_EQ(F(l), (Fields{u"a", u"b"})) << c.name;
    }
    VynUStringList empty;
    EXPECT_EQ(thrown([&] { empty.at(0); }), kListRange);
    EXPECT_EQ(thrown([&] { empty.erase(0); }), kListRange);
}

TEST(UStringList, ErrorTexts) {
    // The length limit is out of reach of a test; its text is not.
    EXPECT_EQ(thrown([] { VynUStringList::range_error(); }), kListRange);
    EXPECT_EQ(thrown([] { VynUStringList::length_error(); }),
              "length_error: exceed maximum string list length");
}

TEST(UStringList, Changes) {
    struct Case {
        char const* name;
        std::function<void(VynUStringList&)> op;
        Fields out;
    };
    Case const cases[] = {
        {"append", [](VynUStringList& l) { l.append(U(u"d")); }, {u"a", u"b", u"c", u"d"}},
        {"append own element", [](VynUStringList& l) { l.append(l[0]); }, {u"a", u"b", u"c", u"a"}},
        {"append list",
         [](VynUStringList& l) {
             l.append(L({u"x", u"y"}));
         },
         {u"a", u"b", u"c", u"x", u"y"}},
        {"append itself", [](VynUStringList& l) { l.append(l); }, {u"a", u"b", u"c"}},
        {"insert front", [](VynUStringList& l) { l.insert(0, U(u"x")); }, {u"x", u"a", u"b", u"c"}},
        {"insert(size) appends",
         [](VynUStringList& l) { l.insert(l.size(), U(u"x")); },
         {u"a", u"b", u"c", u"x"}},
        {"insert own element",
         [](VynUStringList& l) { l.insert(1, l[2]); },
         {u"a", u"c", u"b", u"c"}},
        {"insert list",
         [](VynUStringList& l) {
             l.insert(1, L({u"x", u"y"}));
         },
         {u"a", u"x", u"y", u"b", u"c"}},
        {"insert list at end",
         [](VynUStringList& l) { l.insert(3, L({u"x"})); },
         {u"a", u"b", u"c", u"x"}},
        {"insert itself", [](VynUStringList& l) { l.insert(1, l); }, {u"a", u"b", u"c"}},
        {"erase first", [](VynUStringList& l) { l.erase(0); }, {u"b", u"c"}},
        {"erase middle", [](VynUStringList& l) { l.erase(1); }, {u"a", u"c"}},
        {"erase last", [](VynUStringList& l) { l.erase(2); }, {u"a", u"b"}},
        {"clear", [](VynUStringList& l) { l.clear(); }, {}},
        {"erase to empty",
         [](VynUStringList& l) {
             l = l[0];
             l.erase(0);
         },
         {}},
        {"assign string", [](VynUStringList& l) { l = U(u"z"); }, {u"z"}},
        {"assign own element", [](VynUStringList& l) { l = l[1]; }, {u"b"}},
        {"assign list", [](VynUStringList& l) { l = L({u"q"}); }, {u"q"}},
        {"assign itself",
         [](VynUStringList& l) {
             VynUStringList const& same = l;
             l = same;
         },
         {u"a", u"b", u"c"}},
    };
    for (auto const& c : cases) {
        VynUStringList l = L({u"a", u"b", u"c"});
        c.op(l);
        EXPECT_EQ(F(l), c.out) << c.name;
    }
}

TEST(UStringList, EraseShiftsHeapAndInlineTexts) {
    // Elements are assigned one place down: texts of both storage kinds move.
    u16string const big(500, u'B'), huge(900, u'H');
    VynUStringList l = L({u"a", big, u"c", huge, u"e"});
    l.erase(0);
    EXPECT_EQ(F(l), (Fields{big, u"c", huge, u"e"}));
    l.erase(1);
    EXPECT_EQ(F(l), (Fields{big, huge, u"e"}));
    l.erase(0);
    EXPECT_EQ(F(l), (Fields{huge, u"e"}));
}

TEST(UStringList, Iterators) {
    VynUStringList l = L({u"1", u"2", u"3"});
    Fields fwd, rev, crev;
    for (auto it = l.begin(); it != l.end(); ++it) fwd.push_back(S(*it));
    for (auto it = l.rbegin(); it != l.rend(); ++it) rev.push_back(S(*it));
    VynUStringList const& cl = l;
    for (auto it = cl.rbegin(); it != cl.rend(); ++it) crev.push_back(S(*it));
    EXPECT_EQ(fwd, (Fields{u"1", u"2", u"3"}));
    EXPECT_EQ(rev, (Fields{u"3", u"2", u"1"}));
    EXPECT_EQ(crev, rev);
    l.begin()->resize(2, static_cast<unsigned short>(u'!'));
    EXPECT_EQ(S(l.at(0)), u"1!");
    EXPECT_EQ(S(l[2]), u"3");
}

} // namespace
