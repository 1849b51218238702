// VynUString storage, construction, assignment, byte rendering and access.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <vynulib/string/VynUString.h>

namespace {

using U16 = std::vector<unsigned short>;

U16 units(VynUString const& s) {
    return U16(s.data(), s.data() + s.length());
}

U16 units(std::u16string const& t) {
    return U16(t.begin(), t.end());
}

unsigned short const* p16(char16_t const* t) {
    return reinterpret_cast<unsigned short const*>(t);
}

unsigned short const* p16(std::u16string const& t) {
    return p16(t.c_str());
}

// Every string must keep its terminator inside the buffer it owns.
void expectWellFormed(VynUString const& s) {
    ASSERT_LE(s.length(), s.capacity());
    EXPECT_EQ(s.data()[s.length()], 0);
    EXPECT_EQ(s.onHeap(), s.capacity() > VynUString::INLINE_CAPACITY);
}

template <class F> std::string outOfRangeText(F f) {
    try {
        f();
    } catch (std::out_of_range const& e) {
        return e.what();
    }
    return "(nothing thrown)";
}

const char16_t kAbc[] = u"abc";

} // namespace

// 257 units fit the inline buffer; 258 take a heap array of exactly 259
// units (capacity 258 plus terminator: no rounding).
TEST(UStringStorage, InlineHeapBoundaryForEveryFillingConstructor) {
    struct Build {
        char const* name;
        std::function<VynUString(unsigned long)> make;
    };
    std::vector<Build> builds = {
        {"repeat", [](unsigned long n) { return VynUString(u'x', n); }},
        {"terminated",
         [](unsigned long n) {
             std::u16string t(n, u'x');
             return VynUString(p16(t));
         }},
        {"counted",
         [](unsigned long n) {
             std::u16string t(n, u'x');
             return VynUString(p16(t), n);
         }},
        {"pair",
         [](unsigned long n) {
             std::u16string t(n, u'x');
             return VynUString(p16(t), p16(t) + n);
         }},
        {"copy",
         [](unsigned long n) {
             VynUString o(u'x', n);
             return VynUString(o);
         }},
        {"bytes",
         [](unsigned long n) { return VynUString(std::string(n, 'x').c_str(), VYNCS_UTF8); }},
        {"byte run", [](unsigned long n) { return VynUString('x', n, VYNCS_UTF8); }},
    };
    for (auto const& b : builds) {
        for (unsigned long n : {257ul, 258ul}) {
            SCOPED_TRACE(std::string(b.name) + " " + std::to_string(n));
            VynUString s = b.make(n);
            EXPECT_EQ(s.length(), n);
            EXPECT_EQ(s.capacity(), n == 257 ? 257u : 258u);
            EXPECT_EQ(s.onHeap(), n == 258);
            expectWellFormed(s);
        }
    }
}

TEST(UStringStorage, GrowthDiscardsTextAndNeverShrinks) {
    VynUString s(u'a', 10);
    s.AssureSpace(100); // fits: nothing happens
    EXPECT_EQ(units(s), U16(10, u'a'));
    s.AssureSpace(300);
    EXPECT_EQ(s.length(), 0u);
    EXPECT_EQ(s.capacity(), 300u);
    EXPECT_TRUE(s.onHeap());
    s.assureSize(400); // releases the 300-unit array (LSan watches)
    EXPECT_EQ(s.capacity(), 400u);
    s.erase();
    EXPECT_EQ(s.capacity(), 400u);
    expectWellFormed(s);
}

// Sizes whose byte count overflows fail before anything changes, and the
// string is destroyed (and reused) without a double release.
TEST(UStringStorage, UnsizableGrowthThrowsAndLeavesStringIntact) {
    for (unsigned long n : {VynUString::npos, VynUString::MAX_LENGTH, ~0ul / 2}) {
        VynUString s(u'q', 300);
        EXPECT_THROW(s.AssureSpace(n), std::bad_array_new_length);
        EXPECT_EQ(units(s), U16(300, u'q'));
        s = VynUString(u'r', 500);
        EXPECT_EQ(s.length(), 500u);
    }
    EXPECT_THROW(VynUString(u'x', VynUString::npos), std::bad_array_new_length);
    EXPECT_THROW(VynUString('x', VynUString::npos, VYNCS_UTF8), std::bad_array_new_length);
}

