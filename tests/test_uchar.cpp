// Character classes and case tables: every one of the 65,536 units against the
// reference lists kept beside the Unicode data, the VynUChar members, and the
// lazy, lock-published building of the tables.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <vynulib/internal/LookupTable.h>
#include <vynulib/unicode/VynUChar.h>

#include "vynulib/internal/VynUCharTables.h"

namespace {

const std::string kDataDir = VYN_SOURCE_DIR "/src/vynulib/unicode/data/";

struct RefList {
    std::vector<unsigned short> values = std::vector<unsigned short>(0x10000);
    size_t records = 0;
    size_t units = 0;
};

// Reads first<TAB>last<TAB>value lines (hex, '#' comments) and expands them
// over all units; counting lists give value + (c - first).
RefList readReference(std::string const& name, bool counting) {
    RefList ref;
    std::ifstream in(kDataDir + name);
    EXPECT_TRUE(in.good()) << "cannot read " << kDataDir + name;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        unsigned first, last, value;
        if (std::sscanf(line.c_str(), "%x\t%x\t%x", &first, &last, &value) != 3) {
            ADD_FAILURE() << name << ": bad line '" << line << "'";
            continue;
        }
        ++ref.records;
        for (unsigned c = first; c <= last && c <= 0xFFFF; ++c, ++ref.units)
            ref.values[c] = static_cast<unsigned short>(counting ? value + (c - first) : value);
    }
    return ref;
}

std::string hex(unsigned v) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "%04X", v);
    return buf;
}

// Compares a lookup with the expected values over all units, listing the
// first few differences rather than 65,536 lines.
template <class F>
void expectAllUnits(std::vector<unsigned short> const& want, F got, char const* what) {
    int bad = 0;
    for (unsigned c = 0; c <= 0xFFFF; ++c) {
        unsigned short g = got(static_cast<unsigned short>(c));
        if (g != want[c] && ++bad <= 10)
            ADD_FAILURE() << what << " U+" << hex(c) << ": got " << hex(g) << ", want "
                          << hex(want[c]);
    }
    EXPECT_EQ(bad, 0) << what << ": units that differ";
}

size_t countRecords(unsigned short const* list) {
    size_t n = 1; // the terminator
    for (; list[0] != 0; list += 3) ++n;
    return n;
}

bool inCodedEastAsianRange(unsigned c) {
    static const unsigned ranges[][2] = {
        {0x2E80, 0x2E99}, {0x2E9B, 0x2EF3}, {0x2F00, 0x2FD5}, {0x3400, 0x4DB5},
        {0x4E00, 0x9FA5}, {0xA000, 0xA48C}, {0xAC00, 0xD7A3}, {0xF900, 0xFA2D},
    };
    for (auto const& r : ranges)
        if (c >= r[0] && c <= r[1]) return true;
    return false;
}

struct ListCase {
    VynUCharTable& table;
    unsigned short const* list;
    bool counting;
    char const* file;
    size_t records; // terminator included
    size_t units;   // units the records cover
};
const ListCase kLists[] = {
    {VynUChar::m_gUpperCaseTable, toUpperTable, true, "toUpperTable.tsv", 376, 673},
    {VynUChar::m_gLowerCaseTable, toLowerTable, true, "toLowerTable.tsv", 370, 704},
    {VynUChar::m_gCharClassTable, classTable, false, "classTable.tsv", 1082, 4870},
};

} // namespace

