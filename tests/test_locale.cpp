// Default character set detection. The set is fixed when the library loads,
// so every environment runs in a child process (helpers/locale_probe.cpp).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <sys/wait.h>

extern char** environ;

namespace {

// Runs the probe with LANG and LC_ALL as given (nullptr: unset) and no other
// locale variable; returns its key=value lines.
std::map<std::string, std::string> probe(char const* lang, char const* lcAll) {
    std::vector<std::string> drop;
    for (char** e = environ; *e != nullptr; ++e)
        if (std::strncmp(*e, "LANG", 4) == 0 || std::strncmp(*e, "LC_", 3) == 0)
            drop.emplace_back(*e, std::strcspn(*e, "="));
    for (auto const& d : drop) unsetenv(d.c_str());
    if (lang) setenv("LANG", lang, 1);
    if (lcAll) setenv("LC_ALL", lcAll, 1);
    std::map<std::string, std::string> result;
    FILE* f = popen("'" VYN_LOCALE_PROBE "'", "r");
    if (f == nullptr) {
        ADD_FAILURE() << "popen";
        return result;
    }
    char line[256];
    while (std::fgets(line, sizeof line, f) != nullptr) {
        std::string const l(line, std::strcspn(line, "\n"));
        size_t const eq = l.find('=');
        if (eq != std::string::npos) result[l.substr(0, eq)] = l.substr(eq + 1);
    }
    int const status = pclose(f);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "probe status " << status;
    return result;
}

// "café日.txt" as UTF-8, and as Latin-1 with the character it lacks escaped.
char const kUtf8Hex[] = "636166C3A9E697A52E747874";
char const kLatin1Hex[] = "636166E9552B363545352E747874";

std::string const kLongName = "en_US." + std::string(5000, 'X');

struct Case {
    char const* lang; // nullptr: unset
    char const* lcAll;
    int expected;
    char const* path = nullptr; // the file name in the default set, hex
};
Case const kCases[] = {
    {nullptr, nullptr, 28591, kLatin1Hex},
    {"", nullptr, 28591},
    {"C", nullptr, 28591},
    {"en_US.UTF-8", nullptr, 65001, kUtf8Hex},
    {"C.UTF-8", nullptr, 65001, kUtf8Hex},
    {"en_US.UTF-8@euro", nullptr, 65001},
    {"ja_JP.eucJP", nullptr, 51932},
    {"ja_JP.SJIS", nullptr, 932},
    {"ja_JP.ujis", nullptr, 932}, // UJIS names the Shift_JIS family here, not EUC-JP
    {"ja", nullptr, 51932},
    {"ja_JP", nullptr, 28591}, // only the bare language is a key
    {"zh_CN.GB18030", nullptr, 54936},
    {"zh_TW.Big5", nullptr, 30950},
    {"ko_KR.euc-kr", nullptr, 51949},
    {"ko_KR.EUC", nullptr, 51949}, // ".EUC" names the set by territory
    {"zh_CN.EUC", nullptr, 51936},
    {"zh_TW.EUC", nullptr, 51950, kUtf8Hex}, // no converter: served as UTF-8
    {"ja_JP.EUC", nullptr, 28591},
    {"ru_RU.KOI8-R", nullptr, 28591},
    {"de_DE.ISO-8859-15@euro", nullptr, 28605},
    {"DE_DE@EURO", nullptr, 28591},
    {"\xFF\xFE.\xC0", nullptr, 28591},
    {kLongName.c_str(), nullptr, 28591},
    // LC_ALL is not read, and the C library's locale stays "C" because
    // nothing calls setlocale(LC_ALL, "").
    {nullptr, "ja_JP.UTF-8", 28591},
    {"ja_JP.SJIS", "en_US.UTF-8", 932},
};

TEST(Locale, DefaultSetFollowsLang) {
    for (Case const& c : kCases) {
        SCOPED_TRACE(std::string("LANG=") + (c.lang ? c.lang : "(unset)") +
                     " LC_ALL=" + (c.lcAll ? c.lcAll : "(unset)"));
        auto r = probe(c.lang, c.lcAll);
        EXPECT_EQ(r["default"], std::to_string(c.expected));
        // -2 is served by whatever serves the detected set, which is fixed
        // at load: a later LANG changes nothing, but a fresh detection sees it.
        EXPECT_EQ(r["same"], "1");
        EXPECT_EQ(r["still"], std::to_string(c.expected));
        EXPECT_EQ(r["still_conv"], "1");
        EXPECT_EQ(r["redetect"], "932");
        // File names escape what the default set lacks and read back whole.
        if (c.path && (c.path != kLatin1Hex || r["latin1_table"] == "1")) {
            EXPECT_EQ(r["path"], c.path);
            EXPECT_EQ(r["back"], kUtf8Hex);
        }
    }
}

} // namespace