TEST(UStringConstruct, IntegerText) {
    struct Case {
        int i;
        char const* text;
    } cases[] = {{0, "0"},
                 {7, "7"},
                 {-1, "-1"},
                 {2147483647, "2147483647"},
                 {-2147483647 - 1, "-2147483648"}};
    for (auto const& c : cases) {
        VynUString s(c.i);
        EXPECT_EQ(units(s), U16(c.text, c.text + std::strlen(c.text))) << c.i;
    }
}

// The counted constructor stops at a zero unit; the pointer pair and the
// length-prefixed form keep zero units.
TEST(UStringConstruct, EmbeddedZeroUnits) {
    unsigned short const five[] = {u'a', u'b', 0, u'c', u'd'};
    EXPECT_EQ(units(VynUString(five, 5ul)), (U16{u'a', u'b'}));
    EXPECT_EQ(units(VynUString(five, five + 5)), U16(five, five + 5));
    unsigned short bstr[6] = {5, u'a', u'b', 0, u'c', u'd'};
    auto const* b = reinterpret_cast<VynBSTR const*>(bstr);
    EXPECT_EQ(units(VynUString(*b)), U16(five, five + 5));
    EXPECT_EQ(units(VynUString(b)), U16(five, five + 5));
    VynUString a;
    a = *b;
    EXPECT_EQ(units(a), U16(five, five + 5));
    expectWellFormed(a);
}

TEST(UStringConstruct, CountedFormReservesTheFullCount) {
    VynUString s(p16(u"ab"), 300ul);
    EXPECT_EQ(units(s), (U16{u'a', u'b'}));
    EXPECT_EQ(s.capacity(), 300u);
}

TEST(UStringConstruct, NullAndEmptyInputsGiveEmptyStrings) {
    unsigned short const* nul16 = nullptr;
    char const* nul8 = nullptr;
    VynPascalString emptyPascal = {};
    emptyPascal.m_aData[1] = 'z'; // bytes after a zero length are ignored
    unsigned short zeroBstr[2] = {0, u'z'};
    std::vector<std::function<VynUString()>> makers = {
        [] { return VynUString(); },
        [] { return VynUString('\0', VYNCS_UTF8); },
        [] { return VynUString('\0', 5ul, VYNCS_UTF8); },
        [] { return VynUString('x', 0ul, VYNCS_UTF8); },
        [] { return VynUString(static_cast<unsigned short>(0)); },
        [] { return VynUString(static_cast<unsigned short>(0), 5ul); },
        [] { return VynUString(u'x', 0ul); },
        [&] { return VynUString(nul8, VYNCS_UTF8); },
        [&] { return VynUString(nul8, 5ul, VYNCS_UTF8); },
        [] { return VynUString("", VYNCS_UTF8); },
        [] { return VynUString("abc", 0ul, VYNCS_UTF8); },
        [&] { return VynUString(nul16); },
        [&] { return VynUString(nul16, 5ul); },
        [&] { return VynUString(nul16, nul16); },
        [] { return VynUString(p16(u"")); },
        [] { return VynUString(p16(kAbc), p16(kAbc)); },
        // A reversed pair would wrap to an enormous count.
        [] { return VynUString(p16(kAbc) + 2, p16(kAbc)); },
        [&] { return VynUString(emptyPascal, VYNCS_UTF8); },
        [] { return VynUString(static_cast<VynPascalString const*>(nullptr), VYNCS_UTF8); },
        [&] { return VynUString(*reinterpret_cast<VynBSTR const*>(zeroBstr)); },
        [] { return VynUString(static_cast<VynBSTR const*>(nullptr)); },
        // One stray continuation byte decodes to nothing.
        [] { return VynUString('\x80', VYNCS_UTF8); },
    };
    for (size_t i = 0; i < makers.size(); ++i) {
        VynUString s = makers[i]();
        EXPECT_EQ(s.length(), 0u) << "maker " << i;
        EXPECT_EQ(s.capacity(), 257u) << "maker " << i;
        expectWellFormed(s);
    }
}

