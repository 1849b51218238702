#include <vynulib/converters/VynCharSetConverter.h>

VynCharSetConverter::~VynCharSetConverter() = default;

// A direct UTF-8 path exists only where a converter provides one (UTF-32);
// everything else goes through UTF-16.
unsigned long VynCharSetConverter::fromUTF8(void*, unsigned char const*, unsigned long,
                                            ILLCHAR_OPTYPE, bool*) {
    return 0;
}

unsigned long VynCharSetConverter::toUTF8(unsigned char*, void const*, unsigned long,
                                          ILLCHAR_OPTYPE, bool*) {
    return 0;
}
