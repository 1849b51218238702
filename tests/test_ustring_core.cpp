// VynUString storage, construction, assignment, byte rendering and access.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <vector>

#include "ustring_test_support.h"

namespace {

using Make = std::function<VynUString()>;

// 257 units fit the inline buffer; 258 take a heap array of exactly 259
// units (capacity 258 plus terminator: no rounding).
TEST(UStringStorage, InlineHeapBoundaryForEveryFillingConstructor) {
    std::vector<std::function<VynUString(unsigned long)>> builds = {
        [](unsigned long n) { return VynUString(u'x', n); },
        [](unsigned long n) { return VynUString(p16(u16string(n, u'x').c_str())); },
        [](unsigned long n) { return VynUString(p16(u16string(n, u'x').c_str()), n); },
        [](unsigned long n) { return U(u16string(n, u'x')); },
        [](unsigned long n) { return VynUString(VynUString(u'x', n)); },
        [](unsigned long n) { return VynUString(std::string(n, 'x').c_str(), VYNCS_UTF8); },
        [](unsigned long n) { return VynUString('x', n, VYNCS_UTF8); },
    };
    for (size_t i = 0; i < builds.size(); ++i) {
        for (unsigned long n : {257ul, 258ul}) {
            VynUString s = builds[i](n);
            EXPECT_EQ(S(s), u16string(n, u'x')) << i;
            EXPECT_EQ(s.capacity(), n) << "build " << i << " of " << n;
            expectWellFormed(s);
        }
    }
}

// Growth discards the text and never shrinks; a size whose byte count
// overflows throws before anything changes, and the string is destroyed (and
// reused) without a double release.
TEST(UStringStorage, Growth) {
    VynUString s(u'a', 10);
    s.AssureSpace(100); // fits: nothing happens
    EXPECT_EQ(S(s), u16string(10, u'a'));
    s.AssureSpace(300);
    EXPECT_EQ(s.length(), 0u);
    EXPECT_EQ(s.capacity(), 300u);
    s.assureSize(400); // releases the 300-unit array (LSan watches)
    s.erase();
    EXPECT_EQ(s.capacity(), 400u);
    expectWellFormed(s);
    for (unsigned long n : {npos, VynUString::MAX_LENGTH, ~0ul / 2}) {
        VynUString t(u'q', 300);
        EXPECT_THROW(t.AssureSpace(n), std::bad_array_new_length);
        EXPECT_EQ(S(t), u16string(300, u'q'));
        t = VynUString(u'r', 500);
        EXPECT_EQ(t.length(), 500u);
    }
    EXPECT_THROW(VynUString(u'x', npos), std::bad_array_new_length);
    EXPECT_THROW(VynUString('x', npos, VYNCS_UTF8), std::bad_array_new_length);
}

TEST(UStringConstruct, TextAndCapacity) {
    static unsigned short const five[] = {u'a', u'b', 0, u'c', u'd'};
    static unsigned short const bstr[6] = {5, u'a', u'b', 0, u'c', u'd'};
    static unsigned short const zeroBstr[2] = {0, u'z'};
    static std::uint32_t const w32[] = {0x41, 0xE9, 0}, w32abc[] = {0x41, 0x42, 0x43, 0},
                               w32sup[] = {0x1F600, 0};
    static VynPascalString emptyPascal = {{0, 'z'}}; // bytes after a zero length are ignored
    static char16_t const abc[] = u"abc";
    unsigned short const* nul16 = nullptr;
    char const* nul8 = nullptr;
    auto bstrOf = [](unsigned short const* b) { return reinterpret_cast<VynBSTR const*>(b); };
    auto c32 = [](std::uint32_t const* t) { return reinterpret_cast<char const*>(t); };
    VynUString const hello(p16(u"hello"));
    struct Case {
        Make make;
        u16string want;
        unsigned long capacity; // 0: not checked
    } const cases[] = {
        {[] { return VynUString(0); }, u"0", 0},
        {[] { return VynUString(-1); }, u"-1", 0},
        {[] { return VynUString(2147483647); }, u"2147483647", 0},
        {[] { return VynUString(-2147483647 - 1); }, u"-2147483648", 0},
        // The counted form stops at a zero unit but reserves the full count;
        // the pointer pair and the length-prefixed forms keep zero units.
        {[] { return VynUString(five, 5ul); }, u"ab", 0},
        {[] { return VynUString(p16(u"ab"), 300ul); }, u"ab", 300},
        {[] { return VynUString(five, five + 5); }, u16string(u"ab\0cd", 5), 0},
        {[&] { return VynUString(*bstrOf(bstr)); }, u16string(u"ab\0cd", 5), 0},
        {[&] { return VynUString(bstrOf(bstr)); }, u16string(u"ab\0cd", 5), 0},
        {[&] { return VynUString(*bstrOf(zeroBstr)); }, u"", 257},
        {[] { return VynUString(static_cast<VynBSTR const*>(nullptr)); }, u"", 257},
        // Null and empty inputs of every kind.
        {[] { return VynUString(); }, u"", 257},
        {[] { return VynUString('\0', VYNCS_UTF8); }, u"", 257},
        {[] { return VynUString('\0', 5ul, VYNCS_UTF8); }, u"", 257},
        {[] { return VynUString('x', 0ul, VYNCS_UTF8); }, u"", 257},
        {[] { return VynUString(static_cast<unsigned short>(0)); }, u"", 257},
        {[] { return VynUString(static_cast<unsigned short>(0), 5ul); }, u"", 257},
        {[] { return VynUString(u'x', 0ul); }, u"", 257},
        {[&] { return VynUString(nul8, VYNCS_UTF8); }, u"", 257},
        {[&] { return VynUString(nul8, 5ul, VYNCS_UTF8); }, u"", 257},
        {[] { return VynUString("", VYNCS_UTF8); }, u"", 257},
        {[] { return VynUString("abc", 0ul, VYNCS_UTF8); }, u"", 257},
        {[] { return VynUString(p16(u"")); }, u"", 257},
        {[&] { return VynUString(nul16); }, u"", 257},
        {[&] { return VynUString(nul16, 5ul); }, u"", 257},
        {[&] { return VynUString(nul16, nul16); }, u"", 257},
        {[] { return VynUString(p16(abc), p16(abc)); }, u"", 257},
        {[] { return VynUString(nullptr, p16(abc)); }, u"", 257},
        {[] { return VynUString(p16(abc), nullptr); }, u"", 257},
        {[&] { return VynUString(emptyPascal, VYNCS_UTF8); }, u"", 257},
        {[] { return VynUString(static_cast<VynPascalString const*>(nullptr), VYNCS_UTF8); }, u"",
         257},
        // Bytes.
        {[] { return VynUString('\x80', VYNCS_UTF8); }, u"", 257}, // a stray continuation
        {[] { return VynUString("h\xC3\xA9llo", VYNCS_UTF8); }, u"h\u00E9llo", 0},
        {[] { return VynUString('A', VYNCS_UTF8); }, u"A", 0},
        {[] { return VynUString('z', 3ul, VYNCS_UTF8); }, u"zzz", 0},
        {[] { return VynUString("abcdef", 3ul, VYNCS_UTF8); }, u"abc", 0},
        {[] { return VynUString("ab\0cd", 5ul, VYNCS_UTF8); }, u"ab", 0},
        {[] { return VynUString("a\xC3\xA9", 2ul, VYNCS_UTF8); }, u"a", 0},
        {[] { return VynUString("abc", npos, VYNCS_UTF8); }, u"abc", 0},
        {[&] { return VynUString(c32(w32), VYNCS_UTF32); }, u"A\u00E9", 0},
        {[&] { return VynUString(c32(w32abc), 8ul, VYNCS_UTF32); }, u"AB", 0},
        // The UTF-32 count is one per value, so a supplementary character
        // finds no room for its pair.
        {[&] { return VynUString(c32(w32sup), VYNCS_UTF32); }, u"", 0},
        // Substrings.
        {[&] { return VynUString(hello, 0, npos); }, u"hello", 0},
        {[&] { return VynUString(hello, 0, 99); }, u"hello", 0},
        {[&] { return VynUString(hello, 1, 2); }, u"el", 0},
        {[&] { return VynUString(hello, 4, 100); }, u"o", 0},
        {[&] { return VynUString(hello, 5, 3); }, u"", 0},
        {[&] { return VynUString(hello, 10, 2); }, u"", 0},
    };
    for (auto const& c : cases) {
        VynUString s = c.make();
        EXPECT_EQ(S(s), c.want) << "case " << (&c - cases);
        if (c.capacity) {
            EXPECT_EQ(s.capacity(), c.capacity) << "case " << (&c - cases);
        }
        expectWellFormed(s);
    }
    VynUString a;
    a = *bstrOf(bstr);
    EXPECT_EQ(S(a), u16string(u"ab\0cd", 5));
    // A pair given the wrong way round is the caller's bug: its count wraps
    // and the allocation refuses it instead of yielding an empty string.
    EXPECT_THROW(VynUString(p16(abc) + 2, p16(abc)), std::bad_array_new_length);
    EXPECT_THROW(VynUString(p16(abc) + 1, p16(abc)), std::bad_array_new_length);
}

// Counted byte texts are read no further than their count, even where the
// caller's buffer has no terminator (ASan checks the exact-size arrays).
TEST(UStringConstruct, CountedBytesStayInsideTheCallersBuffer) {
    for (unsigned long len : {3ul, 4000ul, 5000ul}) {
        std::unique_ptr<char[]> buf(new char[len]);
        std::memset(buf.get(), 'k', len);
        buf[len - 1] = '\xE2'; // a lead byte whose continuation lies beyond
        VynUString s(buf.get(), len, VYNCS_UTF8);
        EXPECT_EQ(s.length(), len - 1);
        expectWellFormed(s);
    }
    // One and a half UTF-32 values, unterminated: the half value is not read.
    std::unique_ptr<char[]> w(new char[6]);
    std::memcpy(w.get(), "A\0\0\0B\0", 6);
    EXPECT_EQ(S(VynUString(w.get(), 6ul, VYNCS_UTF32)), u"A");

    std::unique_ptr<VynPascalString> p(new VynPascalString);
    std::memset(p->m_aData, 'a', sizeof p->m_aData);
    p->m_aData[0] = 255; // the whole struct is text: no terminator anywhere
    p->m_aData[255] = '\xF0';
    EXPECT_EQ(S(VynUString(*p, VYNCS_UTF8)), u16string(254, u'a'));
    p->m_aData[0] = 5;
    std::memcpy(p->m_aData + 1, "hello", 5);
    EXPECT_EQ(S(VynUString(p.get(), VYNCS_UTF8)), u"hello");
    VynUString assigned(u'x', 300);
    assigned = p.get();
    EXPECT_EQ(S(assigned), u"hello");
    assigned = static_cast<VynPascalString const*>(nullptr);
    EXPECT_TRUE(assigned.empty());
}

// Assigning a shorter string to one on the heap brings it back to the inline
// buffer; the heap array it leaves is released (LSan watches).
TEST(UStringAssign, AssignReturnsToInlineBuffer) {
    VynUString big(u'b', 1000), small(p16(u"tiny"));
    big.assign(small);
    EXPECT_EQ(big.capacity(), 257u);
    EXPECT_EQ(S(big), u"tiny");
    small = VynUString(u'c', 600);
    EXPECT_EQ(small.capacity(), 600u);
    big.assign(big);
    big.swap(small);
    EXPECT_EQ(S(big), u16string(600, u'c'));
    EXPECT_EQ(S(small), u"tiny");
    expectWellFormed(big);
    expectWellFormed(small);
    // A string may be assigned its own rendering or units: they are read
    // before the old storage goes.
    VynUString m(u'm', 400);
    m = m.c_str();
    EXPECT_EQ(S(m), u16string(400, u'm'));
    m = m.data() + 390;
    EXPECT_EQ(S(m), u16string(10, u'm'));
}

// Only operator=(char) keeps a byte text cached before it; every other
// assignment and erase() drop it, so c_str renders the new text.
TEST(UStringAssign, CachedByteTextAfterEachAssignment) {
    static unsigned short const bstr[3] = {2, u'n', u'w'};
    static VynPascalString const pas = {{2, 'n', 'w'}};
    struct Case {
        std::function<void(VynUString&)> op;
        char const* cStrAfter;
    } const cases[] = {
        {[](VynUString& s) { s = 'n'; }, "old"},
        {[](VynUString& s) { s = static_cast<unsigned short>(u'n'); }, "n"},
        {[](VynUString& s) { s = "nw"; }, "nw"},
        {[](VynUString& s) { s = p16(u"nw"); }, "nw"},
        {[](VynUString& s) { s = *reinterpret_cast<VynBSTR const*>(bstr); }, "nw"},
        {[](VynUString& s) { s = &pas; }, "nw"},
        {[](VynUString& s) { s.assign(U(u"nw")); }, "nw"},
        {[](VynUString& s) {
             VynUString o = U(u"nw");
             s.swap(o);
         },
         "nw"},
        {[](VynUString& s) { s.erase(); }, ""},
        {[](VynUString& s) { s = '\0'; }, ""},
    };
    for (auto const& c : cases) {
        VynUString s(p16(u"old"));
        EXPECT_STREQ(s.c_str(VYNCS_UTF8), "old");
        c.op(s);
        EXPECT_STREQ(s.c_str(VYNCS_UTF8), c.cStrAfter) << "case " << (&c - cases);
        expectWellFormed(s);
    }
}

TEST(UStringAccess, RenderingsLengthsAndCharacterCount) {
    struct Case {
        u16string text;
        std::string utf8;
        std::u32string utf32;
    } const cases[] = {
        {u"", "", U""},
        {u"abc", "abc", U"abc"},
        {u"\U0001F600x", "\xF0\x9F\x98\x80x", U"\U0001F600x"},
        {u"h\u00E9\u20AC", "h\xC3\xA9\xE2\x82\xAC", U"h\u00E9\u20AC"},
    };
    for (auto const& c : cases) {
        VynUString s = U(c.text);
        char const* a = s.c_str(VYNCS_UTF8);
        EXPECT_EQ(a, c.utf8);
        EXPECT_EQ(s.c_str(VYNCS_UTF8), a); // same set: the cached rendering again
        EXPECT_EQ(s.length(VYNCS_UTF8), c.utf8.size());
        EXPECT_EQ(std::memcmp(s.c_str(VYNCS_UTF16), c.text.c_str(), 2 * c.text.size() + 2), 0);
        EXPECT_EQ(s.length(VYNCS_UTF16), 2 * c.text.size());
        EXPECT_EQ(s.length(VYNCS_UTF32), 4 * c.utf32.size());
        EXPECT_EQ(s.numChars(), c.utf32.size());
        char const* q = s.c_str(VYNCS_UTF32);
        EXPECT_EQ(std::memcmp(q, c.utf32.c_str(), 4 * c.utf32.size() + 4), 0);
        EXPECT_EQ(s.numChars(), c.utf32.size()); // from the cache this time
    }
}

// size is the converter's capacity: up to size bytes of text, the set's
// terminator behind them, never a split character.
TEST(UStringAccess, CopyToBytesTakesSizeAsCapacity) {
    VynUString s(p16(u"h\u00E9llo"));
    struct Case {
        VynCharSet cs;
        unsigned long size, result;
        std::string bytes; // what lands in dst, terminator included
    } const cases[] = {
        {VYNCS_UTF8, 1, 1, std::string("h\0", 2)},
        {VYNCS_UTF8, 2, 1, std::string("h\0", 2)},
        {VYNCS_UTF8, 3, 3, std::string("h\xC3\xA9\0", 4)},
        {VYNCS_UTF8, 6, 6, std::string("h\xC3\xA9llo\0", 7)},
        {VYNCS_ISO_8859_1, 2, 2, std::string("h\xE9\0", 3)},
        {VYNCS_UTF16, 4, 4, std::string("h\0\xE9\0\0\0", 6)},
        {VYNCS_UTF16, 5, 4, std::string("h\0\xE9\0\0\0", 6)},
        {VYNCS_UTF32, 3, 0, std::string(4, '\0')},
        {VYNCS_UTF32, 4, 4, std::string("h\0\0\0\0\0\0\0", 8)},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(std::to_string(c.cs) + " size " + std::to_string(c.size));
        std::vector<char> buf(c.size + 16, '#');
        EXPECT_EQ(s.copy(buf.data(), c.size, c.cs), c.result);
        EXPECT_EQ(std::string(buf.data(), c.bytes.size()), c.bytes);
        for (size_t i = c.bytes.size(); i < buf.size(); ++i) ASSERT_EQ(buf[i], '#') << i;
    }
    char one = '#';
    EXPECT_EQ(s.copy(&one, 0, VYNCS_UTF8), 0u);
    EXPECT_EQ(s.copy(static_cast<char*>(nullptr), 10, VYNCS_UTF8), 0u);
    EXPECT_EQ(VynUString().copy(&one, 1, VYNCS_UTF8), 0u);
    EXPECT_EQ(one, '#');
}

// The Pascal form gets up to 255 text bytes whatever the terminator width;
// the length-prefixed form takes the length modulo 65536 before max applies.
TEST(UStringAccess, CopyToPascalAndBstr) {
    struct PCase {
        u16string text;
        VynCharSet cs;
        unsigned long want;
    } const pcases[] = {
        {u"", VYNCS_UTF8, 0},
        {u"hi", VYNCS_UTF8, 2},
        {u16string(300, u'a'), VYNCS_UTF8, 255},
        {u16string(300, u'\u00E9'), VYNCS_UTF8, 254},
        {u16string(300, u'a'), VYNCS_UTF16, 254},
        {u16string(300, u'a'), VYNCS_UTF32, 252},
    };
    for (auto const& c : pcases) {
        VynPascalString p;
        std::memset(p.m_aData, 0x5A, sizeof p.m_aData);
        VynUString s = U(c.text);
        EXPECT_EQ(s.copy(&p, c.cs), c.want) << c.text.size() << " in " << c.cs;
        EXPECT_EQ(p.m_aData[0], c.want);
        char expect[260];
        unsigned long r = s.copy(expect, sizeof expect - 4, c.cs); // room for any terminator
        EXPECT_EQ(std::memcmp(p.m_aData + 1, expect, std::min(r, c.want)), 0);
    }
    struct BCase {
        unsigned long length, max, want;
    } const bcases[] = {{5, 3, 3},      {5, 10, 5},     {0, 10, 0}, {70000, 100000, 4464},
                        {65536, 10, 0}, {70000, 70, 70}};
    for (auto const& c : bcases) {
        VynUString s(u'v', c.length);
        std::vector<unsigned short> buf(c.want + 4, 0xEEEE);
        auto* b = reinterpret_cast<VynBSTR*>(buf.data());
        EXPECT_EQ(s.copy(b, c.max), c.want) << c.length << " max " << c.max;
        EXPECT_EQ(b->m_uLength, c.want);
        EXPECT_EQ(u16string(b->text(), b->text() + c.want), u16string(c.want, u'v'));
        EXPECT_EQ(buf[c.want + 1], 0xEEEE);
    }
    EXPECT_EQ(VynUString(u'v', 3).copy(static_cast<VynBSTR*>(nullptr), 3), 0u);
    EXPECT_EQ(VynUString(u'x', 1).copy(static_cast<VynPascalString*>(nullptr), VYNCS_UTF8), 0u);
}

TEST(UStringAccess, IndexingAndErrorTexts) {
    VynUString s(p16(u"ab\U0001F600"));
    VynUString const& cs = s;
    EXPECT_EQ(cs.at(3), 0xDE00);
    s.at(1) = u'B';
    EXPECT_EQ(cs.at(1), u'B');
    EXPECT_EQ(s.at_utf32(2), 0x1F600u);
    EXPECT_EQ(s.at_utf32(1), static_cast<unsigned>(u'B'));
    EXPECT_EQ(thrown([&] { s.at(4); }), kRange);
    EXPECT_EQ(thrown([&] { cs.at(npos); }), kRange);
    EXPECT_EQ(thrown([&] { s.at_utf32(3); }), kRange);
    EXPECT_EQ(thrown([] { VynUString().at_utf32(0); }), kRange);
    EXPECT_EQ(thrown([] { VynUString::range_error(); }), kRange);
    EXPECT_EQ(thrown([] { VynUString::length_error(); }), kLength);
    // After erase() the old UTF-32 byte count must not be trusted: the cache
    // it describes is gone.
    s.erase();
    EXPECT_EQ(thrown([&] { s.at_utf32(0); }), kRange);
}

} // namespace
