// The transliteration table (generated) and its lookup.
#include "translit.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace vynconv {
namespace {

struct TranslitRow {
    uint16_t cp;
    uint16_t start;
    uint8_t len;
};

#include "translit_table.inc"

} // namespace

size_t translitLookup(char16_t c, char16_t const** text) {
    auto it = std::lower_bound(std::begin(kTranslitRows), std::end(kTranslitRows), c,
                               [](TranslitRow const& r, char16_t v) { return r.cp < v; });
    if (it == std::end(kTranslitRows) || it->cp != c) return 0;
    *text = kTranslitText + it->start;
    return it->len;
}

} // namespace vynconv