TEST(UStringConstruct, FromBytes) {
    struct Case {
        char const* name;
        std::function<VynUString()> make;
        std::u16string want;
    } cases[] = {
        {"utf8", [] { return VynUString("h\xC3\xA9llo", VYNCS_UTF8); }, u"h\u00E9llo"},
        {"char", [] { return VynUString('A', VYNCS_UTF8); }, u"A"},
        {"char run", [] { return VynUString('z', 3ul, VYNCS_UTF8); }, u"zzz"},
        {"len", [] { return VynUString("abcdef", 3ul, VYNCS_UTF8); }, u"abc"},
        {"len stops at NUL", [] { return VynUString("ab\0cd", 5ul, VYNCS_UTF8); }, u"ab"},
        {"len cuts a sequence", [] { return VynUString("a\xC3\xA9", 2ul, VYNCS_UTF8); }, u"a"},
        {"len all bits", [] { return VynUString("abc", VynUString::npos, VYNCS_UTF8); }, u"abc"},
        {"utf32",
         [] {
             static const std::uint32_t t[] = {0x41, 0xE9, 0};
             return VynUString(reinterpret_cast<char const*>(t), VYNCS_UTF32);
         },
         u"A\u00E9"},
        {"utf32 len",
         [] {
             static const std::uint32_t t[] = {0x41, 0x42, 0x43, 0};
             return VynUString(reinterpret_cast<char const*>(t), 8ul, VYNCS_UTF32);
         },
         u"AB"},
        // The UTF-32 count is one per value, so a supplementary character
        // finds no room for its pair and the string stays empty.
        {"utf32 supplementary",
         [] {
             static const std::uint32_t t[] = {0x1F600, 0};
             return VynUString(reinterpret_cast<char const*>(t), VYNCS_UTF32);
         },
         u""},
    };
    for (auto const& c : cases) {
        VynUString s = c.make();
        EXPECT_EQ(units(s), units(c.want)) << c.name;
        expectWellFormed(s);
    }
}

// A counted byte text is read no further than its count, even where the
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
    EXPECT_EQ(units(VynUString(w.get(), 6ul, VYNCS_UTF32)), U16{u'A'});
}

TEST(UStringConstruct, PascalStrings) {
    std::unique_ptr<VynPascalString> p(new VynPascalString);
    std::memset(p->m_aData, 'a', sizeof p->m_aData);
    p->m_aData[0] = 255; // the whole struct is text: no terminator anywhere
    p->m_aData[255] = '\xF0';
    VynUString full(*p, VYNCS_UTF8);
    EXPECT_EQ(units(full), U16(254, u'a'));
    p->m_aData[0] = 5;
    std::memcpy(p->m_aData + 1, "hello", 5);
    EXPECT_EQ(units(VynUString(p.get(), VYNCS_UTF8)), units(u"hello"));
    VynUString assigned(u'x', 300);
    assigned = p.get();
    EXPECT_EQ(units(assigned), units(u"hello"));
    assigned = static_cast<VynPascalString const*>(nullptr);
    EXPECT_TRUE(assigned.empty());
}

TEST(UStringConstruct, Substring) {
    VynUString hello(p16(u"hello"));
    struct Case {
        unsigned long p, n;
        std::u16string want;
    } cases[] = {
        {0, VynUString::npos, u"hello"},
        {0, 5, u"hello"},
        {0, 99, u"hello"},
        {1, 2, u"el"},
        {4, 100, u"o"},
        {5, 0, u""},
        {5, 3, u""},
        {10, 2, u""},
    };
    for (auto const& c : cases) {
        VynUString s(hello, c.p, c.n);
        EXPECT_EQ(units(s), units(c.want)) << c.p << "," << c.n;
        expectWellFormed(s);
    }
}

// Assigning a shorter string to one on the heap brings it back to the inline
// buffer; the heap array it leaves is released (LSan watches).
TEST(UStringAssign, AssignReturnsToInlineBuffer) {
    VynUString big(u'b', 1000), small(p16(u"tiny"));
    big.assign(small);
    EXPECT_FALSE(big.onHeap());
    EXPECT_EQ(big.capacity(), 257u);
    EXPECT_EQ(units(big), units(u"tiny"));
    small = VynUString(u'c', 600);
    EXPECT_EQ(small.capacity(), 600u);
    big.assign(big);
    EXPECT_EQ(units(big), units(u"tiny"));
    big.swap(small);
    EXPECT_EQ(units(big), U16(600, u'c'));
    EXPECT_EQ(units(small), units(u"tiny"));
    expectWellFormed(big);
    expectWellFormed(small);
}

