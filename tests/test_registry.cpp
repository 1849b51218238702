// The registry: which converter serves which set, the set names, and the
// caches behind VynCharSetConverter::getConverter.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <iterator>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <vynulib/charset/CharSetConverterManager.h>
#include <vynulib/converters/VynCharSetConverterUTF8.h>
#include <vynulib/internal/VynCatalogue.h>

namespace {

VynCharSet cs(int v) {
    return static_cast<VynCharSet>(v);
}

// Every named set, from the catalogue the registry is generated from.
std::vector<std::pair<int, std::string>> names() {
    std::vector<std::pair<int, std::string>> n;
    for (auto const& e : vyn::catalogue::kNamed) n.push_back({e.cs, e.name});
    return n;
}

// Sets without a converter of their own: the named ones, and values without a name.
std::vector<int> unserved() {
    std::vector<int> v = {28602, 0, -1, -3, 99999, INT_MIN};
    for (auto const& e : vyn::catalogue::kNamed)
        if (e.family == vyn::catalogue::Family::None && e.cs != VYNCS_OS_DEFAULT) v.push_back(e.cs);
    return v;
}

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

// Every name renders and parses back; the rendered name is kept, not made
// anew per call. Unknown values print as the default; only exact names parse.
TEST(Registry, Names) {
    auto const all = names();
    EXPECT_EQ(all.size(), vyn::catalogue::kNamedCount);
    for (auto const& r : all) {
        SCOPED_TRACE(r.second);
        EXPECT_EQ(VynCharSetToString(cs(r.first)), r.second);
        EXPECT_EQ(VynCharSetFromString(r.second.c_str()), cs(r.first));
        EXPECT_EQ(VynCharSetToString(cs(r.first)), VynCharSetToString(cs(r.first)));
    }
    for (int v : {0, -1, 1, 28602, 50226, 65000, 99999, INT_MIN, INT_MAX})
        EXPECT_STREQ(VynCharSetToString(cs(v)), "VYNCS_OS_DEFAULT") << v;
    for (char const* n :
         {"", "vyncs_utf8", "VYNCS_UTF8 ", " VYNCS_UTF8", "VYNCS_UTF", "VYNCS_UTF8X", "UTF8",
          "ISO88591", "65001", "VYNCS_ISO_8859_12", "VYNCS_\xC9UTF8"})
        EXPECT_EQ(VynCharSetFromString(n), VYNCS_OS_DEFAULT) << n;
    EXPECT_EQ(VynCharSetFromString(nullptr), VYNCS_OS_DEFAULT);
}

// Table-driven sets not built into this copy of the library fall back to
// UTF-8; anything else is the set's own converter. Sets without one, named
// or not, are served as UTF-8, and -2 by whatever serves the detected set.
TEST(Registry, WhichConverterServes) {
    VynCharSetConverter* const utf8 = VynCharSetConverter::getConverter(VYNCS_UTF8);
    EXPECT_EQ(utf8->getCharSet(), VYNCS_UTF8);
    for (auto const& r : names()) {
        VynCharSet const v = cs(r.first);
        VynCharSetConverter* c = VynCharSetConverter::getConverter(v);
        EXPECT_EQ(c, g_oCnvtMgr.getConverter(v)) << r.second;
        auto const kUnserved = unserved();
        if (r.first == -2 || std::count(kUnserved.begin(), kUnserved.end(), r.first)) continue;
        ASSERT_NE(c, nullptr) << r.second;
        if (c != utf8 || v == VYNCS_UTF16 || v == VYNCS_UTF16ESC || v == VYNCS_UTF32) {
            EXPECT_EQ(c->getCharSet(), v) << r.second;
        }
    }
    for (int v : unserved()) {
        EXPECT_EQ(VynCharSetConverter::getConverter(cs(v)), utf8) << v;
        EXPECT_EQ(g_oCnvtMgr.load(cs(v)), utf8) << v;
    }
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
