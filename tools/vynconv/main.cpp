// vynconv: converts text between the character sets of vynulib64, through
// UTF-16, with the library's own converters.
#include <vynulib/vynulib.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct NamedSet {
    char const* name;
    VynCharSet cs;
};

// Every named set, in numeric order.
NamedSet const kSets[] = {
    {"VYNCS_OS_DEFAULT", VYNCS_OS_DEFAULT}, {"VYNCS_WCP874", VYNCS_WCP874},
    {"VYNCS_WCP932", VYNCS_WCP932},         {"VYNCS_WCP936", VYNCS_WCP936},
    {"VYNCS_WCP949", VYNCS_WCP949},         {"VYNCS_WCP950", VYNCS_WCP950},
    {"VYNCS_UTF16", VYNCS_UTF16},           {"VYNCS_UTF16BE", VYNCS_UTF16BE},
    {"VYNCS_UTF16ESC", VYNCS_UTF16ESC},     {"VYNCS_WCP1250", VYNCS_WCP1250},
    {"VYNCS_WCP1251", VYNCS_WCP1251},       {"VYNCS_WCP1252", VYNCS_WCP1252},
    {"VYNCS_WCP1253", VYNCS_WCP1253},       {"VYNCS_WCP1254", VYNCS_WCP1254},
    {"VYNCS_WCP1255", VYNCS_WCP1255},       {"VYNCS_WCP1256", VYNCS_WCP1256},
    {"VYNCS_WCP1257", VYNCS_WCP1257},       {"VYNCS_WCP1258", VYNCS_WCP1258},
    {"VYNCS_UTF32", VYNCS_UTF32},           {"VYNCS_UTF32BE", VYNCS_UTF32BE},
    {"VYNCS_KOI8R", VYNCS_KOI8R},           {"VYNCS_ISO_8859_1", VYNCS_ISO_8859_1},
    {"VYNCS_ISO_8859_2", VYNCS_ISO_8859_2}, {"VYNCS_ISO_8859_3", VYNCS_ISO_8859_3},
    {"VYNCS_ISO_8859_4", VYNCS_ISO_8859_4}, {"VYNCS_ISO_8859_5", VYNCS_ISO_8859_5},
    {"VYNCS_ISO_8859_6", VYNCS_ISO_8859_6}, {"VYNCS_ISO_8859_7", VYNCS_ISO_8859_7},
    {"VYNCS_ISO_8859_8", VYNCS_ISO_8859_8}, {"VYNCS_ISO_8859_9", VYNCS_ISO_8859_9},
    {"VYNCS_ISO_8859_10", VYNCS_ISO_8859_10}, {"VYNCS_ISO_8859_11", VYNCS_ISO_8859_11},
    {"VYNCS_ISO_8859_13", VYNCS_ISO_8859_13}, {"VYNCS_ISO_8859_14", VYNCS_ISO_8859_14},
    {"VYNCS_ISO_8859_15", VYNCS_ISO_8859_15}, {"VYNCS_ISO_8859_16", VYNCS_ISO_8859_16},
    {"VYNCS_SHIFTJIS", VYNCS_SHIFTJIS},     {"VYNCS_SJIS0213", VYNCS_SJIS0213},
    {"VYNCS_BIG5", VYNCS_BIG5},             {"VYNCS_ISO_2022JP", VYNCS_ISO_2022JP},
    {"VYNCS_ISO_2022JP_1", VYNCS_ISO_2022JP_1}, {"VYNCS_ISO_2022JP_2", VYNCS_ISO_2022JP_2},
    {"VYNCS_ISO_2022JP_3", VYNCS_ISO_2022JP_3}, {"VYNCS_ISO_2022JP_2004", VYNCS_ISO_2022JP_2004},
    {"VYNCS_ISO_2022KR", VYNCS_ISO_2022KR}, {"VYNCS_ISO_2022CN", VYNCS_ISO_2022CN},
    {"VYNCS_ISO_2022CN_EXT", VYNCS_ISO_2022CN_EXT}, {"VYNCS_ISO_2022TW", VYNCS_ISO_2022TW},
    {"VYNCS_EUC_JP", VYNCS_EUC_JP},         {"VYNCS_EUC_CN", VYNCS_EUC_CN},
    {"VYNCS_EUC_KR", VYNCS_EUC_KR},         {"VYNCS_EUC_TW", VYNCS_EUC_TW},
    {"VYNCS_GB18030", VYNCS_GB18030},       {"VYNCS_UTF8", VYNCS_UTF8},
};

