// Character-set names for vynconv: the library's exact names, the numbers, and
// the common aliases users type. The library's own parser stays exact; the
// aliases live here.
#ifndef VYNCONV_CHARSETS_H
#define VYNCONV_CHARSETS_H

#include <vynulib/vynulib.h>

#include <cstdio>
#include <string>

namespace vynconv {

// How a set looks from the tool.
struct SetInfo {
    char const* name;    // "VYNCS_WCP932"
    VynCharSet cs;       // 932
    char const* aliases; // space-separated, as shown by -l; matched case-insensitively
};

enum class Lookup { Found, Unknown, NoConverter };

// Resolves a name, number or alias. On NoConverter *out is still set (a named
// set the library does not convert, which it would silently treat as UTF-8).
Lookup lookupSet(char const* text, VynCharSet* out);

// True when the library has a converter of its own for cs (-2 resolved first).
bool isServed(VynCharSet cs);

SetInfo const* findSet(VynCharSet cs);

// The -l listing.
void printSetList(std::FILE* out);

// Where the default set came from, reproduced from the rules the library
// applies once at load.
struct DefaultInfo {
    std::string source; // "LANG=ja_JP.eucJP", "setlocale(LC_CTYPE, NULL)=C", "fallback"
    std::string key;    // the normalised codeset key that was looked up
    VynCharSet detected;
};
DefaultInfo explainDefault();
void printDefault(std::FILE* out);

} // namespace vynconv

#endif
