// Character-set names for vynconv: the library's exact names, the numbers, and
// the common aliases users type. The library's own parser stays exact; the
// aliases live here.
#ifndef VYNCONV_CHARSETS_H
#define VYNCONV_CHARSETS_H

#include <vynulib/internal/VynCatalogue.h>
#include <vynulib/vynulib.h>

#include <cstdio>
#include <string>

namespace vynconv {

// How a set looks from the tool: its row of the library's catalogue (name
// "VYNCS_WCP932", cs 932, aliases as shown by -l).
using SetInfo = vyn::catalogue::Entry;

enum class Lookup { Found, Unknown, NoConverter };

// One side of a conversion as the user named it: the library set that does
// the character work, and what the tool adds around it.
struct Endpoint {
    VynCharSet cs = VYNCS_OS_DEFAULT;
    std::string name;       // as typed, without suffixes; for messages
    bool ascii = false;     // seven bits only (through the ISO 8859-1 table)
    bool bigEndian = false; // bytes swapped around the UTF-16/UTF-32 converter
    bool bom = false;       // UTF-16/UTF-32: byte-order mark read, and written
    bool ucs2 = false;      // UTF-16 without surrogate pairs
    bool translit = false;  // "//TRANSLIT"
    bool ignore = false;    // "//IGNORE"
};

// Resolves a set as the user typed it ("UTF-16BE", "ascii//TRANSLIT", "932").
Lookup lookupEndpoint(char const* text, Endpoint* out);

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