bool served(VynCharSet cs) {
    VynCharSetConverter* c = VynCharSetConverter::getConverter(cs);
    return cs == VYNCS_UTF8 || c != VynCharSetConverter::getConverter(VYNCS_UTF8);
}

// A set's exact name or its number; false for anything else.
bool parseSet(char const* text, VynCharSet* out) {
    for (NamedSet const& s : kSets)
        if (std::strcmp(text, s.name) == 0) return *out = s.cs, true;
    char* end = nullptr;
    errno = 0;
    long v = std::strtol(text, &end, 10);
    if (errno || end == text || *end) return false;
    for (NamedSet const& s : kSets)
        if (s.cs == v) return *out = s.cs, true;
    return false;
}

int usage(char const* msg) {
    if (msg) std::fprintf(stderr, "vynconv: %s\n", msg);
    std::fprintf(stderr, "usage: vynconv [-f FROM] [-t TO] [FILE]\n"
                         "       vynconv -l\n");
    return 2;
}

bool readAll(std::FILE* in, std::vector<char>* data) {
    char buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, in)) > 0) data->insert(data->end(), buf, buf + n);
    return !std::ferror(in);
}

} // namespace

int main(int argc, char** argv) {
    VynCharSet from = VYNCS_OS_DEFAULT, to = VYNCS_OS_DEFAULT;
    char const* file = nullptr;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "-l") {
            for (NamedSet const& s : kSets)
                std::printf("%-24s %6d  %s\n", s.name, s.cs,
                            s.cs == VYNCS_OS_DEFAULT ? "default"
                            : served(s.cs)           ? "served"
                                                     : "name only");
            return 0;
        }
        if (a == "-f" || a == "-t") {
            if (i + 1 >= argc) return usage("option needs a character set");
            VynCharSet cs;
            if (!parseSet(argv[++i], &cs))
                return usage(("unknown character set '" + std::string(argv[i]) + "'").c_str());
            (a == "-f" ? from : to) = cs;
        } else if (a.size() > 1 && a[0] == '-') {
            return usage(("unknown option '" + a + "'").c_str());
        } else if (!file) {
            file = argv[i];
        } else {
            return usage("only one input file");
        }
    }
    std::FILE* in = file ? std::fopen(file, "rb") : stdin;
    if (!in) {
        std::fprintf(stderr, "vynconv: %s: %s\n", file, std::strerror(errno));
        return 2;
    }
    std::vector<char> data;
    bool ok = readAll(in, &data);
    if (file) std::fclose(in);
    if (!ok) {
        std::fprintf(stderr, "vynconv: read error\n");
        return 2;
    }
    VynCharSetConverter* dec = VynCharSetConverter::getConverter(from);
    VynCharSetConverter* enc = VynCharSetConverter::getConverter(to);
    // Terminated with room for any terminator (up to 4 bytes).
    size_t n = data.size();
    data.resize(n + 8, 0);
    std::vector<unsigned short> units(n + 1);
    bool bad = false, badOut = false;
    unsigned long u = dec->toUTF16(units.data(), data.data(), n, ILLCHAR_REPLACE, &bad,
                                   n > 0x7FFFFFFF ? -1 : static_cast<int>(n));
    units.resize(u + 1);
    units[u] = 0;
    std::vector<char> out(static_cast<size_t>(u) * 6 + 8);
    unsigned long b =
        enc->fromUTF16(out.data(), units.data(), out.size() - 4, ILLCHAR_REPLACE, &badOut);
    std::fwrite(out.data(), 1, b, stdout);
    return (bad || badOut) ? 1 : 0;
}
