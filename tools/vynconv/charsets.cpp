// Set names, numbers and aliases, and the explanation of the default set.
#include "charsets.h"

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cstring>

namespace vynconv {
namespace {

// Every named set, in numeric order. Aliases are compared after upper-casing
// and dropping '-', '_' and blanks, so "utf8", "UTF-8" and "Utf_8" are one.
// No TIS-620 alias: the 874 table moves three control codes and fills
// 0xFC-0xFF, so calling it TIS-620 would be a lie.
SetInfo const kSets[] = {
    {"VYNCS_OS_DEFAULT", VYNCS_OS_DEFAULT, "DEFAULT"},
    {"VYNCS_WCP874", VYNCS_WCP874, "CP874 WINDOWS-874"},
    {"VYNCS_WCP932", VYNCS_WCP932, "CP932 WINDOWS-31J MS932 WINDOWS-932"},
    {"VYNCS_WCP936", VYNCS_WCP936, "CP936 GBK MS936 WINDOWS-936"},
    {"VYNCS_WCP949", VYNCS_WCP949, "CP949 UHC MS949 WINDOWS-949"},
    {"VYNCS_WCP950", VYNCS_WCP950, "CP950 MS950 WINDOWS-950"},
    {"VYNCS_UTF16", VYNCS_UTF16, ""},
    {"VYNCS_UTF16BE", VYNCS_UTF16BE, ""},
    {"VYNCS_UTF16ESC", VYNCS_UTF16ESC, "UTF-16ESC"},
    {"VYNCS_WCP1250", VYNCS_WCP1250, "CP1250 WINDOWS-1250"},
    {"VYNCS_WCP1251", VYNCS_WCP1251, "CP1251 WINDOWS-1251"},
    {"VYNCS_WCP1252", VYNCS_WCP1252, "CP1252 WINDOWS-1252"},
    {"VYNCS_WCP1253", VYNCS_WCP1253, "CP1253 WINDOWS-1253"},
    {"VYNCS_WCP1254", VYNCS_WCP1254, "CP1254 WINDOWS-1254"},
    {"VYNCS_WCP1255", VYNCS_WCP1255, "CP1255 WINDOWS-1255"},
    {"VYNCS_WCP1256", VYNCS_WCP1256, "CP1256 WINDOWS-1256"},
    {"VYNCS_WCP1257", VYNCS_WCP1257, "CP1257 WINDOWS-1257"},
    {"VYNCS_WCP1258", VYNCS_WCP1258, "CP1258 WINDOWS-1258"},
    {"VYNCS_UTF32", VYNCS_UTF32, ""},
    {"VYNCS_UTF32BE", VYNCS_UTF32BE, ""},
    {"VYNCS_KOI8R", VYNCS_KOI8R, "KOI8-R CP20866"},
    {"VYNCS_ISO_8859_1", VYNCS_ISO_8859_1, "ISO-8859-1 ISO8859-1 LATIN1 L1 CP28591"},
    {"VYNCS_ISO_8859_2", VYNCS_ISO_8859_2, "ISO-8859-2 ISO8859-2 LATIN2 L2 CP28592"},
    {"VYNCS_ISO_8859_3", VYNCS_ISO_8859_3, "ISO-8859-3 ISO8859-3 LATIN3 L3 CP28593"},
    {"VYNCS_ISO_8859_4", VYNCS_ISO_8859_4, "ISO-8859-4 ISO8859-4 LATIN4 L4 CP28594"},
    {"VYNCS_ISO_8859_5", VYNCS_ISO_8859_5, "ISO-8859-5 ISO8859-5 CYRILLIC CP28595"},
    {"VYNCS_ISO_8859_6", VYNCS_ISO_8859_6, "ISO-8859-6 ISO8859-6 ARABIC CP28596"},
    {"VYNCS_ISO_8859_7", VYNCS_ISO_8859_7, "ISO-8859-7 ISO8859-7 GREEK CP28597"},
    {"VYNCS_ISO_8859_8", VYNCS_ISO_8859_8, "ISO-8859-8 ISO8859-8 HEBREW CP28598"},
    {"VYNCS_ISO_8859_9", VYNCS_ISO_8859_9, "ISO-8859-9 ISO8859-9 LATIN5 L5 CP28599"},
    {"VYNCS_ISO_8859_10", VYNCS_ISO_8859_10, "ISO-8859-10 ISO8859-10 LATIN6 L6 CP28600"},
    {"VYNCS_ISO_8859_11", VYNCS_ISO_8859_11, "ISO-8859-11 ISO8859-11 CP28601"},
    {"VYNCS_ISO_8859_13", VYNCS_ISO_8859_13, "ISO-8859-13 ISO8859-13 LATIN7 L7 CP28603"},
    {"VYNCS_ISO_8859_14", VYNCS_ISO_8859_14, "ISO-8859-14 ISO8859-14 LATIN8 L8 CP28604"},
    {"VYNCS_ISO_8859_15", VYNCS_ISO_8859_15, "ISO-8859-15 ISO8859-15 LATIN9 LATIN-9 CP28605"},
    {"VYNCS_ISO_8859_16", VYNCS_ISO_8859_16, "ISO-8859-16 ISO8859-16 LATIN10 L10 CP28606"},
    {"VYNCS_SHIFTJIS", VYNCS_SHIFTJIS, "SHIFT_JIS SJIS CP30932"},
    {"VYNCS_SJIS0213", VYNCS_SJIS0213, "SHIFT_JIS-2004 SJIS-2004 SHIFT_JISX0213 CP30933"},
    {"VYNCS_BIG5", VYNCS_BIG5, "BIG5 CP30950"},
    {"VYNCS_ISO_2022JP", VYNCS_ISO_2022JP, "ISO-2022-JP"},
    {"VYNCS_ISO_2022JP_1", VYNCS_ISO_2022JP_1, "ISO-2022-JP-1"},
    {"VYNCS_ISO_2022JP_2", VYNCS_ISO_2022JP_2, "ISO-2022-JP-2"},
    {"VYNCS_ISO_2022JP_3", VYNCS_ISO_2022JP_3, "ISO-2022-JP-3"},
    {"VYNCS_ISO_2022JP_2004", VYNCS_ISO_2022JP_2004, "ISO-2022-JP-2004"},
    {"VYNCS_ISO_2022KR", VYNCS_ISO_2022KR, "ISO-2022-KR"},
    {"VYNCS_ISO_2022CN", VYNCS_ISO_2022CN, "ISO-2022-CN"},
    {"VYNCS_ISO_2022CN_EXT", VYNCS_ISO_2022CN_EXT, "ISO-2022-CN-EXT"},
    {"VYNCS_ISO_2022TW", VYNCS_ISO_2022TW, "ISO-2022-TW"},
    {"VYNCS_EUC_JP", VYNCS_EUC_JP, "EUC-JP EUCJP CP51932"},
    {"VYNCS_EUC_CN", VYNCS_EUC_CN, "EUC-CN EUCCN GB2312 CP51936"},
    {"VYNCS_EUC_KR", VYNCS_EUC_KR, "EUC-KR EUCKR CP51949"},
    {"VYNCS_EUC_TW", VYNCS_EUC_TW, "EUC-TW EUCTW"},
    {"VYNCS_GB18030", VYNCS_GB18030, "GB18030 CP54936"},
    {"VYNCS_UTF8", VYNCS_UTF8, "UTF-8 UTF8 CP65001"},
};

// Forms the tool builds around the library's converters, looked up before the
// sets above. UCS-2 is little-endian and UCS-4 big-endian, as the C library's
// converter has them on this kind of machine.
struct FormInfo {
    char const* names; // space-separated, matched like the aliases
    VynCharSet cs;
    bool big, bom, ucs2, ascii;
};
FormInfo const kForms[] = {
    {"UTF-16", VYNCS_UTF16, false, true, false, false},
    {"UTF-16LE", VYNCS_UTF16, false, false, false, false},
    {"UTF-16BE VYNCS_UTF16BE 1201", VYNCS_UTF16, true, false, false, false},
    {"UCS-2 UCS-2LE", VYNCS_UTF16, false, false, true, false},
    {"UCS-2BE ISO-10646-UCS-2", VYNCS_UTF16, true, false, true, false},
    {"UTF-32", VYNCS_UTF32, false, true, false, false},
    {"UTF-32LE UCS-4LE", VYNCS_UTF32, false, false, false, false},
    {"UTF-32BE VYNCS_UTF32BE 12001 UCS-4 UCS-4BE ISO-10646-UCS-4", VYNCS_UTF32, true, false, false,
     false},
    {"ASCII US-ASCII ANSI_X3.4-1968 ANSI_X3.4-1986 ISO646-US ISO_646.IRV:1991 US CP367 IBM367 "
     "CSASCII 646",
     VYNCS_ISO_8859_1, false, false, false, true},
};
// End of the name tables.

std::string squash(char const* s, size_t n) {
    std::string r;
    for (size_t i = 0; i < n; ++i) {
        char c = s[i];
        if (c == '-' || c == '_' || c == ' ') continue;
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
        r += c;
    }
    return r;
}

bool inList(char const* p, std::string const& key) {
    while (*p) {
        char const* e = std::strchr(p, ' ');
        size_t n = e ? static_cast<size_t>(e - p) : std::strlen(p);
        if (squash(p, n) == key) return true;
        p += n;
        while (*p == ' ') ++p;
    }
    return false;
}

bool matchesAlias(SetInfo const& s, std::string const& key) {
    // The name without its prefix ("WCP932", "EUC_JP") is an alias too.
    if (squash(s.name + 6, std::strlen(s.name + 6)) == key) return true;
    if (squash(s.name, std::strlen(s.name)) == key) return true;
    char const* p = s.aliases;
    while (*p) {
        char const* e = std::strchr(p, ' ');
        size_t n = e ? static_cast<size_t>(e - p) : std::strlen(p);
        if (squash(p, n) == key) return true;
        p += n;
        while (*p == ' ') ++p;
    }
    return false;
}

// Upper case, then the codeset part, then no '-': EN_US.UTF-8@EURO -> UTF8,
// KO_KR.EUC -> KR.EUC.
std::string localeKey(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    static char const kEuc[] = ".EUC";
    size_t const m = sizeof kEuc - 1;
    if (text.size() >= m && text.compare(text.size() - m, m, kEuc) == 0) {
        size_t u = text.find('_');
        if (u != std::string::npos) text.erase(0, u + 1);
    } else {
        size_t d = text.find('.');
        if (d != std::string::npos) text.erase(0, d + 1);
        size_t at = text.find('@');
        if (at != std::string::npos) text.erase(at);
    }
    std::string r;
    for (char c : text)
        if (c != '-') r += c;
    return r;
}

} // namespace

SetInfo const* findSet(VynCharSet cs) {
    for (SetInfo const& s : kSets)
        if (s.cs == cs) return &s;
    return nullptr;
}

bool isServed(VynCharSet cs) {
    if (cs == VYNCS_OS_DEFAULT) cs = g_oCnvtMgr.defaultCharSet();
    return cs == VYNCS_UTF8 ||
           VynCharSetConverter::getConverter(cs) != VynCharSetConverter::getConverter(VYNCS_UTF8);
}

Lookup lookupSet(char const* text, VynCharSet* out) {
    if (!text || !*text) return Lookup::Unknown;
    SetInfo const* hit = nullptr;
    for (SetInfo const& s : kSets)
        if (std::strcmp(text, s.name) == 0) hit = &s;
    if (!hit) {
        char* end = nullptr;
        errno = 0;
        long v = std::strtol(text, &end, 10);
        if (!errno && end != text && !*end) {
            hit = findSet(static_cast<VynCharSet>(v));
            if (!hit) return Lookup::Unknown;
        }
    }
    if (!hit) {
        std::string key = squash(text, std::strlen(text));
        for (SetInfo const& s : kSets)
            if (matchesAlias(s, key)) {
                hit = &s;
                break;
            }
    }
    if (!hit) return Lookup::Unknown;
    *out = hit->cs;
    if (hit->cs != VYNCS_OS_DEFAULT && !isServed(hit->cs)) return Lookup::NoConverter;
    return Lookup::Found;
}

Lookup lookupEndpoint(char const* text, Endpoint* out) {
    std::string t = text ? text : "";
    // iconv's suffixes: "UTF-8//TRANSLIT", "ASCII//TRANSLIT//IGNORE".
    size_t slash = t.find("//");
    if (slash != std::string::npos) {
        std::string suffix = squash(t.c_str() + slash, t.size() - slash);
        out->translit = suffix.find("TRANSLIT") != std::string::npos;
        out->ignore = suffix.find("IGNORE") != std::string::npos;
        t.erase(slash);
    }
    out->name = t;
    std::string key = squash(t.c_str(), t.size());
    for (FormInfo const& f : kForms)
        if (!key.empty() && inList(f.names, key)) {
            out->cs = f.cs;
            out->bigEndian = f.big;
            out->bom = f.bom;
            out->ucs2 = f.ucs2;
            out->ascii = f.ascii;
            return Lookup::Found;
        }
    if (t.empty()) return Lookup::Unknown;
    return lookupSet(t.c_str(), &out->cs);
}

void printSetList(std::FILE* out) {
    for (SetInfo const& s : kSets) {
        char const* state = s.cs == VYNCS_OS_DEFAULT                         ? "default"
                            : isServed(s.cs)                                 ? "served"
                            : s.cs == VYNCS_UTF16BE || s.cs == VYNCS_UTF32BE ? "swapped"
                                                                             : "no-converter";
        std::fprintf(out, "%-22s %6d  %-12s %s\n", s.name, static_cast<int>(s.cs), state,
                     s.aliases);
    }
    for (FormInfo const& f : kForms)
        std::fprintf(out, "form %-24s %s%s%s%s\n", f.names, f.bom ? "byte-order mark, " : "",
                     f.ascii ? "seven bits"
                     : f.big ? "big-endian"
                             : "little-endian",
                     f.ucs2 ? ", no pairs" : "", "");
}

DefaultInfo explainDefault() {
    // The set itself is the library's answer, fixed when it loaded; the tool
    // only retraces where the text it was derived from came from.
    DefaultInfo d;
    d.detected = g_oCnvtMgr.defaultCharSet();
    std::string text;
    if (char const* lang = std::getenv("LANG")) {
        text = lang;
        d.source = "LANG=" + text;
    } else if (char const* loc = std::setlocale(LC_CTYPE, nullptr)) {
        text = loc;
        d.source = "setlocale(LC_CTYPE, NULL)=" + text;
    } else {
        d.source = "fallback (no LANG, no C library locale)";
        return d;
    }
    d.key = localeKey(text);
    // ISO 8859-1 is also what every unknown key falls back to.
    if (d.detected == VYNCS_ISO_8859_1 && d.key != "ISO88591")
        d.source += " (codeset key \"" + d.key + "\" unknown: fallback)";
    return d;
}

void printDefault(std::FILE* out) {
    DefaultInfo d = explainDefault();
    SetInfo const* s = findSet(d.detected);
    std::fprintf(out, "%s %d\n", s ? s->name : "?", static_cast<int>(d.detected));
    std::fprintf(out, "from: %s\n", d.source.c_str());
    VynCharSetConverter* c = VynCharSetConverter::getConverter(VYNCS_OS_DEFAULT);
    if (c->getCharSet() != d.detected)
        std::fprintf(out, "note: no converter serves it; the library converts it as %s\n",
                     VynCharSetToString(c->getCharSet()));
}

} // namespace vynconv