// Only operator=(char) keeps a byte text cached before it; every other
// assignment and erase() drop it, so c_str renders the new text.
TEST(UStringAssign, CachedByteTextAfterEachAssignment) {
    unsigned short bstr[3] = {2, u'n', u'w'};
    VynPascalString pas = {};
    pas.m_aData[0] = 2;
    pas.m_aData[1] = 'n';
    pas.m_aData[2] = 'w';
    VynUString other(p16(u"nw"));
    struct Case {
        char const* name;
        std::function<void(VynUString&)> op;
        char const* cStrAfter;
    } cases[] = {
        {"char", [](VynUString& s) { s = 'n'; }, "old"},
        {"unit", [](VynUString& s) { s = static_cast<unsigned short>(u'n'); }, "n"},
        {"bytes", [](VynUString& s) { s = "nw"; }, "nw"},
        {"units", [](VynUString& s) { s = p16(u"nw"); }, "nw"},
        {"bstr", [&](VynUString& s) { s = *reinterpret_cast<VynBSTR const*>(bstr); }, "nw"},
        {"pascal", [&](VynUString& s) { s = &pas; }, "nw"},
        {"assign", [&](VynUString& s) { s.assign(other); }, "nw"},
        {"swap",
         [&](VynUString& s) {
             VynUString o(other);
             s.swap(o);
         },
         "nw"},
        {"erase", [](VynUString& s) { s.erase(); }, ""},
        {"zero char", [](VynUString& s) { s = '\0'; }, ""},
    };
    for (auto const& c : cases) {
        VynUString s(p16(u"old"));
        char const* before = s.c_str(VYNCS_UTF8);
        EXPECT_STREQ(before, "old");
        c.op(s);
        EXPECT_STREQ(s.c_str(VYNCS_UTF8), c.cStrAfter) << c.name;
        expectWellFormed(s);
    }
}

// A string may be assigned its own rendering: the cache is released only
// after it has been read.
TEST(UStringAssign, FromOwnCachedBytes) {
    VynUString s(u'm', 400);
    s = s.c_str();
    EXPECT_EQ(units(s), U16(400, u'm'));
    s = s.data() + 390;
    EXPECT_EQ(units(s), U16(10, u'm'));
}

TEST(UStringAccess, CStrCacheLifetime) {
    VynUString empty;
    char const* e = empty.c_str(VYNCS_UTF32);
    EXPECT_EQ(std::memcmp(e, "\0\0\0\0", 4), 0);
    VynUString s(p16(u"h\u00E9"));
    char const* a = s.c_str(VYNCS_UTF8);
    EXPECT_STREQ(a, "h\xC3\xA9");
    EXPECT_EQ(s.c_str(VYNCS_UTF8), a); // same set: same pointer, no new conversion
    char const* w = s.c_str(VYNCS_UTF16);
    EXPECT_EQ(std::memcmp(w, u"h\u00E9", 6), 0);
    char const* q = s.c_str(VYNCS_UTF32);
    static const std::uint32_t want[] = {u'h', 0xE9, 0};
    EXPECT_EQ(std::memcmp(q, want, sizeof want), 0);
}

TEST(UStringAccess, LengthsAndCharacterCount) {
    struct Case {
        std::u16string text;
        unsigned long utf8, utf16, utf32, chars;
    } cases[] = {
        {u"", 0, 0, 0, 0},
        {u"abc", 3, 6, 12, 3},
        {u"\U0001F600x", 5, 6, 8, 2},
        {u"\u00E9\u20AC", 5, 4, 8, 2},
    };
    for (auto const& c : cases) {
        VynUString s(p16(c.text));
        EXPECT_EQ(s.length(VYNCS_UTF8), c.utf8);
        EXPECT_EQ(s.length(VYNCS_UTF16), c.utf16);
        EXPECT_EQ(s.length(VYNCS_UTF32), c.utf32);
        EXPECT_EQ(s.numChars(), c.chars);
        s.c_str(VYNCS_UTF32); // from the cache this time
        EXPECT_EQ(s.numChars(), c.chars);
    }
}

