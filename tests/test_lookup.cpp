// Sparse lookup tables and the lazily built tables of the multibyte bases.
#include <gtest/gtest.h>

#include <vynulib/internal/LookupTable.h>
#include <vynulib/converters/VynCharSetConverterMBCS.h>

namespace {

template <class Table> bool allPagesShared(Table const& t) {
    for (unsigned hi = 0; hi < 256; ++hi)
        if (t.page(hi) != Table::m_gNullTable) return false;
    return true;
}

template <class T> bool nullPageClean() {
    for (T v : LookupTable<T>::m_gNullTable)
        if (v != 0) return false;
    return true;
}

TEST(LookupTable, EmptySlotsShareOneZeroPage) {
    LookupTable<unsigned short> a, b;
    EXPECT_TRUE(allPagesShared(a));
    EXPECT_EQ(a.page(0), b.page(0x7F));
    for (unsigned key : {0u, 0x41u, 0x8140u, 0xFFFFu}) EXPECT_EQ(0, a.lookup(key));
    EXPECT_EQ(0u, a.pageCount()); // a lookup allocates nothing

    a.insert(0x8140, 0x3000);
    a.insert(0x8141, 0x3001);
    a.insert(0x8140, 0x3002); // a later store wins
    EXPECT_EQ(1u, a.pageCount());
    EXPECT_EQ(0x3002, a.lookup(0x8140));
    EXPECT_EQ(0x3001, a.lookup(0x8141));
    EXPECT_EQ(0, a.lookup(0x8142));
    EXPECT_EQ(0, a.lookup(0x4140)); // same low byte, other page
    EXPECT_NE(a.page(0x81), LookupTable<unsigned short>::m_gNullTable);
    EXPECT_TRUE(allPagesShared(b));
    EXPECT_TRUE(nullPageClean<unsigned short>());
}

TEST(LookupTable, EveryInstantiationKeepsItsNullPageZero) {
    LookupTable<unsigned char> c;
    LookupTable<unsigned int> i;
    c.insert(0x20AC, 0x80);
    i.insert(0x87A0, 0x2000B);
    EXPECT_EQ(0x80, c.lookup(0x20AC));
    EXPECT_EQ(0x2000Bu, i.lookup(0x87A0));
    EXPECT_EQ(0u, i.lookup(0x87A1));
    EXPECT_TRUE(nullPageClean<unsigned char>());
    EXPECT_TRUE(nullPageClean<unsigned int>());
}

TEST(LookupTableEx, PlanesAreKeptApart) {
    LookupTableEx<unsigned short> t;
    t.insert(0x0041, 0x41);
    t.insert(0x2000B, 0x87A0);
    t.insert(0x10FFFF, 0x1234);
    t.insert(0x110041, 0x9999); // beyond U+10FFFF: not stored
    t.insert(0xFFFFFFFFu, 0x9999);
    EXPECT_EQ(3u, t.pageCount());
    struct {
        unsigned key;
        unsigned short want;
    } const cases[] = {
        {0x0041, 0x41},     {0x2000B, 0x87A0}, {0x000B, 0},   {0x1000B, 0},     {0x3000B, 0},
        {0x10FFFF, 0x1234}, {0x110041, 0},     {0x210041, 0}, {0xFFFFFFFFu, 0},
    };
    for (auto const& k : cases) EXPECT_EQ(k.want, t.lookup(k.key)) << std::hex << k.key;
    for (unsigned short v : LookupTableEx<unsigned short>::m_gNullTable) ASSERT_EQ(0, v);
}

// The bases are abstract; these expose their tables and nothing more.
template <class Base> class Exposed : public Base {
public:
    using Base::Base;
    using Base::forwardTable;
    using Base::reverseTable;
    unsigned long getNumUnits(void const*, unsigned long) override { return 0; }
    unsigned long toUTF16(unsigned short*, void const*, unsigned long, ILLCHAR_OPTYPE, bool*,
                          int) override {
        return 0;
    }
    unsigned long getNumBytes(unsigned short const*, unsigned long) override { return 0; }
    unsigned long fromUTF16(void*, unsigned short const*, unsigned long, ILLCHAR_OPTYPE,
                            bool*) override {
        return 0;
    }
    int getMinUnitSize() const override { return 1; }
    int getMaxUnitSize() const override { return 2; }
    int getNullCharSize() const override { return 1; }
};
using Mbcs = Exposed<VynCharSetConverterMBCS>;
using MbcsEx = Exposed<VynCharSetConverterMBCSEx>;

TEST(MbcsBase, LoadBuildsOnceAndLaterRecordsWin) {
    static unsigned short const table[] = {0x41,   0x41,   0x8140, 0x3000, 0x8140,
                                           0x3001, 0x8141, 0x3001, 0,      0};
    Mbcs m(table, VYNCS_WCP932);
    EXPECT_EQ(nullptr, m.forwardTable());
    EXPECT_EQ(nullptr, m.reverseTable());
    m.load();
    auto const* fwd = m.forwardTable();
    auto const* rev = m.reverseTable();
    ASSERT_NE(nullptr, fwd);
    ASSERT_NE(nullptr, rev);
    EXPECT_EQ(0x41, fwd->lookup(0x41));
    EXPECT_EQ(0x3001, fwd->lookup(0x8140));
    EXPECT_EQ(0x3001, fwd->lookup(0x8141));
    EXPECT_EQ(0x8140, rev->lookup(0x3000));
    EXPECT_EQ(0x8141, rev->lookup(0x3001));
    EXPECT_EQ(0, rev->lookup(0x3002));
    unsigned pages = fwd->pageCount() + rev->pageCount();
    EXPECT_EQ(4u, pages);

    m.load(); // nothing rebuilt
    EXPECT_EQ(fwd, m.forwardTable());
    EXPECT_EQ(rev, m.reverseTable());
    EXPECT_EQ(pages, fwd->pageCount() + rev->pageCount());
}

TEST(MbcsBase, TerminatorOnlyAndNoTable) {
    static unsigned short const empty[] = {0, 0};
    Mbcs m(empty, VYNCS_WCP932);
    m.load();
    ASSERT_NE(nullptr, m.forwardTable());
    ASSERT_NE(nullptr, m.reverseTable());
    EXPECT_EQ(0u, m.forwardTable()->pageCount());
    EXPECT_EQ(0u, m.reverseTable()->pageCount());
    EXPECT_EQ(0, m.forwardTable()->lookup(0x8140));

    Mbcs named("cp932.map", VYNCS_WCP932);
    named.load();
    EXPECT_EQ(nullptr, named.forwardTable());
    EXPECT_EQ(nullptr, named.reverseTable());

    // Destroyed without ever loading: nothing to free but the mutex.
    Mbcs unused(empty, VYNCS_WCP932);
    MbcsEx unusedEx(static_cast<sMBCSExTable const*>(nullptr), VYNCS_SJIS0213);
}

TEST(MbcsExBase, ValuesBeyondTheBmp) {
    static sMBCSExTable const table[] = {
        {0x41, 0x41},       // plane 0
        {0x87A0, 0x2000B},  // plane 2
        {0x8861, 0x110041}, // beyond U+10FFFF: forward only
        {0, 0},
    };
    MbcsEx m(table, VYNCS_SJIS0213);
    m.load();
    auto const* fwd = m.forwardTable();
    auto const* rev = m.reverseTable();
    ASSERT_NE(nullptr, fwd);
    ASSERT_NE(nullptr, rev);
    EXPECT_EQ(0x2000Bu, fwd->lookup(0x87A0));
    EXPECT_EQ(0x110041u, fwd->lookup(0x8861));
    EXPECT_EQ(0x87A0, rev->lookup(0x2000B));
    EXPECT_EQ(0, rev->lookup(0x000B)); // not folded onto plane 0
    EXPECT_EQ(0, rev->lookup(0x110041));
    EXPECT_EQ(0x41, rev->lookup(0x41));
    EXPECT_EQ(2u, rev->pageCount());
    m.load();
    EXPECT_EQ(fwd, m.forwardTable());

    static sMBCSExTable const empty[] = {{0, 0}};
    MbcsEx e(empty, VYNCS_SJIS0213);
    e.load();
    ASSERT_NE(nullptr, e.reverseTable());
    EXPECT_EQ(0u, e.reverseTable()->pageCount());
    EXPECT_EQ(0u, e.forwardTable()->pageCount());
}

} // namespace
