// The registry: which converter serves which set, the set names, and the
// caches behind VynCharSetConverter::getConverter.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <thread>
#include <vector>

#include <vynulib/charset/CharSetConverterManager.h>
#include <vynulib/converters/VynCharSetConverterUTF8.h>

namespace {

VynCharSet cs(int v) {
    return static_cast<VynCharSet>(v);
}

VynCharSetConverter* utf8() {
    return VynCharSetConverter::getConverter(VYNCS_UTF8);
}

// Written out independently of the library's own table, so a typo or a
// dropped row on either side shows up.
struct NameRow {
    int value;
    char const* name;
};
NameRow const kNames[] = {
    {-2, "VYNCS_OS_DEFAULT"},        {874, "VYNCS_WCP874"},
    {932, "VYNCS_WCP932"},           {936, "VYNCS_WCP936"},
    {949, "VYNCS_WCP949"},           {950, "VYNCS_WCP950"},
    {1200, "VYNCS_UTF16"},           {1201, "VYNCS_UTF16BE"},
    {1202, "VYNCS_UTF16ESC"},        {1250, "VYNCS_WCP1250"},
    {1251, "VYNCS_WCP1251"},         {1252, "VYNCS_WCP1252"},
    {1253, "VYNCS_WCP1253"},         {1254, "VYNCS_WCP1254"},
    {1255, "VYNCS_WCP1255"},         {1256, "VYNCS_WCP1256"},
    {1257, "VYNCS_WCP1257"},         {1258, "VYNCS_WCP1258"},
    {12000, "VYNCS_UTF32"},          {12001, "VYNCS_UTF32BE"},
    {20866, "VYNCS_KOI8R"},          {28591, "VYNCS_ISO_8859_1"},
    {28592, "VYNCS_ISO_8859_2"},     {28593, "VYNCS_ISO_8859_3"},
    {28594, "VYNCS_ISO_8859_4"},     {28595, "VYNCS_ISO_8859_5"},
    {28596, "VYNCS_ISO_8859_6"},     {28597, "VYNCS_ISO_8859_7"},
    {28598, "VYNCS_ISO_8859_8"},     {28599, "VYNCS_ISO_8859_9"},
    {28600, "VYNCS_ISO_8859_10"},    {28601, "VYNCS_ISO_8859_11"},
    {28603, "VYNCS_ISO_8859_13"},    {28604, "VYNCS_ISO_8859_14"},
    {28605, "VYNCS_ISO_8859_15"},    {28606, "VYNCS_ISO_8859_16"},
    {30932, "VYNCS_SHIFTJIS"},       {30933, "VYNCS_SJIS0213"},
    {30950, "VYNCS_BIG5"},           {50220, "VYNCS_ISO_2022JP"},
    {50221, "VYNCS_ISO_2022JP_1"},   {50222, "VYNCS_ISO_2022JP_2"},
    {50223, "VYNCS_ISO_2022JP_3"},   {50224, "VYNCS_ISO_2022JP_2004"},
    {50225, "VYNCS_ISO_2022KR"},     {50227, "VYNCS_ISO_2022CN"},
    {50228, "VYNCS_ISO_2022CN_EXT"}, {50229, "VYNCS_ISO_2022TW"},
    {51932, "VYNCS_EUC_JP"},         {51936, "VYNCS_EUC_CN"},
    {51949, "VYNCS_EUC_KR"},         {51950, "VYNCS_EUC_TW"},
    {54936, "VYNCS_GB18030"},        {65001, "VYNCS_UTF8"},
};

// Sets with a converter of their own (the other named ones are served as UTF-8).
int const kServed[] = {874,   932,   936,   949,   950,   1200,  1202,  1250,  1251,  1252,  1253,
                       1254,  1255,  1256,  1257,  1258,  12000, 20866, 28591, 28592, 28593, 28594,
                       28595, 28596, 28597, 28598, 28599, 28600, 28601, 28603, 28604, 28605, 28606,
                       30932, 30933, 30950, 51932, 51936, 51949, 54936, 65001};

} // namespace

// First in the file: when run alone (as CTest does) this is the first use of
// the caches, so the racing first writes are what ThreadSanitizer sees.
TEST(Registry, ConcurrentFirstUseAgrees) {
    constexpr int kThreads = 8;
    std::vector<VynCharSetConverter*> deflt(kThreads), u8(kThreads);
    std::vector<char const*> names(kThreads);
    std::vector<VynCharSet> parsed(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            deflt[i] = VynCharSetConverter::getConverter(VYNCS_OS_DEFAULT);
            u8[i] = VynCharSetConverter::getConverter(VYNCS_UTF8);
            names[i] = VynCharSetToString(VYNCS_EUC_JP);
            parsed[i] = VynCharSetFromString("VYNCS_BIG5");
        });
    }
    for (auto& t : threads) t.join();
    for (int i = 0; i < kThreads; ++i) {
        EXPECT_EQ(deflt[i], deflt[0]);
        EXPECT_EQ(u8[i], u8[0]);
        EXPECT_EQ(names[i], names[0]); // the very same rendered name
        EXPECT_EQ(parsed[i], VYNCS_BIG5);
    }
    EXPECT_EQ(deflt[0], g_oCnvtMgr.getConverter(g_oCnvtMgr.defaultCharSet()));
    EXPECT_STREQ(names[0], "VYNCS_EUC_JP");
}