// Many threads reach the first lookup of every table at once: fresh tables
// (the static ones may be loaded already when tests share a process) and the
// static ones, which are cold when CTest runs this test alone.
TEST(UCharTableConcurrency, FirstLookupsRaceSafely) {
    std::vector<RefList> refs;
    for (auto const& k : kLists) refs.push_back(readReference(k.file, k.counting));
    VynUCharTable fresh[] = {{toUpperTable, true}, {toLowerTable, true}, {classTable, false}};

    constexpr int kThreads = 8;
    std::atomic<int> waiting{kThreads};
    std::atomic<int> wrong{0};
    unsigned short** seen[kThreads][3] = {};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            waiting.fetch_sub(1);
            while (waiting.load() > 0) std::this_thread::yield();
            for (int i = 0; i < 3; ++i) {
                // Each thread starts at a different unit and table order.
                int k = (i + t) % 3;
                for (unsigned n = 0; n <= 0xFFFF; n += 7) {
                    unsigned short c = static_cast<unsigned short>(n + t * 101);
                    if (fresh[k].getValue(c) != refs[k].values[c]) wrong.fetch_add(1);
                    if (kLists[k].table.getValue(c) != refs[k].values[c]) wrong.fetch_add(1);
                }
                seen[t][k] = fresh[k].load();
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(wrong.load(), 0);
    for (int k = 0; k < 3; ++k)
        for (int t = 1; t < kThreads; ++t)
            EXPECT_EQ(seen[t][k], seen[0][k]) << "table " << k << " built more than once";
}

// The class list holds nothing for the ranges answered in code: East Asian
// ideographs and syllables, and surrogates.
TEST(UCharTable, TablesMatchReferenceOnEveryUnit) {
    for (auto const& k : kLists) {
        SCOPED_TRACE(k.file);
        RefList ref = readReference(k.file, k.counting);
        EXPECT_EQ(countRecords(k.list), k.records);
        EXPECT_EQ(ref.records + 1, k.records);
        EXPECT_EQ(ref.units, k.units);
        expectAllUnits(
            ref.values, [&](unsigned short c) { return k.table.getValue(c); }, k.file);
        if (k.counting) continue;
        for (unsigned c = 0; c <= 0xFFFF; ++c) {
            if (inCodedEastAsianRange(c))
                ref.values[c] = 0x0404;
            else if (c >= 0xD800 && c <= 0xDFFF)
                ref.values[c] = 0x1000;
        }
        expectAllUnits(
            ref.values, [](unsigned short c) { return VynUChar::getCharClass(c); }, "getCharClass");
        expectAllUnits(
            ref.values, [](unsigned short c) { return VynUChar(c).getCharClass(); }, "member");
    }
}

// Entries callers depend on that a newer character database would change.
TEST(UCharTable, KeptCaseEntries) {
    struct Case {
        VynUCharTable& table;
        unsigned from, to;
    };
    VynUCharTable& lower = VynUChar::m_gLowerCaseTable;
    VynUCharTable& upper = VynUChar::m_gUpperCaseTable;
    std::vector<Case> cases = {
        {lower, 0x0041, 0x0061}, {lower, 0x0061, 0x0000}, // no identity entries
        {lower, 0x0130, 0x0069}, {upper, 0x0131, 0x0049}, {upper, 0x00FF, 0x0178},
        {lower, 0x01C5, 0x01C6}, {upper, 0x01C5, 0x01C4}, {lower, 0x018E, 0x0258},
        {upper, 0x0258, 0x018E}, {upper, 0x1FB3, 0x1FBC}, {upper, 0x1FC3, 0x1FCC},
        {upper, 0x1FF3, 0x1FFC}, {upper, 0x00DF, 0x0000}, {upper, 0x03C2, 0x0000},
    };
    for (unsigned i = 0; i <= 0x25; ++i) cases.push_back({lower, 0x10A0 + i, 0x10D0 + i});
    for (unsigned base : {0x1F80u, 0x1F90u, 0x1FA0u})
        for (unsigned i = 0; i < 8; ++i) cases.push_back({upper, base + i, base + 8 + i});
    for (auto const& k : cases)
        EXPECT_EQ(k.table.getValue(static_cast<unsigned short>(k.from)), k.to)
            << (&k.table == &lower ? "lower " : "upper ") << hex(k.from);
}

TEST(UChar, SurrogatePairConstructor) {
    struct Case {
        unsigned short high, low;
        unsigned int want;
    };
    const Case cases[] = {
        {0xD800, 0xDC00, 0x10000}, {0xD83D, 0xDE00, 0x1F600}, {0xDBFF, 0xDFFF, 0x10FFFF},
        {0x0041, 0x0000, 0},       {0x0041, 0x0042, 0},       {0xD800, 0x0041, 0},
        {0xDC00, 0xD800, 0},       {0xD7FF, 0xDC00, 0},       {0xDC00, 0xDC00, 0},
        {0xD800, 0xDBFF, 0},       {0xD800, 0xE000, 0},       {0xFFFF, 0xFFFF, 0},
    };
    for (auto const& k : cases)
        EXPECT_EQ(VynUChar(k.high, k.low).value(), k.want) << hex(k.high) << " " << hex(k.low);
}

// Flags: d digit, l letter, p punctuation, s white space, n not a character.
// Supplementary code points have class 0x1000 and no predicate; beyond the
// last code point only the low 16 bits count. Controls other than the white
// space ones have no class at all.
TEST(UChar, Predicates) {
    struct Case {
        unsigned int c;
        unsigned short cls;
        std::string is;
    } const cases[] = {
        {0x0000, 0x0000, "n"},   {0x0009, 0x0001, "s"},   {0x000B, 0x0000, "n"},
        {0x0020, 0x0001, "s"},   {0x0021, 0x0010, "p"},   {0x0030, 0x0002, "d"},
        {0x0041, 0x0044, "l"},   {0x00B2, 0x0002, "d"},   {0x05D0, 0x0024, "l"},
        {0x200B, 0x0001, "s"},   {0x200F, 0x0020, ""},    {0x3000, 0x8001, "s"},
        {0x3001, 0x0410, "p"},   {0x4E00, 0x0404, "l"},   {0xD800, 0x1000, ""},
        {0xFF10, 0x8002, "d"},   {0xFF61, 0x4410, "p"},   {0xFFFF, 0x0000, "n"},
        {0x10000, 0x1000, ""},   {0x1F600, 0x1000, ""},   {0x10FFFF, 0x1000, ""},
        {0x110041, 0x0044, "l"}, {0x120000, 0x0000, "n"},
    };
    for (auto const& k : cases) {
        SCOPED_TRACE(hex(k.c));
        VynUChar u(k.c);
        EXPECT_EQ(u.getCharClass(), k.cls);
        std::string is;
        bool const holds[] = {u.isDigit(), u.isLetter(), u.isPunctuation(), u.isWhiteSpace(),
                              u.isNonChar()};
        for (int i = 0; i < 5; ++i)
            if (holds[i]) is += "dlpsn"[i];
        EXPECT_EQ(is, k.is);
    }
    // A pair that is no pair gives 0, which is not a character.
    EXPECT_TRUE(VynUChar(0x0041, 0x0000).isNonChar());
}

// Tables built from hand-made lists: the edges of the list format.
// A range ending at the last unit stops there; counting wraps within 16
// bits; a reversed range holds nothing; a record starting at U+0000 ends the
// list, as does an empty one.
TEST(UCharTable, ListFormatEdges) {
    struct Case {
        std::vector<unsigned short> list;
        bool counting;
        std::vector<std::pair<unsigned short, unsigned short>> probes; // unit, value
    } const cases[] = {
        {{0xFFF0, 0xFFFF, 0x0100, 0}, true, {{0xFFEF, 0}, {0xFFF0, 0x0100}, {0xFFFF, 0x010F}}},
        {{0x0100, 0x0102, 0xFFFF, 0}, true, {{0x0100, 0xFFFF}, {0x0101, 0}, {0x0102, 1}}},
        {{0x0050, 0x0040, 9, 0x0060, 0x0060, 3, 0}, false, {{0x40, 0}, {0x50, 0}, {0x60, 3}}},
        {{0x0000, 0x0010, 5, 0x0041, 0x0041, 1, 0}, false, {{0x00, 0}, {0x05, 0}, {0x41, 0}}},
        {{0}, false, {{0x0000, 0}, {0x0041, 0}, {0xFFFF, 0}}},
    };
    for (auto const& k : cases) {
        VynUCharTable table(k.list.data(), k.counting);
        for (auto const& p : k.probes)
            EXPECT_EQ(table.getValue(p.first), p.second) << (&k - cases) << " " << hex(p.first);
    }
}

TEST(UCharTable, EmptyPagesShareTheZeroPage) {
    const unsigned short list[] = {0x0041, 0x0041, 1, 0x1234, 0x1235, 2, 0};
    VynUCharTable table(list, false);
    unsigned short** pages = table.load();
    ASSERT_NE(pages, nullptr);
    EXPECT_EQ(table.load(), pages) << "a second load must not rebuild";
    unsigned short* zero = LookupTable<unsigned short>::m_gNullTable;
    for (unsigned hi = 0; hi < 256; ++hi) {
        if (hi == 0x00 || hi == 0x12)
            EXPECT_NE(pages[hi], zero) << hi;
        else
            EXPECT_EQ(pages[hi], zero) << hi;
    }
    for (unsigned i = 0; i < 256; ++i) EXPECT_EQ(zero[i], 0) << "zero page written at " << i;

    // No list at all: every lookup answers 0 instead of failing.
    VynUCharTable none(nullptr, true);
    EXPECT_EQ(none.getValue(0x0041), 0);
    EXPECT_EQ(none.getValue(0xFFFF), 0);
}
