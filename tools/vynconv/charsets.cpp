// Set names, numbers and aliases, and the explanation of the default set.
#include "charsets.h"

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cstring>

namespace vynconv {
namespace {

// Every named set, in numeric order, with the aliases users type: the
// library's catalogue (src/vynulib/tables/data/charsets.tsv). Aliases are
// compared after upper-casing and dropping '-', '_' and blanks, so "utf8",
// "UTF-8" and "Utf_8" are one.
auto const& kSets = vyn::catalogue::kNamed;

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
    return squash(s.name, std::strlen(s.name)) == key || inList(s.aliases, key);
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