TEST(Registry, EveryNameRoundTrips) {
    EXPECT_EQ(sizeof(kNames) / sizeof(kNames[0]), 54u);
    for (NameRow const& r : kNames) {
        SCOPED_TRACE(r.name);
        EXPECT_STREQ(VynCharSetToString(cs(r.value)), r.name);
        EXPECT_EQ(VynCharSetFromString(r.name), cs(r.value));
        // The rendered name is kept, not made anew per call.
        EXPECT_EQ(VynCharSetToString(cs(r.value)), VynCharSetToString(cs(r.value)));
    }
}

TEST(Registry, UnknownValuesPrintAsOsDefault) {
    for (int v : {0, -1, 1, 28602, 50226, 65000, 99999, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(v);
        EXPECT_STREQ(VynCharSetToString(cs(v)), "VYNCS_OS_DEFAULT");
    }
}

TEST(Registry, NamesParseOnlyWhenExact) {
    // Case, blanks, prefixes and locale keys are all different names.
    char const* const unknown[] = {"",          "vyncs_utf8",        "VYNCS_UTF8 ",   " VYNCS_UTF8",
                                   "VYNCS_UTF", "VYNCS_UTF8X",       "UTF8",          "ISO88591",
                                   "65001",     "VYNCS_ISO_8859_12", "VYNCS_\xC9UTF8"};
    for (char const* n : unknown) {
        SCOPED_TRACE(n);
        EXPECT_EQ(VynCharSetFromString(n), VYNCS_OS_DEFAULT);
    }
    EXPECT_EQ(VynCharSetFromString(nullptr), VYNCS_OS_DEFAULT);
}

TEST(Registry, ServedSetsHaveTheirOwnConverter) {
    for (int v : kServed) {
        SCOPED_TRACE(v);
        VynCharSetConverter* c = VynCharSetConverter::getConverter(cs(v));
        ASSERT_NE(c, nullptr);
        // Table-driven sets not built into this copy of the library fall back
        // to UTF-8; anything else must be the set's own converter.
        if (c != utf8()) {
            EXPECT_EQ(c->getCharSet(), cs(v));
        }
        EXPECT_EQ(c, g_oCnvtMgr.getConverter(cs(v)));
    }
    EXPECT_EQ(VynCharSetConverter::getConverter(VYNCS_UTF16)->getCharSet(), VYNCS_UTF16);
    EXPECT_EQ(VynCharSetConverter::getConverter(VYNCS_UTF16ESC)->getCharSet(), VYNCS_UTF16ESC);
    EXPECT_EQ(VynCharSetConverter::getConverter(VYNCS_UTF32)->getCharSet(), VYNCS_UTF32);
    EXPECT_EQ(utf8()->getCharSet(), VYNCS_UTF8);
}

TEST(Registry, UnservedSetsAreServedAsUtf8) {
    for (int v : {1201, 12001, 50220, 50221, 50222, 50223, 50224, 50225, 50227, 50228, 50229, 51950,
                  28602, 0, -1, -3, 99999, INT_MIN}) {
        SCOPED_TRACE(v);
        EXPECT_EQ(VynCharSetConverter::getConverter(cs(v)), utf8());
        EXPECT_EQ(g_oCnvtMgr.load(cs(v)), utf8());
    }
    // A name that parses is still not a converter.
    EXPECT_EQ(VynCharSetConverter::getConverter(VynCharSetFromString("VYNCS_EUC_TW")), utf8());
}

TEST(Registry, OsDefaultResolvesThroughTheDetectedSet) {
    VynCharSetConverter* d = VynCharSetConverter::getConverter(VYNCS_OS_DEFAULT);
    EXPECT_EQ(d, g_oCnvtMgr.getConverter(VYNCS_OS_DEFAULT));
    EXPECT_EQ(d, g_oCnvtMgr.getConverter(g_oCnvtMgr.defaultCharSet()));
    EXPECT_NE(g_oCnvtMgr.defaultCharSet(), VYNCS_OS_DEFAULT);
}

TEST(Registry, FirstRegistrationWinsAndOwnershipFollowsTheFlag) {
    {
        // A registry of its own, so the library's one is left alone.
        CharSetConverterManager mgr;
        VynCharSetConverter* builtIn = mgr.getConverter(VYNCS_UTF8);

        // Refused: neither stored nor deleted (ASan reports a double free if the
        // registry took it over, LSan a leak if we did not free it).
        auto* refused = new VynCharSetConverterUTF8(VYNCS_UTF8);
        mgr.insert(VYNCS_UTF8, refused, false);
        EXPECT_EQ(mgr.getConverter(VYNCS_UTF8), builtIn);
        delete refused;

        // Accepted for a name-only set, owned and deleted by the registry.
        auto* owned = new VynCharSetConverterUTF8(VYNCS_EUC_TW);
        mgr.insert(VYNCS_EUC_TW, owned, false);
        mgr.insert(VYNCS_EUC_TW, builtIn, true);
        EXPECT_EQ(mgr.getConverter(VYNCS_EUC_TW), owned);

        // A null registration never makes getConverter return null.
        mgr.insert(VYNCS_UTF16BE, nullptr, false);
        EXPECT_EQ(mgr.getConverter(VYNCS_UTF16BE), builtIn);

        // The second registry's names and lookups behave like the library's.
        EXPECT_STREQ(mgr.charSetToString(VYNCS_SJIS0213), "VYNCS_SJIS0213");
        EXPECT_EQ(mgr.charSetFromString("VYNCS_UTF32BE"), VYNCS_UTF32BE);
        EXPECT_EQ(mgr.defaultCharSet(), g_oCnvtMgr.defaultCharSet());
    }
    // Building and dropping a second registry leaves the library's lookups
    // as they were.
    EXPECT_EQ(VynCharSetConverter::getConverter(VYNCS_OS_DEFAULT),
              g_oCnvtMgr.getConverter(g_oCnvtMgr.defaultCharSet()));
}
