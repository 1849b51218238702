// Default character set detection. The set is fixed when the library loads,
// so every environment runs in a child process (helpers/locale_probe.cpp).
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

struct Env {
    char const* lang;  // nullptr: LANG unset
    char const* lcAll; // nullptr: LC_ALL unset
};

bool isLocaleVar(char const* kv) {
    return std::strncmp(kv, "LANG=", 5) == 0 || std::strncmp(kv, "LC_", 3) == 0 ||
           std::strncmp(kv, "LANGUAGE=", 9) == 0;
}

// Runs the probe with the parent's environment minus every locale variable,
// plus the ones given; returns its key=value lines.
std::map<std::string, std::string> probe(Env const& env) {
    std::vector<std::string> vars;
    for (char** e = environ; *e != nullptr; ++e)
        if (!isLocaleVar(*e)) vars.emplace_back(*e);
    if (env.lang != nullptr) vars.push_back(std::string("LANG=") + env.lang);
    if (env.lcAll != nullptr) vars.push_back(std::string("LC_ALL=") + env.lcAll);
    std::vector<char*> envp;
    for (auto& v : vars) envp.push_back(&v[0]);
    envp.push_back(nullptr);

    int fds[2];
    if (pipe(fds) != 0) ADD_FAILURE() << "pipe";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    posix_spawn_file_actions_addclose(&actions, fds[1]);
    char path[] = VYN_LOCALE_PROBE;
    char* argv[] = {path, nullptr};
    pid_t pid = 0;
    int const rc = posix_spawn(&pid, path, &actions, nullptr, argv, envp.data());
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);

    std::string out;
    char buf[512];
    ssize_t k;
    while ((k = read(fds[0], buf, sizeof buf)) > 0) out.append(buf, static_cast<size_t>(k));
    close(fds[0]);
    std::map<std::string, std::string> result;
    if (rc != 0) {
        ADD_FAILURE() << "posix_spawn: " << std::strerror(rc);
        return result;
    }
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "probe status " << status;

    size_t pos = 0;
    while (pos < out.size()) {
        size_t const nl = out.find('\n', pos);
        std::string const line = out.substr(pos, nl - pos);
        size_t const eq = line.find('=');
        if (eq != std::string::npos) result[line.substr(0, eq)] = line.substr(eq + 1);
        pos = nl == std::string::npos ? out.size() : nl + 1;
    }
    return result;
}

struct Case {
    Env env;
    int expected;
};

std::string describe(Env const& e) {
    std::string s = e.lang ? std::string("LANG=\"") + e.lang + "\"" : "LANG unset";
    if (e.lcAll) s += std::string(" LC_ALL=") + e.lcAll;
    return s;
}

std::string const kLongName = "en_US." + std::string(5000, 'X');

Case const kCases[] = {
    {{nullptr, nullptr}, 28591},
    {{"", nullptr}, 28591},
    {{"C", nullptr}, 28591},
    {{"en_US.UTF-8", nullptr}, 65001},
    {{"C.UTF-8", nullptr}, 65001},
    {{"en_US.UTF-8@euro", nullptr}, 65001},
    {{"ja_JP.eucJP", nullptr}, 51932},
    {{"ja_JP.SJIS", nullptr}, 932},
    // UJIS names the Shift_JIS family here, not EUC-JP.
    {{"ja_JP.ujis", nullptr}, 932},
    {{"ja", nullptr}, 51932},
    // Only the bare language is a key.
    {{"ja_JP", nullptr}, 28591},
    {{"zh_CN.GB18030", nullptr}, 54936},
    {{"zh_TW.Big5", nullptr}, 30950},
    {{"ko_KR.euc-kr", nullptr}, 51949},
    // ".EUC" names the set by territory.
    {{"ko_KR.EUC", nullptr}, 51949},
    {{"zh_CN.EUC", nullptr}, 51936},
    {{"zh_TW.EUC", nullptr}, 51950},
    {{"ja_JP.EUC", nullptr}, 28591},
    {{"ru_RU.KOI8-R", nullptr}, 28591},
    {{"de_DE.ISO-8859-15@euro", nullptr}, 28605},
    {{"DE_DE@EURO", nullptr}, 28591},
    {{"\xFF\xFE.\xC0", nullptr}, 28591},
    {{kLongName.c_str(), nullptr}, 28591},
    // LC_ALL is not read, and the C library's locale stays "C" because
    // nothing calls setlocale(LC_ALL, "").
    {{nullptr, "ja_JP.UTF-8"}, 28591},
    {{"ja_JP.SJIS", "en_US.UTF-8"}, 932},
};

} // namespace

TEST(Locale, DefaultSetFollowsLang) {
    for (Case const& c : kCases) {
        SCOPED_TRACE(describe(c.env));
        auto r = probe(c.env);
        EXPECT_EQ(r["default"], std::to_string(c.expected));
        // -2 is served by whatever serves the detected set...
        EXPECT_EQ(r["same"], "1");
        // ...which is fixed at load: a later LANG changes nothing, but a
        // fresh detection sees it.
        EXPECT_EQ(r["still"], std::to_string(c.expected));
        EXPECT_EQ(r["still_conv"], "1");
        EXPECT_EQ(r["redetect"], "932");
    }
}

TEST(Locale, DefaultWithoutConverterIsServedAsUtf8) {
    for (char const* lang : {"zh_TW.EUC", "en_US.UTF-8", "C.UTF-8"}) {
        SCOPED_TRACE(lang);
        EXPECT_EQ(probe({lang, nullptr})["utf8"], "1");
    }
}

TEST(Locale, PathsEscapeWhatTheDefaultSetLacks) {
    // "café日.txt" as UTF-8.
    std::string const utf8Hex = "636166C3A9E697A52E747874";
    auto u = probe({"en_US.UTF-8", nullptr});
    EXPECT_EQ(u["path"], utf8Hex);
    EXPECT_EQ(u["back"], utf8Hex);

    auto l = probe({nullptr, nullptr});
    EXPECT_EQ(l["latin1"], "1");
    if (l["latin1_table"] != "1") GTEST_SKIP() << "no ISO 8859-1 table converter in this build";
    // caf, E9, then "U+65E5.txt".
    EXPECT_EQ(l["path"], "636166E9552B363545352E747874");
    EXPECT_EQ(l["back"], utf8Hex);
}