// Byte copies never write past dst[size - 1]: the converter gets the size
// less its terminator as capacity.
TEST(UStringAccess, CopyToBytesStaysInsideTheBuffer) {
    VynUString s(p16(u"h\u00E9llo"));
    struct Case {
        VynCharSet cs;
        unsigned long size, result;
        std::string bytes; // what lands in dst, terminator included
    } cases[] = {
        {VYNCS_UTF8, 1, 0, std::string(1, '\0')},
        {VYNCS_UTF8, 3, 1, std::string("h\0", 2)},
        {VYNCS_UTF8, 4, 3, std::string("h\xC3\xA9\0", 4)},
        {VYNCS_UTF8, 7, 6, std::string("h\xC3\xA9llo\0", 7)},
        {VYNCS_UTF16, 1, 0, ""},
        {VYNCS_UTF16, 5, 2, std::string("h\0\0\0", 4)},
        {VYNCS_UTF32, 3, 0, ""},
        {VYNCS_UTF32, 4, 0, std::string(4, '\0')},
        {VYNCS_UTF32, 9, 4, std::string("h\0\0\0\0\0\0\0", 8)},
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

// The Pascal form gets up to 255 text bytes whatever the terminator width.
TEST(UStringAccess, CopyToPascal) {
    struct Case {
        std::u16string text;
        VynCharSet cs;
        unsigned long want;
    } cases[] = {
        {u"", VYNCS_UTF8, 0},
        {u"hi", VYNCS_UTF8, 2},
        {std::u16string(300, u'a'), VYNCS_UTF8, 255},
        {std::u16string(300, u'\u00E9'), VYNCS_UTF8, 254},
        {std::u16string(300, u'a'), VYNCS_UTF16, 254},
        {std::u16string(300, u'a'), VYNCS_UTF32, 252},
    };
    for (auto const& c : cases) {
        VynPascalString p;
        std::memset(p.m_aData, 0x5A, sizeof p.m_aData);
        VynUString s(p16(c.text));
        EXPECT_EQ(s.copy(&p, c.cs), c.want) << c.text.size() << " in " << c.cs;
        EXPECT_EQ(p.m_aData[0], c.want);
        char expect[260];
        unsigned long r = s.copy(expect, sizeof expect, c.cs);
        EXPECT_EQ(std::memcmp(p.m_aData + 1, expect, std::min(r, c.want)), 0);
    }
    EXPECT_EQ(VynUString(p16(u"x")).copy(static_cast<VynPascalString*>(nullptr), VYNCS_UTF8), 0u);
}

// The length is taken modulo 65536 before max applies.
TEST(UStringAccess, CopyToBstr) {
    struct Case {
        unsigned long length, max, want;
    } cases[] = {
        {5, 3, 3},      {5, 5, 5},       {5, 10, 5}, {0, 10, 0}, {70000, 100000, 4464},
        {65536, 10, 0}, {70000, 70, 70},
    };
    for (auto const& c : cases) {
        VynUString s(u'v', c.length);
        std::vector<unsigned short> buf(c.want + 4, 0xEEEE);
        auto* b = reinterpret_cast<VynBSTR*>(buf.data());
        EXPECT_EQ(s.copy(b, c.max), c.want) << c.length << " max " << c.max;
        EXPECT_EQ(b->m_uLength, c.want);
        EXPECT_EQ(U16(b->text(), b->text() + c.want), U16(c.want, u'v'));
        EXPECT_EQ(buf[c.want + 1], 0xEEEE);
    }
    EXPECT_EQ(VynUString(u'v', 3).copy(static_cast<VynBSTR*>(nullptr), 3), 0u);
}

TEST(UStringAccess, IndexingAndErrorTexts) {
    VynUString s(p16(u"ab\U0001F600"));
    VynUString const& cs = s;
    EXPECT_EQ(s.at(0), u'a');
    EXPECT_EQ(cs.at(3), 0xDE00);
    s.at(1) = u'B';
    EXPECT_EQ(cs.at(1), u'B');
    EXPECT_EQ(s.at_utf32(2), 0x1F600u);
    EXPECT_EQ(s.at_utf32(1), static_cast<unsigned>(u'B'));

    char const* const text = "invalid string index given";
    EXPECT_EQ(outOfRangeText([&] { s.at(4); }), text);
    EXPECT_EQ(outOfRangeText([&] { cs.at(VynUString::npos); }), text);
    EXPECT_EQ(outOfRangeText([&] { s.at_utf32(3); }), text);
    EXPECT_EQ(outOfRangeText([] { VynUString().at_utf32(0); }), text);
    EXPECT_EQ(outOfRangeText([] { VynUString::range_error(); }), text);
    try {
        VynUString::length_error();
        FAIL();
    } catch (std::length_error const& e) {
        EXPECT_STREQ(e.what(), "exceed maximum string length");
    }
    // After erase() the old UTF-32 byte count must not be trusted: the cache
    // it describes is gone.
    s.erase();
    EXPECT_EQ(outOfRangeText([&] { s.at_utf32(0); }), text);
}
