// //TRANSLIT: what stands for a character the target set cannot hold.
#ifndef VYNCONV_TRANSLIT_H
#define VYNCONV_TRANSLIT_H

#include <cstddef>

namespace vynconv {

// The approximation of c (units in *text), or 0 when there is none.
size_t translitLookup(char16_t c, char16_t const** text);

} // namespace vynconv

#endif
